// Host-side copies of the records the library lends to the record callback.
//
// The library owns every QX record and destroys it as soon as the callback returns, so
// the host copies what it keeps into these plain values. Copying reads the records
// through their published layout only (no call into the library). Texts are made valid
// UTF-8 on the way in (an invalid sequence becomes U+FFFD), so every writer can rely on
// it; a text the device did not send stays std::nullopt, an empty one is "".
//
// Thread contract: plain values; the copy functions touch nothing shared.
#ifndef VELDRAKE_HOST_RECORDS_H_
#define VELDRAKE_HOST_RECORDS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "QX/ContactField.h"

namespace QX {
struct Contact;
struct Notes;
}  // namespace QX

namespace host {

using Text = std::optional<std::string>;

struct Field {
  int32_t kind = QX::kFieldOther;  // a QX::ContactFieldKind, or what the device sent
  Text label;
  Text value;
};

struct Address {
  Text type;
  Text street, city, state, postalCode, country;
};

struct Contact {
  int32_t id = -1;
  Text firstName, firstNameYomi, middleName, lastName, lastNameYomi, suffix, nickname, jobTitle,
      department, companyName, notes;
  Text birthday;  // as the device sent it: "%m-%d-%Y %H:%M:%S" in UTC
  std::vector<Field> fields;
  std::vector<Address> addresses;
};

struct Note {
  Text subject;
  int64_t dateModified = -1;  // seconds since 2001-01-01 UTC, -1 for none
  Text content;
};

// A copy of a borrowed text: nullopt for null, otherwise valid UTF-8.
Text CopyText(const char* text);

// Kinds outside 0..7 are kept as they are; writers treat them as "other".
Contact CopyContact(const QX::Contact& record);
Note CopyNote(const QX::Notes& record);

}  // namespace host

#endif  // VELDRAKE_HOST_RECORDS_H_
