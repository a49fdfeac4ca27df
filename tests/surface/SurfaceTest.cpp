// What leaves libVeldrakeForMac: the entry points, the session variables, the
// conversation classes, the records lent to the callback and the text functions, and
// nothing else. Read from the built library with nm, demangled.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <regex>
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
  std::regex shape(R"(^[0-9a-fA-F]*\s+(\S)\s+(.+)$)");
  while (std::fgets(line, sizeof line, pipe.get()) != nullptr) {
    std::string text(line);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    std::smatch m;
    if (std::regex_match(text, m, shape)) symbols.push_back({m[1].str()[0], m[2].str()});
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
  // A member of one exported class: "IOSNote::GetNote(int, void*)". No blank before the
  // argument list, so template instances that merely mention a class do not pass.
  static const std::regex member(
      R"(^(IOSContact|IOSNote|QX::[A-Za-z_][A-Za-z0-9_]*)::~?[A-Za-z_][A-Za-z0-9_]*(\[abi:\w+\])?\(.*)");
  static const std::regex class_data(
      R"(^(typeinfo|typeinfo name|vtable) for (IOSContact|IOSNote|QX::[A-Za-z_][A-Za-z0-9_]*)$)");
  if (plain.count(name) || linker.count(name)) return true;
  if (name.find('(') != std::string::npos && functions.count(Callable(name))) return true;
  return std::regex_match(name, member) || std::regex_match(name, class_data);
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
