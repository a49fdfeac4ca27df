// The device's labels and service names for what a card's types and property names say.
#ifndef DEVICESIM_SRC_VCARDLABELS_H_
#define DEVICESIM_SRC_VCARDLABELS_H_

#include <initializer_list>
#include <string>

#include "VCardProperty.h"

namespace devicesim {

// A standard label of the device's address book: "Mobile" -> "_$!<Mobile>!$_".
std::string Device(const char* name);

// The first TYPE that is none of `skip`, empty when there is none.
std::string FirstType(const CardProperty& p, std::initializer_list<const char*> skip);

// The first type the card writes that is none of `standard`, as written ("WhatsApp"),
// since a person who typed a label of their own wants it back; Other when there is none.
std::string CustomOrOther(const CardProperty& p, std::initializer_list<const char*> standard);

// The device's label for a type it knows, else CustomOrOther.
std::string PhoneLabel(const CardProperty& p);
// E-mail, postal and messaging addresses: home, work, a custom label or other.
std::string PlaceLabel(const CardProperty& p);
// Home, work, other, a custom label, or else a home page.
std::string UrlLabel(const CardProperty& p);
// A relation type ("mother", "spouse", ...) to its label; any other type is a custom
// label as written, no type Other.
std::string RelatedLabel(const std::string& type);

// Android's relation and event type numbers (its contacts provider's TYPE column); 0 is
// its own label `custom`. An event of type birthday gives an empty label.
std::string AndroidRelationLabel(const std::string& type, const std::string& custom);
std::string AndroidEventLabel(const std::string& type, const std::string& custom);

// The service of an X-AIM-style property name, null when the name is none of them.
const char* ServiceOfImProperty(const std::string& name);
// The service of an IMPP URI scheme; an unknown scheme names itself.
std::string ServiceOfScheme(const std::string& scheme);

}  // namespace devicesim

#endif  // DEVICESIM_SRC_VCARDLABELS_H_
