// QX::Contact: one person as the host receives it through its record callback. Hosts
// read the record directly, so the order and widths of its fields are fixed; the reserved
// fields keep their places because they fix the position of everything behind them.
//
// Ownership: every text is an array-new NUL-terminated copy owned by the record (null
// when the device sent no usable value, a single NUL for an empty one). `fields`,
// `addresses` and `reservedBlock` are owned and released by the destructor. The record
// belongs to the library: a host only borrows it for the time of its callback.
// One thread.
#ifndef VELDRAKE_QX_CONTACT_H_
#define VELDRAKE_QX_CONTACT_H_

#include <cstdint>
#include <vector>

#include "QX/ContactAddressFields.h"
#include "QX/ContactField.h"
#include "QX/ContactReservedBlock.h"
#include "veldrake/Export.h"

namespace QX {

struct VELDRAKE_API Contact {
  Contact() = default;
  ~Contact();

  Contact(const Contact&) = delete;
  Contact& operator=(const Contact&) = delete;

  int32_t id = -1;
  int8_t reservedFlag = 0;
  char* reservedText1 = nullptr;
  char* firstName = nullptr;
  char* firstNameYomi = nullptr;
  char* middleName = nullptr;
  char* lastName = nullptr;
  char* lastNameYomi = nullptr;
  char* suffix = nullptr;
  char* nickname = nullptr;
  char* jobTitle = nullptr;
  char* department = nullptr;
  char* companyName = nullptr;
  char* notes = nullptr;
  char* birthday = nullptr;  // "%m-%d-%Y %H:%M:%S" in UTC
  char* reservedText2 = nullptr;
  char* reservedText3 = nullptr;
  char* reservedText4 = nullptr;
  char* reservedText5 = nullptr;
  ContactReservedBlock* reservedBlock = nullptr;
  std::vector<ContactField*> fields;
  std::vector<ContactAddressFields*> addresses;
};

}  // namespace QX

#endif  // VELDRAKE_QX_CONTACT_H_
