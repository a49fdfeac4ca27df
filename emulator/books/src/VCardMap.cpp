// One mapper per kind of property, chosen by the property's name; properties the device's
// records have no place for are passed over.
#include "VCardMap.h"

#include <cctype>
#include <map>
#include <string>

#include "Calendar.h"
#include "VCardLabels.h"
#include "VCardNames.h"
#include "VCardText.h"

namespace devicesim {
namespace {

// What mapping one card needs besides the property at hand. Single-valued properties
// (N, FN, ORG, TITLE, ROLE, NICKNAME, BDAY, the readings): the first that gives a value
// wins, since writers put the main one first (as vCard 4.0 does with ALTID alternatives).
struct CardContext {
  Person& person;
  std::map<std::string, std::string> groupLabels;  // "itemN" -> its X-ABLABEL
  const CardProperty* current = nullptr;           // the property being mapped
  std::vector<int> preferences;                    // CardProperty::preference of each item
  std::string formattedName, title, role;
  bool named = false;  // an N with a name has been taken

  // The custom label of the property's group (itemN.X-ABLABEL), else `fallback`.
  std::string labelOr(const CardProperty& p, const std::string& fallback) const {
    auto found = p.group.empty() ? groupLabels.end() : groupLabels.find(p.group);
    return found != groupLabels.end() && !found->second.empty() ? found->second : fallback;
  }
  void add(Item item) {
    person.items.push_back(std::move(item));
    preferences.push_back(current ? current->preference() : kNotPreferred);
  }
};

void SetOnce(std::string& field, const std::string& value) {
  if (field.empty()) field = value;
}

using Mapper = void (*)(const CardProperty&, CardContext&);

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

// The value without its URI scheme when the scheme is `expected` ("tel", "mailto").
std::string WithoutScheme(const std::string& value, const char* expected) {
  std::string scheme, rest;
  SplitUri(value, &scheme, &rest);
  return Lower(scheme) == expected ? rest : value;
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

Item MakeItem(int property, const std::string& label, const std::string& value = "") {
  Item item;
  item.property = property;
  item.label = label;
  item.value = value;
  return item;
}

// Readings from the first two components (family, given), where none is set yet.
void SetReadings(Person& person, const std::vector<std::string>& parts) {
  SetOnce(person.lastNameYomi, Component(parts, 0));
  SetOnce(person.firstNameYomi, Component(parts, 1));
}

// The prefix (part 3) has no place in the device's record.
void MapName(const CardProperty& p, CardContext& c) {
  const std::vector<std::string> parts = SplitEscaped(p.value, ';');
  if (c.named ||
      (Component(parts, 0).empty() && Component(parts, 1).empty() && Component(parts, 2).empty()))
    return;
  c.named = true;
  c.person.lastName = Component(parts, 0);
  c.person.firstName = Component(parts, 1);
  c.person.middleName = Component(parts, 2);
  c.person.suffix = Component(parts, 4);
  const std::string sortAs = p.param("SORT-AS");
  // 4.0 lists the sort strings with commas, some writers with semicolons.
  if (!sortAs.empty())
    SetReadings(c.person, SplitEscaped(sortAs, sortAs.find(';') != std::string::npos ? ';' : ','));
}

void MapFormattedName(const CardProperty& p, CardContext& c) {
  SetOnce(c.formattedName, Trim(p.text()));
}

void MapOrganization(const CardProperty& p, CardContext& c) {
  if (!c.person.companyName.empty() || !c.person.department.empty()) return;
  const std::vector<std::string> parts = SplitEscaped(p.value, ';');
  c.person.companyName = Component(parts, 0);
  std::vector<std::string> units;
  for (size_t i = 1; i < parts.size(); ++i) units.push_back(Component(parts, i));
  c.person.department = JoinNonEmpty(units, ", ");
}

void MapTitle(const CardProperty& p, CardContext& c) {
  SetOnce(c.title, Trim(p.text()));
}

void MapRole(const CardProperty& p, CardContext& c) {
  SetOnce(c.role, Trim(p.text()));
}

void MapNote(const CardProperty& p, CardContext& c) {
  c.person.notes += (c.person.notes.empty() ? "" : "\n") + p.text();
}

// SOUND;X-IRMC-N carries a 2.1 reading of the name; any other sound is of no use.
void MapSound(const CardProperty& p, CardContext& c) {
  if (p.hasParam("X-IRMC-N")) SetReadings(c.person, SplitEscaped(p.value, ';'));
}

void MapBirthday(const CardProperty& p, CardContext& c) {
  if (Lower(p.param("VALUE")) == "text" || c.person.hasBirthday) return;
  double seconds;
  if (!ParseVCardDate(Trim(p.text()), &seconds)) return;
  c.person.hasBirthday = true;
  c.person.birthday = seconds;
}

void MapPhone(const CardProperty& p, CardContext& c) {
  c.add(MakeItem(kPhone, c.labelOr(p, PhoneLabel(p)), WithoutScheme(Trim(p.text()), "tel")));
}

void MapEmail(const CardProperty& p, CardContext& c) {
  c.add(MakeItem(kEmail, c.labelOr(p, PlaceLabel(p)), WithoutScheme(Trim(p.text()), "mailto")));
}

void MapUrl(const CardProperty& p, CardContext& c) {
  c.add(MakeItem(kUrl, c.labelOr(p, UrlLabel(p)), Trim(p.text())));
}

void MapAddress(const CardProperty& p, CardContext& c) {
  const std::vector<std::string> parts = SplitEscaped(p.value, ';');
  Item item = MakeItem(kAddress, c.labelOr(p, PlaceLabel(p)));
  item.street = JoinNonEmpty({Component(parts, 0), Component(parts, 1), Component(parts, 2)}, "\n");
  item.city = Component(parts, 3);
  item.state = Component(parts, 4);
  item.postalCode = Component(parts, 5);
  item.country = Component(parts, 6);
  c.add(item);
}

// IMPP with a URI, or one of the older X-AIM-style properties with a bare user name.
void MapMessaging(const CardProperty& p, CardContext& c) {
  Item item = MakeItem(kInstantMessage, c.labelOr(p, PlaceLabel(p)));
  if (const char* service = ServiceOfImProperty(p.name)) {
    item.service = service;
    item.user = Trim(p.text());
  } else {
    std::string scheme;
    SplitUri(Trim(p.text()), &scheme, &item.user);
    const std::string declared = p.param("X-SERVICE-TYPE");
    item.service = !declared.empty() ? declared : ServiceOfScheme(scheme);
  }
  c.add(item);
}

// The user is named by X-USER, or else is the last piece of the profile's address.
void MapSocialProfile(const CardProperty& p, CardContext& c) {
  Item item = MakeItem(kSocialProfile, c.labelOr(p, ""), Trim(p.text()));
  item.service = FirstType(p, {"pref"});
  if (item.service.empty()) item.service = "other";
  item.user = p.param("X-USER");
  if (item.user.empty()) {
    std::string path = item.value;
    while (!path.empty() && path.back() == '/') path.pop_back();
    const size_t cut = path.find_last_of("/:");
    item.user = path.substr(cut == std::string::npos ? 0 : cut + 1);
  }
  c.add(item);
}

// A date the device cannot store as one still reaches it as text.
void AddDate(const CardProperty& p, CardContext& c, const std::string& label) {
  Item item = MakeItem(kDate, label);
  const std::string text = Trim(p.text());
  item.hasDate = ParseVCardDate(text, &item.date);
  if (!item.hasDate) item.value = text;
  c.add(item);
}

void MapLabelledDate(const CardProperty& p, CardContext& c) {
  AddDate(p, c, c.labelOr(p, Device(p.is("anniversary") ? "Anniversary" : "Other")));
}

void MapAnniversary(const CardProperty& p, CardContext& c) {
  AddDate(p, c, c.labelOr(p, Device("Anniversary")));
}

// The relation comes from the property's name where it has one (X-SPOUSE), else its type.
void MapRelatedName(const CardProperty& p, CardContext& c) {
  std::string type;
  for (const std::string& t : p.typesAsWritten())
    if (type.empty() && Lower(t) != "pref") type = t;
  for (const char* relation : {"spouse", "manager", "assistant"})
    if (p.name.find(Upper(relation)) != std::string::npos) type = relation;
  c.add(MakeItem(kRelatedName, c.labelOr(p, RelatedLabel(type)), Trim(p.text())));
}

// An address the card does not tie to a service (Outlook's X-MS-IMADDRESS).
void MapImAddress(const CardProperty& p, CardContext& c) {
  Item item = MakeItem(kInstantMessage, c.labelOr(p, Device("Other")));
  item.user = Trim(p.text());
  c.add(item);
}

// Android's own rows: "vnd.android.cursor.item/KIND;VALUE;TYPE;LABEL;...". Nicknames,
// relations and events have a place in the device's record; other rows do not.
void MapAndroidCustom(const CardProperty& p, CardContext& c) {
  const std::vector<std::string> parts = SplitEscaped(p.value, ';');
  const std::string kind = Lower(Component(parts, 0));
  const std::string value = Component(parts, 1), type = Component(parts, 2);
  const std::string custom = Component(parts, 3);
  if (kind == "vnd.android.cursor.item/nickname") {
    SetOnce(c.person.nickname, value);
  } else if (kind == "vnd.android.cursor.item/relation" && !value.empty()) {
    c.add(MakeItem(kRelatedName, c.labelOr(p, AndroidRelationLabel(type, custom)), value));
  } else if (kind == "vnd.android.cursor.item/contact_event" && !value.empty()) {
    const std::string label = AndroidEventLabel(type, custom);
    double date = 0;
    const bool isDate = ParseVCardDate(value, &date);
    if (label.empty() && isDate && !c.person.hasBirthday) {
      c.person.hasBirthday = true;
      c.person.birthday = date;
    } else if (!label.empty()) {
      Item item = MakeItem(kDate, label, isDate ? "" : value);
      item.hasDate = isDate;
      item.date = date;
      c.add(item);
    }
  }
}

// Properties that set one trimmed text of the person.
const std::map<std::string, std::string Person::*>& TextFields() {
  static const std::map<std::string, std::string Person::*> kTable = {
      {"NICKNAME", &Person::nickname},
      {"X-PHONETIC-FIRST-NAME", &Person::firstNameYomi},
      {"X-PHONETIC-LAST-NAME", &Person::lastNameYomi}};
  return kTable;
}

const std::map<std::string, Mapper>& Mappers() {
  static const std::map<std::string, Mapper> kTable = {
      {"N", MapName},
      {"FN", MapFormattedName},
      {"ORG", MapOrganization},
      {"TITLE", MapTitle},
      {"ROLE", MapRole},
      {"NOTE", MapNote},
      {"SOUND", MapSound},
      {"BDAY", MapBirthday},
      {"TEL", MapPhone},
      {"EMAIL", MapEmail},
      {"URL", MapUrl},
      {"ADR", MapAddress},
      {"IMPP", MapMessaging},
      {"X-SOCIALPROFILE", MapSocialProfile},
      {"X-ABDATE", MapLabelledDate},
      {"ANNIVERSARY", MapAnniversary},
      {"X-ANNIVERSARY", MapAnniversary},
      {"X-MS-ANNIVERSARY", MapAnniversary},
      {"X-EVOLUTION-ANNIVERSARY", MapAnniversary},
      {"X-WAB-WEDDING_ANNIVERSARY", MapAnniversary},
      {"X-WAB-WEDDING-ANNIVERSARY", MapAnniversary},
      {"X-ABRELATEDNAMES", MapRelatedName},
      {"RELATED", MapRelatedName},
      {"X-SPOUSE", MapRelatedName},
      {"X-EVOLUTION-SPOUSE", MapRelatedName},
      {"X-MANAGER", MapRelatedName},
      {"X-EVOLUTION-MANAGER", MapRelatedName},
      {"X-ASSISTANT", MapRelatedName},
      {"X-EVOLUTION-ASSISTANT", MapRelatedName},
      {"X-MS-MANAGER", MapRelatedName},
      {"X-MS-ASSISTANT", MapRelatedName},
      {"X-WAB-SPOUSE_NAME", MapRelatedName},
      {"X-WAB-SPOUSE-NAME", MapRelatedName},
      {"X-MS-IMADDRESS", MapImAddress},
      {"X-ANDROID-CUSTOM", MapAndroidCustom}};
  return kTable;
}

void MapProperty(const CardProperty& p, CardContext& c) {
  c.current = &p;
  auto text = TextFields().find(p.name);
  if (text != TextFields().end()) {
    SetOnce(c.person.*(text->second), Trim(p.text()));
    return;
  }
  auto mapper = Mappers().find(p.name);
  if (mapper != Mappers().end()) {
    mapper->second(p, c);
  } else if (ServiceOfImProperty(p.name)) {
    MapMessaging(p, c);
  }
}

// A card that says it is of `kind` (KIND, Apple's X-ADDRESSBOOKSERVER-KIND and X-ABShowAs).
bool IsCardOf(const std::vector<CardProperty>& props, const char* kind) {
  for (const CardProperty& p : props)
    if ((p.name == "KIND" || p.name == "X-ADDRESSBOOKSERVER-KIND" || p.name == "X-ABSHOWAS") &&
        Lower(Trim(p.text())) == kind)
      return true;
  return false;
}

}  // namespace

bool MapCard(const std::vector<CardProperty>& props, Person& person) {
  if (IsCardOf(props, "group")) return false;
  CardContext context{person, {}, nullptr, {}, {}, {}, {}, false};
  for (const CardProperty& p : props)
    if (p.name == "X-ABLABEL" && !p.group.empty()) context.groupLabels[p.group] = Trim(p.text());
  for (const CardProperty& p : props) MapProperty(p, context);
  person.jobTitle = context.title;
  // The record has one job title: a role beside a title joins it.
  if (!context.role.empty() && context.role != context.title)
    person.jobTitle = JoinNonEmpty({context.title, context.role}, ", ");
  // FN names the card whose N gives no name, except a company card, which FN names by
  // its company.
  const bool company = IsCardOf(props, "org") || IsCardOf(props, "company") ||
                       context.formattedName == person.companyName;
  if (!context.named && !company) SplitFormattedName(context.formattedName, &person);
  PutPreferredFirst(context.preferences, &person.items);
  return true;
}

}  // namespace devicesim
