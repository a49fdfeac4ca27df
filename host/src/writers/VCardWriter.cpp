// Contacts as vCard 3.0 or 4.0: properties, escaping and folding.
#include "VCardWriter.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <utility>
#include <vector>

#include "Dates.h"
#include "Labels.h"

namespace host {

namespace {

constexpr size_t kMaxOctets = 75;
// The device's standard label of an anniversary date, which vCard 4.0 has a property for.
const char kAnniversaryLabel[] = "_$!<Anniversary>!$_";

std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

// A parameter value cannot escape a quote, so quotes and control characters are dropped;
// a value holding a separator is quoted.
std::string ParamValue(const std::string& raw) {
  std::string clean;
  for (char c : raw)
    if (c != '"' && static_cast<unsigned char>(c) >= 0x20 && c != 0x7F) clean.push_back(c);
  if (clean.find_first_of(",;:") != std::string::npos) return "\"" + clean + "\"";
  return clean;
}

bool Present(const Text& text) {
  return text && !text->empty();
}

bool HasPersonName(const Contact& c) {
  return Present(c.firstName) || Present(c.middleName) || Present(c.lastName) || Present(c.suffix);
}

// Order of the item blocks in a card: how Apple's exports list them.
int Rank(int kind) {
  switch (kind) {
    case QX::kFieldPhone:
      return 0;
    case QX::kFieldEmail:
      return 1;
    case QX::kFieldUrl:
      return 3;
    case QX::kFieldInstantMessage:
      return 4;
    case QX::kFieldSocialProfile:
      return 5;
    case QX::kFieldRelatedName:
      return 6;
    case QX::kFieldDate:
      return 7;
    default:
      return 8;
  }
}

// vCard 4.0's date form: 19800517, or --0517 for a date whose year is not known.
std::string Date4(const CivilDate& date) {
  std::string iso = IsoDate(date);
  iso.erase(std::remove(iso.begin() + 1, iso.end(), '-'), iso.end());
  if (date.year == kYearOmitted) return "--" + iso.substr(4);
  return iso;
}

const char* ImScheme(const std::string& service) {
  static const std::pair<const char*, const char*> kSchemes[] = {
      {"jabber", "xmpp"}, {"googletalk", "xmpp"}, {"facebook", "xmpp"}, {"aim", "aim"},
      {"yahoo", "ymsgr"}, {"msn", "msnim"},       {"icq", "icq"},       {"skype", "skype"}};
  const std::string key = Lower(service);
  for (const auto& entry : kSchemes)
    if (key == entry.first) return entry.second;
  return "x-apple";
}

std::string ProfileUrl(const std::string& service, const std::string& user) {
  static const std::pair<const char*, const char*> kBases[] = {
      {"twitter", "https://twitter.com/"},
      {"facebook", "https://www.facebook.com/"},
      {"linkedin", "https://www.linkedin.com/in/"},
      {"flickr", "https://www.flickr.com/photos/"},
      {"myspace", "https://myspace.com/"}};
  const std::string key = Lower(service);
  for (const auto& entry : kBases)
    if (key == entry.first) return entry.second + user;
  return "x-apple:" + user;
}

// vCard 4.0 RELATED types for the device's standard related-name labels.
std::string RelatedType(const std::string& label) {
  static const std::pair<const char*, const char*> kTypes[] = {
      {"Mother", "parent"},   {"Father", "parent"},    {"Parent", "parent"},
      {"Brother", "sibling"}, {"Sister", "sibling"},   {"Child", "child"},
      {"Friend", "friend"},   {"Spouse", "spouse"},    {"Partner", "sweetheart"},
      {"Assistant", "agent"}, {"Manager", "co-worker"}};
  if (!IsStandardLabel(label)) return "";
  const std::string name = DisplayLabel(label);
  for (const auto& entry : kTypes)
    if (name == entry.first) return entry.second;
  return "";
}

}  // namespace

std::string VCardWriter::Escape(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    switch (c) {
      case '\\':
        out += "\\\\";
        break;
      case ',':
        out += "\\,";
        break;
      case ';':
        out += "\\;";
        break;
      case '\r':
        if (i + 1 < text.size() && text[i + 1] == '\n') ++i;
        out += "\\n";
        break;
      case '\n':
        out += "\\n";
        break;
      default:
        // Other control characters have no place in a content line.
        if (static_cast<unsigned char>(c) >= 0x20 && c != 0x7F)
          out.push_back(c);
        else if (c == '\t')
          out.push_back(' ');
        break;
    }
  }
  return out;
}

std::string VCardWriter::Fold(const std::string& line) {
  std::string out;
  FoldInto(line, &out);
  return out;
}

size_t VCardWriter::FoldedRoom(size_t octets) {
  return octets + (octets / (kMaxOctets - 1) + 1) * 3 + 2;
}

