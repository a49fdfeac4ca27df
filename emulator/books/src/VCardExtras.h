// Extras: what a card says beyond the records the sync conversation carries, kept for the
// backup the emulator writes: the photo (PHOTO as vCard 3.0 base64 or a vCard 4.0 data:
// URI, X-ABCROP-RECTANGLE as a parameter of PHOTO or a line of its own), the groups (CATEGORIES)
// and the account (X-VELDRAKE-ACCOUNT;TYPE=kind:name).
#ifndef DEVICESIM_SRC_VCARDEXTRAS_H_
#define DEVICESIM_SRC_VCARDEXTRAS_H_

#include <string>
#include <vector>

#include "VCardProperty.h"
#include "devicesim/AddressBook.h"

namespace devicesim {

// Fills the extras of `person` from one card. False with *line and *error for an account
// of an unknown kind. A PHOTO given by a link (nothing to embed) or that is not valid
// base64 is passed over.
bool ReadCardExtras(const std::vector<CardProperty>& props, Person* person, int* line,
                    std::string* error);

// Strict base64 (RFC 4648 alphabet, padding optional, white space ignored).
bool DecodeBase64(const std::string& text, std::string* out);

}  // namespace devicesim

#endif  // DEVICESIM_SRC_VCARDEXTRAS_H_
