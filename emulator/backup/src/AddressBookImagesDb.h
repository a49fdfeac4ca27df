// AddressBookImagesDb: the phone's AddressBookImages.sqlitedb, filled with the book's
// photos. A photo whose card gives a crop (X-ABCROP-RECTANGLE) is kept full-size with its
// crop in ABFullSizeImage; one without is kept as the phone keeps a picture that came
// from an account as a small image: a thumbnail only (ABThumbnailImage, format 0). The
// emulator scales nothing, so each picture is kept once, byte for byte as the card gave
// it, and both of the reader's paths are walked by one book.
//
// Like the address book it is in write-ahead-log mode, the photos of the last
// `walPeople` people only in its -wal file, with -wal and -shm left beside it.
//
// Thread contract: touches only the files at `path`, `path`-wal and `path`-shm.
#ifndef DEVICESIM_BACKUP_ADDRESSBOOKIMAGESDB_H_
#define DEVICESIM_BACKUP_ADDRESSBOOKIMAGESDB_H_

#include <cstddef>
#include <string>

#include "devicesim/AddressBook.h"

namespace devicesim::backup {

bool WriteAddressBookImagesDb(const AddressBook& book, size_t walPeople, const std::string& path,
                              std::string* error);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_ADDRESSBOOKIMAGESDB_H_
