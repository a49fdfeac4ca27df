// The book's photos, one row each, in the people's order.
#include "AddressBookImagesDb.h"

#include "AddressBookSchema.h"
#include "Sqlite.h"

namespace devicesim::backup {
namespace {

constexpr int kThumbnailFormat = 0;

class ImageWriter {
 public:
  explicit ImageWriter(Db& db)
      : db_(db),
        full_(db,
              "INSERT INTO ABFullSizeImage (record_id, crop_x, crop_y, crop_width, data)"
              " VALUES (?,?,?,?,?)"),
        thumb_(db,
               "INSERT INTO ABThumbnailImage (record_id, format, derived_from_format, data)"
               " VALUES (?,?,?,?)") {}

  bool ok() const { return full_.ok() && thumb_.ok(); }

  bool Write(const AddressBook& book, size_t begin, size_t end, std::string* error) {
    if (!db_.Exec("BEGIN", error)) return false;
    for (size_t i = begin; i < end; ++i) {
      const Person& p = book.people[i];
      if (!WritePhoto(p, book.photoSource ? book.photoSource(p) : p.photo, error)) return false;
    }
    return db_.Exec("COMMIT", error);
  }

 private:
  bool WritePhoto(const Person& p, const std::string& photo, std::string* error) {
    if (photo.empty()) return true;
    if (!p.hasCrop) {
      thumb_.Int(1, p.id);
      thumb_.Int(2, kThumbnailFormat);
      thumb_.Int(3, kThumbnailFormat);
      thumb_.Blob(4, photo);
      return thumb_.Run(error);
    }
    full_.Int(1, p.id);
    full_.Int(2, p.cropX);
    full_.Int(3, p.cropY);
    full_.Int(4, p.cropWidth);
    full_.Blob(5, photo);
    return full_.Run(error);
  }

  Db& db_;
  Statement full_, thumb_;
};

}  // namespace

bool WriteAddressBookImagesDb(const AddressBook& book, size_t walPeople, const std::string& path,
                              std::string* error) {
  Db db;
  if (!db.Open(path, error) || !db.Exec("PRAGMA journal_mode=WAL", error) ||
      !db.Exec("PRAGMA wal_autocheckpoint=0", error) || !db.Exec(kAddressBookImagesSchema, error))
    return false;
  const size_t count = book.people.size();
  const size_t inMain = walPeople >= count ? 0 : count - walPeople;
  {
    ImageWriter writer(db);
    if (!writer.ok()) {
      *error = db.Error();
      return false;
    }
    if (!writer.Write(book, 0, inMain, error) ||
        !db.Exec("PRAGMA wal_checkpoint(TRUNCATE)", error) ||
        !writer.Write(book, inMain, count, error))
      return false;
  }
  int unused = 0;
  sqlite3_db_config(db.handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, &unused);
  return db.Close(error);
}

}  // namespace devicesim::backup
