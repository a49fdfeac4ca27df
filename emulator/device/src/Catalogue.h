// The library's eleven messages as the device knows them, for naming what arrives.
// Kept apart from the library's own message builder on purpose: the emulator checks the
// library's bytes against an independent copy.
#ifndef DEVICESIM_SRC_CATALOGUE_H_
#define DEVICESIM_SRC_CATALOGUE_H_

#include <string>

namespace devicesim {

// How many messages the library sends; they are numbered 1..kCatalogueSize.
const int kCatalogueSize = 11;

// The whole payload of message `index` (1..kCatalogueSize).
const std::string& CatalogueText(int index);

}  // namespace devicesim

#endif  // DEVICESIM_SRC_CATALOGUE_H_
