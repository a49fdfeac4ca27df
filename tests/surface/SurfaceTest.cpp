// What leaves libVeldrakeForMac: the entry points, the session variables, the
// conversation classes, the records lent to the callback and the text functions, and
// nothing else. Read from the built library with nm, demangled, and held against the
// linker's version script (src/session/exports.map), read as the linker reads it.
#include <gtest/gtest.h>

#include <fnmatch.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
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

// The entries of the version script's global list: plain C names, and C++ names matched
// demangled, quoted ones exactly and the others as globs, as the linker reads them.
struct ExportsMap {
  std::vector<std::string> plain, exact, globs;
};

std::string Trim(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

std::string WithoutComments(std::string text) {
  for (size_t open; (open = text.find("/*")) != std::string::npos;) {
    const size_t close = text.find("*/", open);
    text.erase(open, close == std::string::npos ? std::string::npos : close + 2 - open);
  }
  return text;
}

const ExportsMap& Map() {
  static const ExportsMap map = [] {
    std::ifstream in(VELDRAKE_EXPORTS_MAP);
    std::stringstream all;
    all << in.rdbuf();
    std::string text = WithoutComments(all.str());
    const size_t global = text.find("global:"), local = text.find("local:");
    ExportsMap m;
    if (global == std::string::npos || local == std::string::npos) return m;
    text = text.substr(global + 7, local - global - 7);
    bool cxx = false;
    std::stringstream entries(text);
    for (std::string entry; std::getline(entries, entry, ';');) {
      entry = Trim(entry);
      if (entry.compare(0, 6, "extern") == 0) {
        cxx = true;
        entry = Trim(entry.substr(entry.find('{') + 1));
      }
      if (!entry.empty() && entry[0] == '}') {
        cxx = false;
        entry = Trim(entry.substr(1));
      }
      if (entry.empty()) continue;
      if (!cxx) {
        m.plain.push_back(entry);
      } else if (entry.front() == '"') {
        m.exact.push_back(entry.substr(1, entry.size() - 2));
      } else {
        m.globs.push_back(entry);
      }
    }
    return m;
  }();
  return map;
}

bool Listed(const std::vector<std::string>& globs, const std::string& name) {
  for (const std::string& glob : globs)
    if (fnmatch(glob.c_str(), name.c_str(), 0) == 0) return true;
  return false;
}

// A class whose members the map publishes with a "Class::*" glob.
bool ExportedClass(const std::string& name) {
  const std::vector<std::string>& globs = Map().globs;
  return std::find(globs.begin(), globs.end(), name + "::*") != globs.end();
}

bool Allowed(const std::string& name) {
  static const std::set<std::string> linker = {"_init", "_fini", "_edata", "_end", "__bss_start"};
  if (linker.count(name) || Listed(Map().plain, name)) return true;
  for (const std::string& exact : Map().exact)
    if (name == exact) return true;
  for (const char* prefix : {"typeinfo for ", "typeinfo name for ", "vtable for "}) {
    const std::string p(prefix);
    if (name.compare(0, p.size(), p) == 0) return ExportedClass(name.substr(p.size()));
  }
  if (name.find('(') == std::string::npos) return false;
  // A member of an exported class: "IOSNote::GetNote(int, void*)". The text before the
  // argument list is "Class::member", so template instances that merely mention a class
  // (with a return type and a blank in front) do not pass, though the glob takes them.
  const std::string head = Callable(name);
  const size_t last = head.rfind("::");
  if (last == std::string::npos) return Listed(Map().globs, name);
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
  EXPECT_FALSE(Allowed("veldrake::SendFrame(int, std::__cxx11::basic_string<char> const&)"));
  EXPECT_FALSE(Allowed("IOSContact"));
  EXPECT_FALSE(Allowed("typeinfo for BPListReader"));
  EXPECT_TRUE(Allowed("base64_encode[abi:cxx11](unsigned char const*, unsigned int)"));
  EXPECT_TRUE(Allowed("IOSContact::~IOSContact()"));
  EXPECT_TRUE(Allowed("typeinfo for QX::Notes"));
  EXPECT_TRUE(Allowed("pTemp"));
}

}  // namespace
