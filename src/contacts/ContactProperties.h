// The phone's address-book property numbers of multi-valued items, and the kind each
// becomes in a QX::ContactField: the same on the sync route (the "PROPERTY/ID/INDEX"
// keys) and in the address-book database a backup carries (ABMultiValue.property).
#ifndef VELDRAKE_CONTACTS_CONTACTPROPERTIES_H_
#define VELDRAKE_CONTACTS_CONTACTPROPERTIES_H_

#include "QX/ContactField.h"

namespace veldrake {

enum ContactProperty : int {
  kPropertyPhone = 3,
  kPropertyEmail = 4,
  kPropertyPostalAddress = 5,
  kPropertyDate = 12,
  kPropertyInstantMessage = 13,
  kPropertyUrl = 22,
  kPropertyRelatedName = 23,
  kPropertySocialProfile = 46,
};

// The kind a property becomes for the host; kFieldOther for any number not above.
QX::ContactFieldKind KindOfProperty(int property);

}  // namespace veldrake

#endif  // VELDRAKE_CONTACTS_CONTACTPROPERTIES_H_
