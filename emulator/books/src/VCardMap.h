// Mapping: one card's properties onto a Person of the device's address book and its Items.
#ifndef DEVICESIM_SRC_VCARDMAP_H_
#define DEVICESIM_SRC_VCARDMAP_H_

#include <vector>

#include "VCardProperty.h"
#include "devicesim/AddressBook.h"

namespace devicesim {

// Maps one card onto `person` (whose id is left alone). False for cards that are no
// person (groups).
bool MapCard(const std::vector<CardProperty>& props, Person& person);

}  // namespace devicesim

#endif  // DEVICESIM_SRC_VCARDMAP_H_
