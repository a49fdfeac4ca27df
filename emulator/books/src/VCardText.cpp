// Text helpers of the vCard reader: case, blanks, escapes.
#include <cctype>

#include "VCardText.h"

namespace devicesim {

std::string Upper(std::string s) {
  for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}
std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

std::string Trim(const std::string& s) {
  size_t b = s.find_first_not_of(" \t\r\n");
  if (b == std::string::npos) return "";
  size_t e = s.find_last_not_of(" \t\r\n");
  return s.substr(b, e - b + 1);
}

std::string Unescape(const std::string& s) {
  std::string out;
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i] != '\\' || i + 1 == s.size()) {
      out.push_back(s[i]);
      continue;
    }
    char next = s[++i];
    if (next == 'n' || next == 'N') {
      out.push_back('\n');
    } else if (next == '\\' || next == ',' || next == ';' || next == ':' || next == '"') {
      out.push_back(next);
    } else if (next == '\n') {
      out.push_back('\n');  // a 2.1 value running on over a raw line break
    } else {
      out.push_back('\\');
      out.push_back(next);
    }
  }
  return out;
}

std::vector<std::string> SplitEscaped(const std::string& s, char sep) {
  std::vector<std::string> parts(1);
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '\\' && i + 1 < s.size()) {
      parts.back() += s.substr(i, 2);
      ++i;
    } else if (s[i] == sep) {
      parts.emplace_back();
    } else {
      parts.back().push_back(s[i]);
    }
  }
  return parts;
}

}  // namespace devicesim
