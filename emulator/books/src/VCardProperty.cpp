// A property line: "[group.]NAME[;PARAM[=VALUE]]*:VALUE".
#include "VCardProperty.h"

#include <algorithm>
#include <cstdlib>

#include "VCardText.h"

namespace devicesim {
namespace {

// The head split on ';' outside quotes: the name first, then one piece per parameter.
std::vector<std::string> SplitHead(const std::string& head) {
  std::vector<std::string> pieces(1);
  bool quoted = false;
  for (char c : head) {
    if (c == '"') quoted = !quoted;
    if (c == ';' && !quoted) {
      pieces.emplace_back();
    } else {
      pieces.back().push_back(c);
    }
  }
  return pieces;
}

Param ParseParam(const std::string& piece) {
  Param param;
  const size_t eq = piece.find('=');
  const std::string value = eq == std::string::npos ? piece : piece.substr(eq + 1);
  if (eq != std::string::npos) param.name = Upper(Trim(piece.substr(0, eq)));
  std::string unquoted;
  for (char c : value)
    if (c != '"') unquoted.push_back(c);
  param.value = Trim(unquoted);
  // 2.1 writes the encoding as a bare value too.
  const std::string bare = Upper(param.value);
  if (param.name.empty() && (bare == "QUOTED-PRINTABLE" || bare == "BASE64" || bare == "8BIT"))
    param.name = "ENCODING";
  return param;
}

}  // namespace

std::string CardProperty::param(const char* key) const {
  for (const Param& p : params)
    if (p.name == key) return p.value;
  return "";
}

bool CardProperty::hasParam(const char* key) const {
  for (const Param& p : params)
    if (p.name == key || (p.name.empty() && Upper(p.value) == key)) return true;
  return false;
}

std::vector<std::string> CardProperty::types() const {
  std::vector<std::string> out;
  for (const Param& p : params) {
    if (!p.name.empty() && p.name != "TYPE") continue;
    for (const std::string& t : SplitEscaped(p.value, ','))
      if (!Trim(t).empty()) out.push_back(Lower(Trim(t)));
  }
  return out;
}

std::vector<std::string> CardProperty::typesAsWritten() const {
  std::vector<std::string> out;
  for (const Param& p : params) {
    const bool bareExtension = p.name.empty() && Upper(p.value).rfind("X-", 0) == 0;
    if (p.name != "TYPE" && !bareExtension) continue;
    for (const std::string& t : SplitEscaped(p.value, ','))
      if (!Trim(t).empty()) out.push_back(Trim(t));
  }
  return out;
}

int CardProperty::preference() const {
  const std::string level = param("PREF");
  if (!level.empty()) {
    char* end = nullptr;
    const long n = std::strtol(level.c_str(), &end, 10);
    return *end == '\0' && n > 0 && n < kNotPreferred ? static_cast<int>(n) : 1;
  }
  return hasParam("PREF") || is("pref") ? 1 : kNotPreferred;
}

bool CardProperty::is(const char* type) const {
  const std::vector<std::string> t = types();
  return std::find(t.begin(), t.end(), type) != t.end();
}

std::string CardProperty::text() const {
  return Unescape(value);
}

CardProperty ParseProperty(const LogicalLine& logical) {
  CardProperty p;
  p.line = logical.line;
  const size_t colon = PropertyColon(logical.text);
  const std::vector<std::string> pieces = SplitHead(logical.text.substr(0, colon));
  std::string name = pieces[0];
  const size_t dot = name.rfind('.');
  if (dot != std::string::npos) {
    p.group = Lower(name.substr(0, dot));
    name = name.substr(dot + 1);
  }
  p.name = Upper(name);
  for (size_t i = 1; i < pieces.size(); ++i) p.params.push_back(ParseParam(pieces[i]));

  const std::string encoding = Upper(p.param("ENCODING"));
  std::string raw = logical.text.substr(colon + 1);
  if (encoding == "BASE64" || encoding == "B") {
    p.encoded = raw;
    return p;
  }
  if (encoding == "QUOTED-PRINTABLE") raw = DecodeQuotedPrintable(raw);
  p.value = ToUtf8(raw, p.param("CHARSET"));
  return p;
}

}  // namespace devicesim