void VCardWriter::FoldInto(const std::string& line, std::string* out) {
  // A photo's line is hundreds of kilobytes: room for it, its breaks included, at once,
  // and plain copies into that room rather than an append per piece.
  const size_t start = out->size();
  out->resize(start + FoldedRoom(line.size()));
  char* to = &(*out)[start];
  const char* from = line.data();
  size_t left = line.size();
  size_t room = kMaxOctets;  // the first line has all 75; a continuation spends one on " "
  while (left > room) {
    size_t cut = room;
    // Never between the bytes of one UTF-8 sequence.
    while (cut > 0 && (static_cast<unsigned char>(from[cut]) & 0xC0) == 0x80) --cut;
    if (cut == 0) cut = room;  // not UTF-8 after all; octets are all that count
    // A whole continuation (all of a photo's but its ends) as a copy of constant size,
    // which the compiler makes inline: a call per 74 octets was most of the fold.
    if (cut == kMaxOctets - 1)
      std::memcpy(to, from, kMaxOctets - 1);
    else
      std::memcpy(to, from, cut);
    std::memcpy(to + cut, "\r\n ", 3);
    to += cut + 3;
    from += cut;
    left -= cut;
    room = kMaxOctets - 1;
  }
  std::memcpy(to, from, left);
  std::memcpy(to + left, "\r\n", 2);
  out->resize(static_cast<size_t>(to + left + 2 - out->data()));
}

void VCardWriter::StartLine(const Line& line, std::string* out) const {
  out->clear();
  if (!line.group.empty()) (*out += line.group) += '.';
  *out += line.name;
  for (const auto& param : line.params) {
    if (param.second.empty()) continue;
    ((*out += ';') += param.first) += '=';
    for (size_t i = 0; i < param.second.size(); ++i) {
      if (i) *out += ',';
      *out += ParamValue(version_ == kVCard4 && param.first == "TYPE" ? Lower(param.second[i])
                                                                      : param.second[i]);
    }
  }
  *out += ':';
}

void VCardWriter::Emit(const Line& line) {
  StartLine(line, &line_);
  line_ += line.value;
  FoldInto(line_, &card_);
}

void VCardWriter::WriteField(const Field& field, int* group) {
  if (!Present(field.value)) return;
  const std::string& value = *field.value;
  const std::string label = field.label.value_or("");
  const bool v4 = version_ == kVCard4;
  Line line;
  bool labelled = false;  // the label goes into an X-ABLabel of the item's group
  switch (field.kind) {
    case QX::kFieldPhone:
    case QX::kFieldEmail:
    case QX::kFieldUrl: {
      line.name = field.kind == QX::kFieldPhone   ? "TEL"
                  : field.kind == QX::kFieldEmail ? "EMAIL"
                                                  : "URL";
      std::vector<std::string> types = VCardTypes(field.kind, label);
      if (field.kind == QX::kFieldEmail && !v4) types.insert(types.begin(), "INTERNET");
      line.params.push_back({"TYPE", types});
      labelled = !label.empty() && VCardTypes(field.kind, label).empty();
      line.value = Escape(value);
      break;
    }
    case QX::kFieldInstantMessage:
      line.name = "IMPP";
      if (!label.empty()) line.params.push_back({"X-SERVICE-TYPE", {label}});
      line.value = Escape(std::string(ImScheme(label)) + ":" + value);
      break;
    case QX::kFieldSocialProfile:
      line.name = "X-SOCIALPROFILE";
      if (!label.empty()) line.params.push_back({"TYPE", {label}});
      line.params.push_back({"X-USER", {value}});
      line.value = Escape(ProfileUrl(label, value));
      break;
    case QX::kFieldRelatedName:
      line.name = v4 ? "RELATED" : "X-ABRELATEDNAMES";
      if (v4) {
        line.params.push_back({"VALUE", {"text"}});
        const std::string type = RelatedType(label);
        if (!type.empty()) line.params.push_back({"TYPE", {type}});
      }
      labelled = !label.empty();
      line.value = Escape(value);
      break;
    case QX::kFieldDate:
      labelled = DateLine(label, value, &line);
      break;
    default:
      line.name = "X-VELDRAKE-OTHER";
      labelled = !label.empty();
      line.value = Escape(value);
      break;
  }
  if (labelled) line.group = "item" + std::to_string(++*group);
  Emit(line);
  if (labelled) Emit({line.group, "X-ABLabel", {}, Escape(label)});
}

bool VCardWriter::DateLine(const std::string& label, const std::string& value, Line* line) {
  const bool v4 = version_ == kVCard4;
  const bool anniversary = v4 && label == kAnniversaryLabel && !anniversaryWritten_;
  anniversaryWritten_ = anniversaryWritten_ || anniversary;
  line->name = anniversary ? "ANNIVERSARY" : "X-ABDATE";
  std::optional<CivilDate> date = ParseDeviceDate(value);
  line->value = date ? (v4 ? Date4(*date) : IsoDate(*date)) : Escape(value);
  return !label.empty() && !anniversary;
}

