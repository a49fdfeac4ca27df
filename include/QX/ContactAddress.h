// QX::ContactAddress: the five texts of one postal address. Hosts read it directly, so
// the field order is fixed. Each text is an array-new NUL-terminated copy owned by the
// record, or null when the device sent no usable value. One thread.
#ifndef VELDRAKE_QX_CONTACTADDRESS_H_
#define VELDRAKE_QX_CONTACTADDRESS_H_

#include "veldrake/Export.h"

namespace QX {

struct VELDRAKE_API ContactAddress {
  ContactAddress() = default;
  ~ContactAddress();

  ContactAddress(const ContactAddress&) = delete;
  ContactAddress& operator=(const ContactAddress&) = delete;

  char* street = nullptr;
  char* city = nullptr;
  char* state = nullptr;
  char* postalCode = nullptr;
  char* country = nullptr;
};

}  // namespace QX

#endif  // VELDRAKE_QX_CONTACTADDRESS_H_
