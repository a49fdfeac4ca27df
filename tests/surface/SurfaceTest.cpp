// What leaves libVeldrakeForMac: the entry points, the session variables, the
// conversation classes, the records lent to the callback and the text functions, and
// nothing else. Read from the built library with nm, demangled.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

struct Symbol {
  char type;
  std::string name;
};

std::vector<Symbol> ExportedSymbols() {
  const std::string command =
      std::string(VELDRAKE_NM) + " -D --defined-only -C '" + VELDRAKE_LIBRARY + "'";
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  std::vector<Symbol> symbols;
  if (!pipe) return symbols;
  char line[4096];
  while (std::fgets(line, sizeof line, pipe.get()) != nullptr) {
    // "<address> <type> <demangled name>"
    std::string text(line);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    const size_t blank = text.find(' ');
    if (blank == std::string::npos || blank + 3 > text.size() || text[blank + 2] != ' ') continue;
    symbols.push_back({text[blank + 1], text.substr(blank + 3)});
  }
  return symbols;
}

// The text before the argument list, without an ABI tag: "base64_encode" for
// "base64_encode[abi:cxx11](unsigned char const*, unsigned int)".
std::string Callable(const std::string& name) {
  std::string head = name.substr(0, name.find('('));
  const size_t tag = head.find("[abi:");
  if (tag != std::string::npos) head.erase(tag);
  return head;
}

bool IsIdentifier(const std::string& text) {
  if (text.empty() || std::isdigit(static_cast<unsigned char>(text[0]))) return false;
  for (char c : text) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_') return false;
  }
  return true;
}

// IOSContact, IOSNote and the records of namespace QX.
bool ExportedClass(const std::string& name) {
  if (name == "IOSContact" || name == "IOSNote") return true;
  return name.compare(0, 4, "QX::") == 0 && IsIdentifier(name.substr(4));
}

bool Allowed(const std::string& name) {
  // Plain C names: the undecorated entry point and the session variables.
  static const std::set<std::string> plain = {"GetData", "pDeviceDev",   "iDeviceAFC", "iSocket",
                                              "pTemp",   "iDeviceState", "chUDID"};
  static const std::set<std::string> functions = {"StartContectDeviceAndProtocol",
                                                  "DisContectDeviceAndProtocol",
                                                  "wstrtoi",
                                                  "Char2Unicode",
                                                  "Uincode2Char",
                                                  "utf8_to_utf16",
                                                  "get_module_path",
                                                  "IsFileExsitW",
                                                  "html_encode",
                                                  "base64_encode",
                                                  "base64_decode"};
  static const std::set<std::string> linker = {"_init", "_fini", "_edata", "_end", "__bss_start"};
  if (plain.count(name) || linker.count(name)) return true;
  if (name.find('(') != std::string::npos && functions.count(Callable(name))) return true;
  for (const char* prefix : {"typeinfo for ", "typeinfo name for ", "vtable for "}) {
    const std::string p(prefix);
    if (name.compare(0, p.size(), p) == 0) return ExportedClass(name.substr(p.size()));
  }
  // A member of one exported class: "IOSNote::GetNote(int, void*)". The text before the
  // argument list is "Class::member", so template instances that merely mention a class
  // (with a return type and a blank in front) do not pass.
  const std::string head = Callable(name);
  const size_t last = head.rfind("::");
  if (last == std::string::npos || name.find('(') == std::string::npos) return false;
  std::string member = head.substr(last + 2);
  if (!member.empty() && member[0] == '~') member.erase(0, 1);
  const bool op = member.compare(0, 8, "operator") == 0;
  return ExportedClass(head.substr(0, last)) && (IsIdentifier(member) || op);
}

TEST(ExportedSurface, NothingBeyondTheDeclaredInterface) {
  const std::vector<Symbol> symbols = ExportedSymbols();
  ASSERT_FALSE(symbols.empty()) << "could not list " << VELDRAKE_LIBRARY;
  for (const Symbol& s : symbols) EXPECT_TRUE(Allowed(s.name)) << "exported: " << s.name;
}

TEST(ExportedSurface, EntryPointsAndSessionVariablesAreThere) {
  const std::vector<Symbol> symbols = ExportedSymbols();
  auto find = [&](const std::string& name) -> const Symbol* {
    for (const Symbol& s : symbols) {
      if (s.name == name) return &s;
    }
    return nullptr;
  };
  // GetData is a plain C name; the other two carry their signatures.
  for (const char* name : {"GetData", "StartContectDeviceAndProtocol(char*, void*)",
                           "DisContectDeviceAndProtocol()"}) {
    const Symbol* s = find(name);
    ASSERT_NE(s, nullptr) << "missing: " << name;
    EXPECT_EQ(s->type, 'T') << name;
  }
  for (const char* name :
       {"pDeviceDev", "iDeviceAFC", "iSocket", "pTemp", "iDeviceState", "chUDID"}) {
    const Symbol* s = find(name);
    ASSERT_NE(s, nullptr) << "missing: " << name;
    EXPECT_TRUE(s->type == 'B' || s->type == 'D') << name << " is not a variable";
  }
}

TEST(ExportedSurface, TheFilterRejectsWhatWouldLeak) {
  // Guards the test itself: shapes that a careless build publishes must not pass.
  EXPECT_FALSE(
      Allowed("QX::Contact*& std::vector<QX::Contact*, std::allocator<QX::Contact*> "
              ">::emplace_back<QX::Contact*>(QX::Contact*&&)"));
  EXPECT_FALSE(Allowed("vtable for boost::detail::sp_counted_base"));
  EXPECT_FALSE(Allowed("BPListReader::readObjectAtRef(unsigned long)"));
  EXPECT_FALSE(Allowed("SendFrame(int, std::__cxx11::basic_string<char> const&)"));
  EXPECT_TRUE(Allowed("base64_encode[abi:cxx11](unsigned char const*, unsigned int)"));
  EXPECT_TRUE(Allowed("IOSContact::~IOSContact()"));
}

}  // namespace