void VCardWriter::WriteAddress(const Address& address, int* group) {
  if (!Present(address.street) && !Present(address.city) && !Present(address.state) &&
      !Present(address.postalCode) && !Present(address.country))
    return;
  const std::string type = address.type.value_or("");
  Line line;
  line.name = "ADR";
  line.params.push_back({"TYPE", VCardTypes(kAddressKind, type)});
  const bool labelled = !type.empty() && VCardTypes(kAddressKind, type).empty();
  if (labelled) line.group = "item" + std::to_string(++*group);
  line.value = ";;" + Escape(address.street.value_or("")) + ";" +
               Escape(address.city.value_or("")) + ";" + Escape(address.state.value_or("")) + ";" +
               Escape(address.postalCode.value_or("")) + ";" + Escape(address.country.value_or(""));
  Emit(line);
  if (labelled) Emit({line.group, "X-ABLabel", {}, Escape(type)});
}

std::string VCardWriter::FormattedName(const Contact& c) {
  std::string fn;
  for (const Text* part : {&c.firstName, &c.middleName, &c.lastName, &c.suffix}) {
    if (!Present(*part)) continue;
    if (!fn.empty()) fn += " ";
    fn += **part;
  }
  if (fn.empty() && Present(c.companyName)) fn = *c.companyName;
  if (fn.empty() && Present(c.nickname)) fn = *c.nickname;
  return fn;
}

void VCardWriter::WriteDetails(const Contact& c) {
  const bool v4 = version_ == kVCard4;
  if (!c.groups.empty()) {
    std::string names;
    for (const std::string& name : c.groups) names += (names.empty() ? "" : ",") + Escape(name);
    Emit({"", "CATEGORIES", {}, names});
  }
  if (c.photo) WritePhoto(*c.photo);
  std::optional<std::string> rev =
      UnixTimeToIso(c.modified != kUnknownDate ? c.modified : c.created);
  if (rev && v4)
    rev->erase(
        std::remove_if(rev->begin(), rev->end(), [](char ch) { return ch == '-' || ch == ':'; }),
        rev->end());
  if (rev) Emit({"", "REV", {}, *rev});
}

void VCardWriter::Write(const Contact& c) {
  const bool v4 = version_ == kVCard4;
  auto text = [](const Text& t) { return Escape(t.value_or("")); };
  anniversaryWritten_ = false;
  card_.assign("BEGIN:VCARD\r\n");
  card_ += v4 ? "VERSION:4.0\r\n" : "VERSION:3.0\r\n";
  Emit({"",
        "N",
        {},
        text(c.lastName) + ";" + text(c.firstName) + ";" + text(c.middleName) + ";;" +
            text(c.suffix)});
  const std::string fn = FormattedName(c);
  const bool company = Present(c.companyName) && fn == *c.companyName && !HasPersonName(c);
  Emit({"", "FN", {}, Escape(fn)});
  if (company) Emit({"", v4 ? "KIND" : "X-ABShowAs", {}, v4 ? "org" : "COMPANY"});
  if (Present(c.nickname)) Emit({"", "NICKNAME", {}, text(c.nickname)});
  if (Present(c.firstNameYomi)) Emit({"", "X-PHONETIC-FIRST-NAME", {}, text(c.firstNameYomi)});
  if (Present(c.lastNameYomi)) Emit({"", "X-PHONETIC-LAST-NAME", {}, text(c.lastNameYomi)});
  if (Present(c.companyName) || Present(c.department))
    Emit({"", "ORG", {}, text(c.companyName) + ";" + text(c.department)});
  if (Present(c.jobTitle)) Emit({"", "TITLE", {}, text(c.jobTitle)});
  if (Present(c.notes)) Emit({"", "NOTE", {}, text(c.notes)});
  if (Present(c.birthday)) {
    std::optional<CivilDate> date = ParseDeviceDate(*c.birthday);
    if (!date) {
      Emit({"", "BDAY", {{"VALUE", {"text"}}}, text(c.birthday)});
    } else if (v4) {
      Emit({"", "BDAY", {}, Date4(*date)});
    } else if (date->year == kYearOmitted) {
      Emit({"", "BDAY", {{"X-APPLE-OMIT-YEAR", {std::to_string(kYearOmitted)}}}, IsoDate(*date)});
    } else {
      Emit({"", "BDAY", {}, IsoDate(*date)});
    }
  }

  std::vector<const Field*> fields;
  for (const Field& field : c.fields) fields.push_back(&field);
  std::stable_sort(fields.begin(), fields.end(),
                   [](const Field* a, const Field* b) { return Rank(a->kind) < Rank(b->kind); });
  int group = 0;
  auto rankBelow = [](const Field* f, int rank) { return Rank(f->kind) < rank; };
  size_t i = 0;
  for (; i < fields.size() && rankBelow(fields[i], 2); ++i) WriteField(*fields[i], &group);
  for (const Address& address : c.addresses) WriteAddress(address, &group);
  for (; i < fields.size(); ++i) WriteField(*fields[i], &group);
  WriteDetails(c);
  card_ += "END:VCARD\r\n";
  EndCard();
}

}  // namespace host
