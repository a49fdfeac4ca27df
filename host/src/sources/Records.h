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
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "QX/ContactField.h"

namespace QX {
struct Contact;
struct Notes;
}  // namespace QX
struct VeldrakeContactDetails;

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

// A date the record does not know.
constexpr int64_t kUnknownDate = std::numeric_limits<int64_t>::min();

// A person's picture as the phone keeps it, with the square the phone shows of it.
struct Photo {
  std::string mimeType;  // "image/jpeg", "image/png" or "image/heic"
  std::string data;      // the image's bytes
  bool hasCrop = false;
  int32_t cropX = 0, cropY = 0, cropWidth = 0;  // pixels; y from the bottom
};

struct Contact {
  int32_t id = -1;
  Text firstName, firstNameYomi, middleName, lastName, lastNameYomi, suffix, nickname, jobTitle,
      department, companyName, notes;
  Text birthday;  // as the device sent it: "%m-%d-%Y %H:%M:%S" in UTC
  std::vector<Field> fields;
  std::vector<Address> addresses;
  // Only the backup route knows these; the sync route leaves them empty.
  std::optional<Photo> photo;
  std::vector<std::string> groups;  // in name order
  Text account, accountType;        // the store the person lives in
  int64_t created = kUnknownDate;   // seconds since 1970-01-01 UTC
  int64_t modified = kUnknownDate;
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
// Adds what the backup library lends beside the record; a photo of a type other than
// JPEG, PNG or HEIC is left out.
void CopyDetails(const VeldrakeContactDetails& details, Contact* contact);
Note CopyNote(const QX::Notes& record);

}  // namespace host

#endif  // VELDRAKE_HOST_RECORDS_H_
