// The device's labels for a card's types, and service names for messaging properties.
#include "VCardLabels.h"

#include <map>

#include "VCardText.h"

namespace devicesim {

std::string Device(const char* name) {
  return std::string("_$!<") + name + ">!$_";
}

std::string CustomOrOther(const CardProperty& p, std::initializer_list<const char*> standard) {
  for (const std::string& written : p.typesAsWritten()) {
    const std::string type = Lower(written);
    bool known = false;
    for (const char* s : standard) known = known || type == s;
    if (!known) return written;
  }
  return Device("Other");
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
  return CustomOrOther(p, {"voice", "msg", "video", "bbs", "modem", "car", "isdn", "pcs", "text",
                           "textphone", "other", "pref", "internet"});
}

std::string PlaceLabel(const CardProperty& p) {
  if (p.is("home")) return Device("Home");
  if (p.is("work")) return Device("Work");
  return CustomOrOther(p, {"other", "pref", "internet", "x400", "dom", "intl", "postal", "parcel",
                           "voice", "personal", "business", "mobile", "cell"});
}

std::string UrlLabel(const CardProperty& p) {
  if (p.is("home")) return Device("Home");
  if (p.is("work")) return Device("Work");
  if (p.is("other")) return Device("Other");
  const std::string custom = CustomOrOther(p, {"pref", "internet"});
  return custom == Device("Other") ? Device("HomePage") : custom;
}

std::string RelatedLabel(const std::string& type) {
  static const std::map<std::string, const char*> kTable = {
      {"mother", "Mother"},       {"father", "Father"},   {"parent", "Parent"},
      {"brother", "Brother"},     {"sister", "Sister"},   {"child", "Child"},
      {"friend", "Friend"},       {"spouse", "Spouse"},   {"partner", "Partner"},
      {"assistant", "Assistant"}, {"manager", "Manager"}, {"other", "Other"}};
  auto found = kTable.find(Lower(type));
  if (found != kTable.end()) return Device(found->second);
  return type.empty() ? Device("Other") : type;
}

std::string AndroidRelationLabel(const std::string& type, const std::string& custom) {
  static const std::map<std::string, const char*> kTable = {
      {"1", "Assistant"}, {"2", "Brother"},  {"3", "Child"},   {"4", "Partner"},
      {"5", "Father"},    {"6", "Friend"},   {"7", "Manager"}, {"8", "Mother"},
      {"9", "Parent"},    {"10", "Partner"}, {"13", "Sister"}, {"14", "Spouse"}};
  static const std::map<std::string, const char*> kCustom = {{"11", "Referred by"},
                                                             {"12", "Relative"}};
  auto found = kTable.find(type);
  if (found != kTable.end()) return Device(found->second);
  auto named = kCustom.find(type);
  if (named != kCustom.end()) return named->second;
  return custom.empty() ? Device("Other") : custom;
}

std::string AndroidEventLabel(const std::string& type, const std::string& custom) {
  if (type == "1") return Device("Anniversary");
  if (type == "3") return "";
  return type == "0" && !custom.empty() ? custom : Device("Other");
}

const char* ServiceOfImProperty(const std::string& name) {
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
  auto found = kTable.find(name);
  return found == kTable.end() ? nullptr : found->second;
}

std::string ServiceOfScheme(const std::string& scheme) {
  static const std::map<std::string, const char*> kTable = {
      {"xmpp", "Jabber"}, {"aim", "AIM"},          {"ymsgr", "Yahoo"},      {"msnim", "MSN"},
      {"icq", "ICQ"},     {"skype", "Skype"},      {"gtalk", "GoogleTalk"}, {"sip", "SIP"},
      {"qq", "QQ"},       {"facebook", "Facebook"}};
  auto found = kTable.find(Lower(scheme));
  return found == kTable.end() ? scheme : found->second;
}

}  // namespace devicesim
