// The kind each address-book property becomes for the host.
#include "ContactProperties.h"

namespace veldrake {

QX::ContactFieldKind KindOfProperty(int property) {
  switch (property) {
    case kPropertyPhone:
      return QX::kFieldPhone;
    case kPropertyEmail:
      return QX::kFieldEmail;
    case kPropertyUrl:
      return QX::kFieldUrl;
    case kPropertyRelatedName:
      return QX::kFieldRelatedName;
    case kPropertyInstantMessage:
      return QX::kFieldInstantMessage;
    case kPropertyDate:
      return QX::kFieldDate;
    case kPropertySocialProfile:
      return QX::kFieldSocialProfile;
    default:
      return QX::kFieldOther;
  }
}

}  // namespace veldrake
