// The images database's two tables merged with the people.
#include "ContactPhotos.h"

#include <sqlite3.h>

#include <climits>

#include "ImageBytes.h"

namespace veldrake::backup {

// One table's rows in record order: the current row's facts, and its bytes on demand.
struct PhotoCursor::Source {
  Source(sqlite3* db, const char* table, const std::string& order, bool crops)
      : name(table),
        rows(db, RowsQuery(db, table, order, crops)),
        bytes(db, std::string("SELECT data FROM ") + table + " WHERE ROWID = ?1") {}

  static std::string RowsQuery(sqlite3* db, const char* table, const std::string& order,
                               bool crops) {
    const Columns columns(db, table);
    if (!columns.Has("record_id") || !columns.Has("data")) return "";
    std::string sql = "SELECT record_id, ROWID, length(data), typeof(data)";
    for (const char* crop : {"crop_x", "crop_y", "crop_width"})
      sql += ", " + (crops ? columns.OrNull(crop) : std::string("NULL"));
    return sql + " FROM " + table + " WHERE data IS NOT NULL ORDER BY record_id, " + order;
  }

  enum Column : int { kRecord, kRow, kLength, kType, kCropX, kCropY, kCropWidth };

  // The next row; false on a failed step.
  bool Advance() {
    const int step = rows.Step();
    hasRow = step == SQLITE_ROW;
    return hasRow || step == SQLITE_DONE;
  }
  // Moves to the first row of `person` or past it; false on a failed step.
  bool Reach(int64_t person) {
    while (hasRow && sqlite3_column_int64(rows.get(), kRecord) < person)
      if (!Advance()) return false;
    return true;
  }
  bool At(int64_t person) const {
    return hasRow && sqlite3_column_int64(rows.get(), kRecord) == person;
  }

  const char* name;
  SqlStatement rows, bytes;
  bool hasRow = false;
};

namespace {

std::string Whose(int64_t person, const char* table) {
  return "the photo of contact " + std::to_string(person) + " (" + table + ")";
}

bool InInt32(int64_t value) {
  return value >= INT32_MIN && value <= INT32_MAX;
}

}  // namespace

PhotoCursor::PhotoCursor(sqlite3* db, const Warnings& warnings)
    : db_(db),
      warnings_(warnings),
      full_(std::make_unique<Source>(db, "ABFullSizeImage", "ROWID", true)),
      thumb_(std::make_unique<Source>(db, "ABThumbnailImage", "length(data) DESC, ROWID", false)) {
  if (!full_->rows.ok() && !thumb_->rows.ok()) {
    warnings_.Say(
        "AddressBookImages.sqlitedb has neither ABFullSizeImage nor ABThumbnailImage"
        " as the phone keeps them: contacts come without photos");
    ok_ = false;
    return;
  }
  for (Source* source : {full_.get(), thumb_.get()})
    if (source->rows.ok() && source->bytes.ok() && !source->Advance()) Fail(source->name);
}

PhotoCursor::~PhotoCursor() = default;

void PhotoCursor::Fail(const char* what) {
  warnings_.Say(std::string("AddressBookImages.sqlitedb is damaged (") + what + ": " +
                sqlite3_errmsg(db_) + "): the remaining contacts come without photos");
  ok_ = false;
}

const VeldrakeContactPhoto* PhotoCursor::Find(int64_t person) {
  for (Source* source : {full_.get(), thumb_.get()}) {
    if (!ok_) return nullptr;
    if (!source->Reach(person)) Fail(source->name);
    // The first whole picture wins; the rows looked at are passed either way.
    while (ok_ && source->At(person)) {
      if (Take(*source, person)) return &photo_;
      if (!source->Advance()) Fail(source->name);
    }
  }
  return nullptr;
}

bool PhotoCursor::Take(Source& source, int64_t person) {
  sqlite3_stmt* row = source.rows.get();
  const int64_t length = sqlite3_column_int64(row, Source::kLength);
  const char* type = ColumnUtf8(row, Source::kType);
  if (length > kMaxPhotoBytes) {
    warnings_.Say(Whose(person, source.name) + " is " + std::to_string(length) +
                  " bytes, more than the " + std::to_string(kMaxPhotoBytes) +
                  " a photo may have: left out");
    return false;
  }
  sqlite3_stmt* fetch = source.bytes.get();
  sqlite3_reset(fetch);
  sqlite3_bind_int64(fetch, 1, sqlite3_column_int64(row, Source::kRow));
  if (sqlite3_step(fetch) != SQLITE_ROW) {
    Fail(source.name);
    return false;
  }
  const auto* data = static_cast<const unsigned char*>(sqlite3_column_blob(fetch, 0));
  const auto size = static_cast<size_t>(sqlite3_column_bytes(fetch, 0));
  const ImageFacts facts =
      type != nullptr && std::string(type) == "blob" ? InspectImage(data, size) : ImageFacts();
  if (facts.type == ImageType::kNone) {
    warnings_.Say(Whose(person, source.name) + " is not a whole JPEG, PNG or HEIC image: left out");
    return false;
  }
  photo_ = VeldrakeContactPhoto{};
  photo_.data = data;
  photo_.size = size;
  photo_.mimeType = MimeTypeOf(facts.type);
  TakeCrop(row, facts, person);
  return true;
}

void PhotoCursor::TakeCrop(sqlite3_stmt* row, const ImageFacts& facts, int64_t person) {
  if (sqlite3_column_type(row, Source::kCropWidth) == SQLITE_NULL) return;
  const int64_t x = sqlite3_column_int64(row, Source::kCropX);
  const int64_t y = sqlite3_column_int64(row, Source::kCropY);
  const int64_t width = sqlite3_column_int64(row, Source::kCropWidth);
  if (width == 0) return;  // the whole image
  if (!InInt32(x) || !InInt32(y) || !CropFits(facts, x, y, width)) {
    warnings_.Say(Whose(person, full_->name) +
                  " has a crop outside the image: it comes whole, without the crop");
    return;
  }
  photo_.hasCrop = 1;
  photo_.cropX = static_cast<int32_t>(x);
  photo_.cropY = static_cast<int32_t>(y);
  photo_.cropWidth = static_cast<int32_t>(width);
}

}  // namespace veldrake::backup
