// QX::ContactField: one multi-valued item of a contact (a phone number, an e-mail
// address, a URL, a date, a related name, an instant-messaging account or a social
// profile). Hosts read it directly, so the field order and widths are fixed.
//
// `kind` is one of ContactFieldKind. `label` and `value` are array-new NUL-terminated
// texts owned by the record, or null when the device sent no usable value. One thread.
#ifndef VELDRAKE_QX_CONTACTFIELD_H_
#define VELDRAKE_QX_CONTACTFIELD_H_

#include <cstdint>

#include "veldrake/Export.h"

namespace QX {

// What a ContactField holds. The numbers are part of the record's layout: hosts compare
// `kind` with them.
enum ContactFieldKind : int32_t {
  kFieldOther = 0,
  kFieldPhone = 1,
  kFieldEmail = 2,
  kFieldUrl = 3,
  kFieldRelatedName = 4,
  kFieldInstantMessage = 5,  // label = service, value = user
  kFieldDate = 6,            // value in the birthday's form
  kFieldSocialProfile = 7,   // label = service, value = user
};

struct VELDRAKE_API ContactField {
  explicit ContactField(int32_t fieldKind) : kind(fieldKind) {}
  ~ContactField();

  ContactField(const ContactField&) = delete;
  ContactField& operator=(const ContactField&) = delete;

  int32_t kind;
  char* label = nullptr;
  char* value = nullptr;
};

}  // namespace QX

#endif  // VELDRAKE_QX_CONTACTFIELD_H_
