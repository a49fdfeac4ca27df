// The device's labels for a card's types, and service names for messaging properties.
#include "VCardLabels.h"

#include <map>

#include "VCardText.h"

namespace devicesim {

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
