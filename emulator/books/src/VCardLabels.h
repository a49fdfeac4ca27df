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

std::string PhoneLabel(const CardProperty& p);
// E-mail, postal and messaging addresses: home, work or other.
std::string PlaceLabel(const CardProperty& p);
std::string UrlLabel(const CardProperty& p);
// A relation type ("mother", "spouse", ...) to its label; Other for the rest.
std::string RelatedLabel(const std::string& type);

// The service of an X-AIM-style property name, null when the name is none of them.
const char* ServiceOfImProperty(const std::string& name);
// The service of an IMPP URI scheme; an unknown scheme names itself.
std::string ServiceOfScheme(const std::string& scheme);

}  // namespace devicesim

#endif  // DEVICESIM_SRC_VCARDLABELS_H_
