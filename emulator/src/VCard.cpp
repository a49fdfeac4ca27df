// vCard 2.1, 3.0 and 4.0 to the device's address book.
//
// Reading goes in three steps: physical lines (LF, CRLF or CR CR LF), logical lines
// (folding, quoted-printable soft breaks, 2.1 values that run on over raw line breaks),
// and cards of properties, which are then mapped onto a Person and its Items. CardProperty
// names, parameter names and group names are matched without regard to case.
#include <errno.h>
#include <iconv.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>

#include "Calendar.h"
#include "devicesim/AddressBook.h"

namespace devicesim {
namespace {

std::string Upper(std::string s) {
  for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}
std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

bool ValidUtf8(const std::string& s) {
  size_t i = 0;
  while (i < s.size()) {
    unsigned char b = static_cast<unsigned char>(s[i]);
    size_t len = b < 0x80 ? 1 : (b >> 5) == 6 ? 2 : (b >> 4) == 14 ? 3 : (b >> 3) == 30 ? 4 : 0;
    if (len == 0 || i + len > s.size()) return false;
    for (size_t k = 1; k < len; ++k)
      if ((static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) return false;
    i += len;
  }
  return true;
}

// Text in `charset` to UTF-8. Without a usable charset, valid UTF-8 stays as it is and
// anything else is read as Windows-1252, the usual encoding of older desktop exports.
std::string ToUtf8(const std::string& bytes, std::string charset) {
  charset = Upper(charset);
  if (charset.empty() || charset == "UTF-8" || charset == "UTF8" || charset == "US-ASCII") {
    if (ValidUtf8(bytes)) return bytes;
    charset = "WINDOWS-1252";
  }
  iconv_t cd = iconv_open("UTF-8", charset.c_str());
  if (cd == reinterpret_cast<iconv_t>(-1)) {
    if (ValidUtf8(bytes)) return bytes;
    cd = iconv_open("UTF-8", "WINDOWS-1252");
    if (cd == reinterpret_cast<iconv_t>(-1)) return bytes;
  }
  std::string out;
  std::string in = bytes;
  char* inPtr = &in[0];
  size_t inLeft = in.size();
  char buffer[4096];
  while (inLeft > 0) {
    char* outPtr = buffer;
    size_t outLeft = sizeof buffer;
    size_t r = iconv(cd, &inPtr, &inLeft, &outPtr, &outLeft);
    out.append(buffer, sizeof buffer - outLeft);
    if (r == static_cast<size_t>(-1) && errno != E2BIG) {
      out += "\xEF\xBF\xBD";  // an undecodable byte becomes U+FFFD
      ++inPtr;
      --inLeft;
    }
  }
  iconv_close(cd);
  return out;
}

int Hex(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

std::string DecodeQuotedPrintable(const std::string& s) {
  std::string out;
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '=' && i + 2 < s.size() + 0 && Hex(s[i + 1]) >= 0 && Hex(s[i + 2]) >= 0) {
      out.push_back(static_cast<char>(Hex(s[i + 1]) * 16 + Hex(s[i + 2])));
      i += 2;
    } else if (s[i] == '=' && i + 1 == s.size()) {
      // a soft break at the very end
    } else {
      out.push_back(s[i]);
    }
  }
  return out;
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

// Splits on `sep` where it is not escaped by a backslash; the pieces keep their escapes.
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

std::string Trim(const std::string& s) {
  size_t b = s.find_first_not_of(" \t\r\n");
  if (b == std::string::npos) return "";
  size_t e = s.find_last_not_of(" \t\r\n");
  return s.substr(b, e - b + 1);
}

struct Param {
  std::string name;  // upper case; empty for a bare 2.1 value such as "CELL"
  std::string value;
};

struct CardProperty {
  int line = 0;
  std::string group;  // lower case
  std::string name;   // upper case
  std::vector<Param> params;
  std::string value;  // decoded to UTF-8, escapes still in place

  std::string param(const char* key) const {
    for (const Param& p : params)
      if (p.name == key) return p.value;
    return "";
  }
  // A parameter by name, or a bare 2.1 parameter of that text ("SOUND;X-IRMC-N:").
  bool hasParam(const char* key) const {
    for (const Param& p : params)
      if (p.name == key || (p.name.empty() && Upper(p.value) == key)) return true;
    return false;
  }
  // TYPE values (comma lists and repeated parameters) and 2.1's bare types, lower case.
  std::vector<std::string> types() const {
    std::vector<std::string> out;
    for (const Param& p : params) {
      if (!p.name.empty() && p.name != "TYPE") continue;
      for (const std::string& t : SplitEscaped(p.value, ','))
        if (!Trim(t).empty()) out.push_back(Lower(Trim(t)));
    }
    return out;
  }
  bool is(const char* type) const {
    std::vector<std::string> t = types();
    return std::find(t.begin(), t.end(), type) != t.end();
  }
  std::string text() const { return Unescape(value); }
};

bool IsNameChar(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_';
}

// The position of the colon that ends "[group.]NAME[;params]", or npos when the line does
// not start a property.
size_t PropertyColon(const std::string& line) {
  size_t i = 0;
  while (i < line.size() && (IsNameChar(line[i]) || line[i] == '.')) ++i;
  if (i == 0 || i == line.size() || (line[i] != ':' && line[i] != ';')) return std::string::npos;
  bool quoted = false;
  for (; i < line.size(); ++i) {
    if (line[i] == '"') quoted = !quoted;
    if (line[i] == ':' && !quoted) return i;
  }
  return std::string::npos;
}

bool IsQuotedPrintable(const std::string& line, size_t colon) {
  return Upper(line.substr(0, colon)).find("QUOTED-PRINTABLE") != std::string::npos;
}

struct LogicalLine {
  int line;
  std::string text;
};

// Joins physical lines into logical ones. Fails on text that cannot belong to a property.
bool Unfold(const std::string& data, const std::string& name, std::vector<LogicalLine>* out,
            std::string* error) {
  std::vector<LogicalLine> physical;
  int count = 0;
  size_t start = 0;
  while (start <= data.size()) {
    size_t end = data.find('\n', start);
    if (end == std::string::npos) end = data.size();
    std::string line = data.substr(start, end - start);
    while (!line.empty() && line.back() == '\r') line.pop_back();
    const int number = ++count;
    start = end + 1;
    // Folding first: a parameter list or a name may be folded too.
    if (!line.empty() && (line[0] == ' ' || line[0] == '\t') && !physical.empty()) {
      physical.back().text += line.substr(1);
    } else {
      physical.push_back({number, line});
    }
  }
  for (const LogicalLine& folded : physical) {
    const std::string& line = folded.text;
    const int number = folded.line;
    LogicalLine* last = out->empty() ? nullptr : &out->back();
    if (Trim(line).empty()) continue;
    if (last) {
      size_t colon = PropertyColon(last->text);
      bool qp = colon != std::string::npos && IsQuotedPrintable(last->text, colon);
      // A soft break never swallows the end of the card.
      if (qp && last->text.back() == '=' && Upper(line).rfind("END:VCARD", 0) != 0) {
        last->text.pop_back();
        last->text += line;
        continue;
      }
      if (PropertyColon(line) == std::string::npos) {
        const std::string previous = Upper(Trim(last->text));
        if (previous == "BEGIN:VCARD" || previous == "END:VCARD") {
          *error = name + ":" + std::to_string(number) + ": expected " +
                   (previous == "END:VCARD" ? "BEGIN:VCARD" : "NAME:VALUE") + ", got \"" +
                   line.substr(0, 40) + "\"";
          return false;
        }
        // A value that runs on over a raw line break (2.1 writers do this, with or
        // without a trailing backslash).
        if (last->text.back() == '\\') last->text.pop_back();
        last->text += "\n" + line;
        continue;
      }
    } else if (PropertyColon(line) == std::string::npos) {
      *error = name + ":" + std::to_string(number) + ": expected BEGIN:VCARD, got \"" +
               line.substr(0, 40) + "\"";
      return false;
    }
    out->push_back({number, line});
  }
  return true;
}

CardProperty ParseProperty(const LogicalLine& logical) {
  CardProperty p;
  p.line = logical.line;
  const std::string& text = logical.text;
  const size_t colon = PropertyColon(text);
  std::string head = text.substr(0, colon);
  std::string raw = text.substr(colon + 1);
  // Parameters: split on ';' outside quotes.
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
  std::string name = pieces[0];
  size_t dot = name.rfind('.');
  if (dot != std::string::npos) {
    p.group = Lower(name.substr(0, dot));
    name = name.substr(dot + 1);
  }
  p.name = Upper(name);
  for (size_t i = 1; i < pieces.size(); ++i) {
    Param param;
    size_t eq = pieces[i].find('=');
    std::string value = eq == std::string::npos ? pieces[i] : pieces[i].substr(eq + 1);
    if (eq != std::string::npos) param.name = Upper(Trim(pieces[i].substr(0, eq)));
    std::string unquoted;
    for (char c : value)
      if (c != '"') unquoted.push_back(c);
    param.value = Trim(unquoted);
    // 2.1 writes the encoding and charset as bare values too.
    std::string bare = Upper(param.value);
    if (param.name.empty() && (bare == "QUOTED-PRINTABLE" || bare == "BASE64" || bare == "8BIT"))
      param.name = "ENCODING";
    p.params.push_back(param);
  }
  std::string encoding = Upper(p.param("ENCODING"));
  if (encoding == "QUOTED-PRINTABLE") raw = DecodeQuotedPrintable(raw);
  if (encoding == "BASE64" || encoding == "B") {
    p.value.clear();  // binary data (photos, keys, sounds) is of no use to the device's records
  } else {
    p.value = ToUtf8(raw, p.param("CHARSET"));
  }
  return p;
}

// ---- Mapping a card onto the device's records -------------------------------------

std::string Device(const char* name) {
  return std::string("_$!<") + name + ">!$_";
}

std::string FirstType(const CardProperty& p, std::initializer_list<const char*> skip) {
  for (const std::string& t : p.types()) {
    bool skipped = false;
    for (const char* s : skip) skipped = skipped || t == s;
    if (!skipped) return t;
  }
  return "";
}

std::string PhoneLabel(const CardProperty& p) {
  if (p.is("fax")) return Device(p.is("home") ? "HomeFAX" : p.is("work") ? "WorkFAX" : "OtherFAX");
  if (p.is("cell") || p.is("mobile")) return Device("Mobile");
  if (p.is("iphone")) return "iPhone";
  if (p.is("main")) return Device("Main");
  if (p.is("pager")) return Device("Pager");
  if (p.is("home")) return Device("Home");
  if (p.is("work")) return Device("Work");
  return Device("Other");
}

std::string PlaceLabel(const CardProperty& p) {
  if (p.is("home")) return Device("Home");
  if (p.is("work")) return Device("Work");
  return Device("Other");
}

std::string UrlLabel(const CardProperty& p) {
  if (p.is("home")) return Device("Home");
  if (p.is("work")) return Device("Work");
  if (p.is("other")) return Device("Other");
  return Device("HomePage");
}

std::string RelatedLabel(const std::string& type) {
  static const std::map<std::string, const char*> kTable = {
      {"mother", "Mother"},       {"father", "Father"},  {"parent", "Parent"},
      {"brother", "Brother"},     {"sister", "Sister"},  {"child", "Child"},
      {"friend", "Friend"},       {"spouse", "Spouse"},  {"partner", "Partner"},
      {"assistant", "Assistant"}, {"manager", "Manager"}};
  auto found = kTable.find(type);
  return Device(found == kTable.end() ? "Other" : found->second);
}

const std::map<std::string, const char*>& ImProperties() {
  static const std::map<std::string, const char*> kTable = {{"X-AIM", "AIM"},
                                                            {"X-JABBER", "Jabber"},
                                                            {"X-ICQ", "ICQ"},
                                                            {"X-MSN", "MSN"},
                                                            {"X-YAHOO", "Yahoo"},
                                                            {"X-SKYPE", "Skype"},
                                                            {"X-SKYPE-USERNAME", "Skype"},
                                                            {"X-GOOGLE-TALK", "GoogleTalk"},
                                                            {"X-GTALK", "GoogleTalk"},
                                                            {"X-QQ", "QQ"},
                                                            {"X-GADUGADU", "GaduGadu"}};
  return kTable;
}

std::string ServiceOfScheme(const std::string& scheme) {
  static const std::map<std::string, const char*> kTable = {
      {"xmpp", "Jabber"}, {"aim", "AIM"},          {"ymsgr", "Yahoo"},      {"msnim", "MSN"},
      {"icq", "ICQ"},     {"skype", "Skype"},      {"gtalk", "GoogleTalk"}, {"sip", "SIP"},
      {"qq", "QQ"},       {"facebook", "Facebook"}};
  auto found = kTable.find(Lower(scheme));
  return found == kTable.end() ? scheme : found->second;
}

// "scheme:rest" to its two parts; a value without a scheme has an empty one.
void SplitUri(const std::string& value, std::string* scheme, std::string* rest) {
  size_t colon = value.find(':');
  bool isScheme = colon != std::string::npos && colon > 0;
  for (size_t i = 0; isScheme && i < colon; ++i)
    isScheme = std::isalnum(static_cast<unsigned char>(value[i])) || value[i] == '-' ||
               value[i] == '+' || value[i] == '.';
  if (!isScheme) {
    scheme->clear();
    *rest = value;
    return;
  }
  *scheme = value.substr(0, colon);
  *rest = value.substr(colon + 1);
  if (rest->compare(0, 2, "//") == 0) *rest = rest->substr(2);
}

std::string Component(const std::vector<std::string>& parts, size_t i) {
  return i < parts.size() ? Trim(Unescape(parts[i])) : "";
}

std::string JoinNonEmpty(const std::vector<std::string>& parts, const char* sep) {
  std::string out;
  for (const std::string& part : parts) {
    if (part.empty()) continue;
    if (!out.empty()) out += sep;
    out += part;
  }
  return out;
}

void AddDateItem(Person& person, const CardProperty& p, const std::string& label) {
  Item item;
  item.property = kDate;
  item.label = label;
  std::string text = Trim(p.text());
  if (ParseVCardDate(text, &item.date)) {
    item.hasDate = true;
  } else {
    item.value = text;  // a date the device cannot store as one still reaches it as text
  }
  person.items.push_back(item);
}

// Maps one card. False for cards that are no person (groups).
bool MapCard(const std::vector<CardProperty>& props, Person& person) {
  std::map<std::string, std::string> groupLabels;
  std::string fn;
  for (const CardProperty& p : props) {
    if (p.name == "X-ABLABEL" && !p.group.empty()) groupLabels[p.group] = Trim(p.text());
    if ((p.name == "KIND" || p.name == "X-ADDRESSBOOKSERVER-KIND") &&
        Lower(Trim(p.text())) == "group")
      return false;
  }
  auto labelOr = [&](const CardProperty& p, const std::string& fallback) {
    auto found = p.group.empty() ? groupLabels.end() : groupLabels.find(p.group);
    return found != groupLabels.end() && !found->second.empty() ? found->second : fallback;
  };
  for (const CardProperty& p : props) {
    const std::string& n = p.name;
    if (n == "N") {
      std::vector<std::string> parts = SplitEscaped(p.value, ';');
      person.lastName = Component(parts, 0);
      person.firstName = Component(parts, 1);
      person.middleName = Component(parts, 2);
      person.suffix = Component(parts, 4);
      std::string sortAs = p.param("SORT-AS");
      if (!sortAs.empty()) {
        // 4.0 lists the sort strings with commas, some writers with semicolons.
        std::vector<std::string> readings =
            SplitEscaped(sortAs, sortAs.find(';') != std::string::npos ? ';' : ',');
        if (person.lastNameYomi.empty()) person.lastNameYomi = Component(readings, 0);
        if (person.firstNameYomi.empty()) person.firstNameYomi = Component(readings, 1);
      }
    } else if (n == "FN") {
      fn = Trim(p.text());
    } else if (n == "NICKNAME") {
      person.nickname = Trim(p.text());
    } else if (n == "ORG") {
      std::vector<std::string> parts = SplitEscaped(p.value, ';');
      person.companyName = Component(parts, 0);
      std::vector<std::string> units;
      for (size_t i = 1; i < parts.size(); ++i) units.push_back(Component(parts, i));
      person.department = JoinNonEmpty(units, ", ");
    } else if (n == "TITLE") {
      person.jobTitle = Trim(p.text());
    } else if (n == "NOTE") {
      person.notes += (person.notes.empty() ? "" : "\n") + p.text();
    } else if (n == "X-PHONETIC-FIRST-NAME") {
      person.firstNameYomi = Trim(p.text());
    } else if (n == "X-PHONETIC-LAST-NAME") {
      person.lastNameYomi = Trim(p.text());
    } else if (n == "SOUND" && p.hasParam("X-IRMC-N")) {
      std::vector<std::string> parts = SplitEscaped(p.value, ';');
      if (person.lastNameYomi.empty()) person.lastNameYomi = Component(parts, 0);
      if (person.firstNameYomi.empty()) person.firstNameYomi = Component(parts, 1);
    } else if (n == "SOUND" && !p.hasParam("ENCODING")) {
      // no reading and no sound the device could use
    } else if (n == "BDAY") {
      if (Lower(p.param("VALUE")) == "text") continue;
      double seconds;
      if (ParseVCardDate(Trim(p.text()), &seconds) && !person.hasBirthday) {
        person.hasBirthday = true;
        person.birthday = seconds;
      }
    } else if (n == "TEL") {
      Item item;
      item.property = kPhone;
      std::string scheme, rest;
      SplitUri(Trim(p.text()), &scheme, &rest);
      item.value = Lower(scheme) == "tel" ? rest : Trim(p.text());
      item.label = labelOr(p, PhoneLabel(p));
      person.items.push_back(item);
    } else if (n == "EMAIL") {
      Item item;
      item.property = kEmail;
      std::string scheme, rest;
      SplitUri(Trim(p.text()), &scheme, &rest);
      item.value = Lower(scheme) == "mailto" ? rest : Trim(p.text());
      item.label = labelOr(p, PlaceLabel(p));
      person.items.push_back(item);
    } else if (n == "URL") {
      Item item;
      item.property = kUrl;
      item.value = Trim(p.text());
      item.label = labelOr(p, UrlLabel(p));
      person.items.push_back(item);
    } else if (n == "ADR") {
      std::vector<std::string> parts = SplitEscaped(p.value, ';');
      Item item;
      item.property = kAddress;
      item.street =
          JoinNonEmpty({Component(parts, 0), Component(parts, 1), Component(parts, 2)}, "\n");
      item.city = Component(parts, 3);
      item.state = Component(parts, 4);
      item.postalCode = Component(parts, 5);
      item.country = Component(parts, 6);
      item.label = labelOr(p, PlaceLabel(p));
      person.items.push_back(item);
    } else if (n == "IMPP" || ImProperties().count(n)) {
      Item item;
      item.property = kInstantMessage;
      std::string scheme, rest;
      SplitUri(Trim(p.text()), &scheme, &rest);
      if (n != "IMPP") {
        item.service = ImProperties().at(n);
        item.user = Trim(p.text());
      } else {
        std::string declared = p.param("X-SERVICE-TYPE");
        item.service = !declared.empty() ? declared : ServiceOfScheme(scheme);
        item.user = rest;
      }
      item.label = labelOr(p, PlaceLabel(p));
      person.items.push_back(item);
    } else if (n == "X-SOCIALPROFILE") {
      Item item;
      item.property = kSocialProfile;
      item.value = Trim(p.text());
      item.service = FirstType(p, {"pref"});
      if (item.service.empty()) item.service = "other";
      item.user = p.param("X-USER");
      if (item.user.empty()) {
        std::string path = item.value;
        while (!path.empty() && path.back() == '/') path.pop_back();
        item.user = path.substr(
            path.find_last_of("/:") == std::string::npos ? 0 : path.find_last_of("/:") + 1);
      }
      item.label = labelOr(p, "");
      person.items.push_back(item);
    } else if (n == "X-ABDATE") {
      AddDateItem(person, p, labelOr(p, Device(p.is("anniversary") ? "Anniversary" : "Other")));
    } else if (n == "ANNIVERSARY" || n == "X-ANNIVERSARY" || n == "X-MS-ANNIVERSARY" ||
               n == "X-EVOLUTION-ANNIVERSARY" || n == "X-WAB-WEDDING_ANNIVERSARY") {
      AddDateItem(person, p, labelOr(p, Device("Anniversary")));
    } else if (n == "X-ABRELATEDNAMES" || n == "RELATED" || n == "X-SPOUSE" ||
               n == "X-EVOLUTION-SPOUSE" || n == "X-MANAGER" || n == "X-EVOLUTION-MANAGER" ||
               n == "X-ASSISTANT" || n == "X-EVOLUTION-ASSISTANT") {
      Item item;
      item.property = kRelatedName;
      item.value = Trim(p.text());
      std::string type = FirstType(p, {"pref"});
      if (n.find("SPOUSE") != std::string::npos) type = "spouse";
      if (n.find("MANAGER") != std::string::npos) type = "manager";
      if (n.find("ASSISTANT") != std::string::npos) type = "assistant";
      item.label = labelOr(p, RelatedLabel(type));
      person.items.push_back(item);
    }
  }
  if (person.firstName.empty() && person.lastName.empty() && person.middleName.empty() &&
      person.companyName.empty())
    person.firstName = fn;
  return true;
}

}  // namespace

bool ParseVCardText(const std::string& input, const std::string& name, AddressBook* book,
                    std::string* error) {
  std::string data = input;
  if (data.compare(0, 3, "\xEF\xBB\xBF") == 0) data.erase(0, 3);
  if (data.compare(0, 2, "\xFF\xFE") == 0 || data.compare(0, 2, "\xFE\xFF") == 0) {
    *error = name + ":1: UTF-16 text is not supported; convert the file to UTF-8";
    return false;
  }
  std::vector<LogicalLine> lines;
  if (!Unfold(data, name, &lines, error)) return false;
  std::vector<Person> people;
  std::vector<CardProperty> card;
  int begin = 0;  // line of the open card's BEGIN, 0 outside a card
  for (const LogicalLine& line : lines) {
    CardProperty p = ParseProperty(line);
    const std::string value = Upper(Trim(p.value));
    if (p.name == "BEGIN" && value == "VCARD") {
      if (begin) {
        *error = name + ":" + std::to_string(line.line) + ": BEGIN:VCARD inside the card of line " +
                 std::to_string(begin);
        return false;
      }
      begin = line.line;
      card.clear();
    } else if (p.name == "END" && value == "VCARD") {
      if (!begin) {
        *error = name + ":" + std::to_string(line.line) + ": END:VCARD without BEGIN:VCARD";
        return false;
      }
      Person person;
      if (MapCard(card, person)) people.push_back(std::move(person));
      begin = 0;
    } else if (!begin) {
      *error = name + ":" + std::to_string(line.line) + ": " + p.name + " outside a card";
      return false;
    } else {
      card.push_back(std::move(p));
    }
  }
  if (begin) {
    *error = name + ":" + std::to_string(begin) + ": the card is not closed by END:VCARD";
    return false;
  }
  if (lines.empty()) {
    *error = name + ":1: no vCard in the file";
    return false;
  }
  for (Person& person : people) {
    person.id = static_cast<int>(book->people.size() + 1);
    book->people.push_back(std::move(person));
  }
  return true;
}

bool LoadVCardFiles(const std::vector<std::string>& paths, AddressBook* book, std::string* error) {
  for (const std::string& path : paths) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream data;
    if (!in || !(data << in.rdbuf())) {
      // An empty file reads as a failed copy too; tell the two apart.
      if (in.is_open() && in.peek() == std::char_traits<char>::eof()) {
        *error = path + ":1: no vCard in the file";
      } else {
        *error = path + ":0: cannot be read: " + std::strerror(errno);
      }
      return false;
    }
    if (!ParseVCardText(data.str(), path, book, error)) return false;
  }
  return true;
}

}  // namespace devicesim
