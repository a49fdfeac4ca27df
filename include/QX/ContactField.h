// QX::ContactField: one multi-valued item of a contact (a phone number, an e-mail
// address, a URL, a date, a related name, an instant-messaging account or a social
// profile). Hosts read it directly, so the field order and widths are fixed.
//
// `kind`: 0 other, 1 phone, 2 e-mail, 3 URL, 4 related name, 5 instant messaging,
// 6 date, 7 social profile. `label` and `value` are array-new NUL-terminated texts owned
// by the record, or null when the device sent no usable value. One thread.
#ifndef VELDRAKE_QX_CONTACTFIELD_H_
#define VELDRAKE_QX_CONTACTFIELD_H_

#include <cstdint>

#include "veldrake/Export.h"

namespace QX {

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
