// ContactPhotos: each person's picture from AddressBookImages.sqlitedb. The full-size
// image (ABFullSizeImage, with the square crop the phone shows) where there is one and it
// is a whole picture, else the largest thumbnail (ABThumbnailImage) that is.
//
// Two ordered streams of small rows (record, row, size, crop) are merged with the people
// as they come; a picture's bytes are fetched by row only when its person comes up, and
// only one is held at a time, so memory stays flat in the book's size. Bytes that are not
// a whole JPEG, PNG or HEIC image, an image over kMaxPhotoBytes and a crop outside the
// image are each left out with one warning; a database that breaks mid-way stops the
// photos (with a warning), never the export.
//
// Thread contract: one owner, one thread, one connection (the caller's, kept open).
#ifndef VELDRAKE_BACKUP_CONTACTPHOTOS_H_
#define VELDRAKE_BACKUP_CONTACTPHOTOS_H_

#include <cstdint>
#include <memory>
#include <string>

#include "ImageBytes.h"
#include "SqlStatement.h"
#include "Warnings.h"
#include "veldrake/BackupContacts.h"

struct sqlite3;

namespace veldrake::backup {

// Far above any photo a phone takes; a host holds a photo and its base64 at once.
constexpr int64_t kMaxPhotoBytes = 64 * 1024 * 1024;

class PhotoCursor {
 public:
  // `db` is the images database; its tables are checked here, and a database without
  // them gives one warning and no photos.
  PhotoCursor(sqlite3* db, const Warnings& warnings);
  ~PhotoCursor();
  PhotoCursor(const PhotoCursor&) = delete;
  PhotoCursor& operator=(const PhotoCursor&) = delete;

  // The photo of `person`, or null. Valid until the next call. REQUIRES: ascending
  // `person` from call to call.
  const VeldrakeContactPhoto* Find(int64_t person);

 private:
  struct Source;

  bool Take(Source& source, int64_t person);
  void TakeCrop(sqlite3_stmt* row, const ImageFacts& facts, int64_t person);
  void Fail(const char* what);

  sqlite3* db_;
  const Warnings& warnings_;
  std::unique_ptr<Source> full_, thumb_;
  bool ok_ = true;
  VeldrakeContactPhoto photo_{};
};

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_CONTACTPHOTOS_H_
