// QX::ContactAddressFields: one postal address of a contact with its type text. Hosts
// read it directly, so the field order is fixed.
//
// Ownership: `type` is an array-new NUL-terminated text (or null); `address` is made with
// the record, is never null afterwards, and is destroyed with it. One thread.
#ifndef VELDRAKE_QX_CONTACTADDRESSFIELDS_H_
#define VELDRAKE_QX_CONTACTADDRESSFIELDS_H_

#include "QX/ContactAddress.h"
#include "veldrake/Export.h"

namespace QX {

struct VELDRAKE_API ContactAddressFields {
  ContactAddressFields() : address(new ContactAddress()) {}
  ~ContactAddressFields();

  ContactAddressFields(const ContactAddressFields&) = delete;
  ContactAddressFields& operator=(const ContactAddressFields&) = delete;

  char* type = nullptr;
  ContactAddress* address;
};

}  // namespace QX

#endif  // VELDRAKE_QX_CONTACTADDRESSFIELDS_H_
