// Contact photos: what a picture's bytes are (every format, every truncation), and which
// picture of the images database each person gets, with the warnings for what is left out.
#include <sqlite3.h>

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BackupTestSupport.h"
#include "ContactDetails.h"
#include "ContactFixtures.h"
#include "ContactPhotos.h"
#include "ImageBytes.h"

namespace {

using namespace contactfixtures;
using veldrake::backup::ImageType;

struct ImageCase {
  const char* name;
  std::string bytes;
  ImageType type;
  uint32_t width, height;
  size_t trailer = 0;  // bytes after the picture's end
};

// A second scan after tables between scans, as a progressive picture has.
std::string ProgressiveJpeg() {
  std::string first = Jpeg(32, 24);
  first.resize(first.size() - 2);  // its end-of-image marker
  return first + JpegSegment(0xC4, std::string(20, '\x01')) +
         JpegSegment(0xDA, std::string("\x01\x01\x00\x00\x3F\x00", 6)) + Payload(40, 9) +
         "\xFF\xD9";
}

// Coded data holding a stuffed 0xFF 0x00, a restart marker and fill bytes.
std::string StuffedJpeg() {
  std::string jpeg = Jpeg(8, 8);
  jpeg.insert(jpeg.size() - 2, std::string("\xFF\x00\x12\xFF\xD3\x34\xFF\xFF\x00", 9));
  return jpeg;
}

std::vector<ImageCase> ImageCases() {
  std::string noFrame = Jpeg(8, 8);
  noFrame.erase(20, 19);  // the SOF0 segment
  std::string mp4 = Heic(8, 8);
  mp4.replace(8, 4, "isom");
  mp4.replace(16, 8, "isomiso2");
  return {
      {"jpeg", Jpeg(640, 480), ImageType::kJpeg, 640, 480},
      {"png", Png(3, 2), ImageType::kPng, 3, 2},
      {"heic", Heic(4032, 3024), ImageType::kHeic, 4032, 3024},
      {"gif", "GIF89a\x01\0\x01\0\0\0\0;", ImageType::kNone, 0, 0},
      {"empty", "", ImageType::kNone, 0, 0},
      {"jpeg without a frame", noFrame, ImageType::kNone, 0, 0},
      {"jpeg with a trailer after its end", Jpeg(8, 8) + "trailer", ImageType::kJpeg, 8, 8, 7},
      {"progressive jpeg: tables and a second scan", ProgressiveJpeg(), ImageType::kJpeg, 32, 24},
      {"jpeg with stuffed and restart bytes", StuffedJpeg(), ImageType::kJpeg, 8, 8},
      {"jpeg whose scan never ends", Jpeg(8, 8).substr(0, Jpeg(8, 8).size() - 2) + "\xFF",
       ImageType::kNone, 0, 0},
      {"png of no pixels", Png(0, 5), ImageType::kNone, 0, 0},
      {"png without its header first", std::string("\x89PNG\r\n\x1A\n", 8) + PngChunk("IEND", ""),
       ImageType::kNone, 0, 0},
      {"mp4 video", mp4, ImageType::kNone, 0, 0},
      {"heic without media data", Heic(8, 8).substr(0, Heic(8, 8).size() - 72), ImageType::kNone, 0,
       0},
      {"text", "hello, this is not a picture at all", ImageType::kNone, 0, 0},
  };
}

TEST(ImageBytesTest, TypeAndSizeComeFromTheBytes) {
  for (const ImageCase& c : ImageCases()) {
    const auto* data = reinterpret_cast<const unsigned char*>(c.bytes.data());
    const veldrake::backup::ImageFacts facts = veldrake::backup::InspectImage(data, c.bytes.size());
    EXPECT_EQ(facts.type, c.type) << c.name;
    if (c.type == ImageType::kNone) continue;
    EXPECT_EQ(facts.width, c.width) << c.name;
    EXPECT_EQ(facts.height, c.height) << c.name;
  }
}

// No picture cut short at any byte passes for whole: a host would write a broken image.
TEST(ImageBytesTest, EveryTruncationIsNoPicture) {
  for (const ImageCase& c : ImageCases()) {
    if (c.type == ImageType::kNone) continue;
    for (size_t length = 0; length < c.bytes.size() - c.trailer; ++length) {
      const std::string cut = c.bytes.substr(0, length);  // its own allocation: ASan sees overreads
      const auto* data = reinterpret_cast<const unsigned char*>(cut.data());
      ASSERT_EQ(veldrake::backup::InspectImage(data, length).type, ImageType::kNone)
          << c.name << " cut to " << length;
    }
  }
}

TEST(ImageBytesTest, CropMustLieInsideTheImage) {
  veldrake::backup::ImageFacts facts;
  facts.type = ImageType::kJpeg;
  facts.hasSize = true;
  facts.width = 100;
  facts.height = 50;
  struct Crop {
    int64_t x, y, width;
    bool fits;
  } const crops[] = {{0, 0, 50, true},         {50, 0, 50, true},   {0, 0, 51, false},
                     {51, 0, 50, false},       {-1, 0, 10, false},  {0, -1, 10, false},
                     {0, 0, 0, false},         {10, 10, -5, false}, {INT64_MAX, 0, 1, false},
                     {0, 0, INT64_MAX, false}, {99, 49, 1, true},   {100, 0, 1, false}};
  for (const Crop& c : crops)
    EXPECT_EQ(veldrake::backup::CropFits(facts, c.x, c.y, c.width), c.fits)
        << c.x << "," << c.y << "," << c.width;
  facts.hasSize = false;
  EXPECT_FALSE(veldrake::backup::CropFits(facts, 0, 0, 1));
}

// --- Which picture each person gets ---

constexpr int64_t kNoCrop = INT64_MIN;
constexpr const char* kOverCap = "<over the cap>";
constexpr const char* kAsText = "<as text>";

struct ImageRow {
  bool fullSize;
  int64_t record;
  std::string bytes;  // or kOverCap / kAsText
  int64_t cropX = kNoCrop, cropY = 0, cropWidth = 0;
};

struct Expected {
  int person;
  std::string bytes;
  const char* mime;
  int cropX = -1, cropY = -1, cropWidth = -1;  // -1: no crop
};

struct PhotoCase {
  const char* name;
  std::vector<ImageRow> rows;
  std::vector<Expected> photos;  // the people of 1..3 not named here have none
  std::vector<const char*> warnings;
};

const std::string kJpeg = Jpeg(40, 40), kPng = Png(30, 30), kHeic = Heic(20, 20);
const std::string kLargeJpeg = Jpeg(60, 60, 900), kNoise = "\x01\x02\x03 not an image";

std::vector<PhotoCase> PhotoCases() {
  const std::string cut = kLargeJpeg.substr(0, kLargeJpeg.size() - 1);
  return {
      {"full size with its crop",
       {{true, 1, kJpeg, 5, 5, 30}},
       {{1, kJpeg, "image/jpeg", 5, 5, 30}},
       {}},
      {"crop outside the image",
       {{true, 1, kJpeg, 20, 20, 30}},
       {{1, kJpeg, "image/jpeg"}},
       {"crop outside the image"}},
      {"crop left of the image",
       {{true, 2, kHeic, -1, 0, 10}},
       {{2, kHeic, "image/heic"}},
       {"crop outside"}},
      {"crop beyond 32 bits",
       {{true, 2, kPng, 1LL << 40, 0, 4}},
       {{2, kPng, "image/png"}},
       {"crop outside"}},
      {"no crop (width 0 or NULL)",
       {{true, 1, kJpeg, 0, 0, 0}, {true, 3, kPng}},
       {{1, kJpeg, "image/jpeg"}, {3, kPng, "image/png"}},
       {}},
      {"full size not a picture: the thumbnail",
       {{true, 1, kNoise, 0, 0, 1}, {false, 1, kPng}},
       {{1, kPng, "image/png"}},
       {"not a whole JPEG, PNG or HEIC"}},
      {"the largest thumbnail",
       {{false, 3, kPng}, {false, 3, kLargeJpeg}, {false, 3, kJpeg}},
       {{3, kLargeJpeg, "image/jpeg"}},
       {}},
      {"largest thumbnail cut short: the next",
       {{false, 2, kPng}, {false, 2, cut}},
       {{2, kPng, "image/png"}},
       {"contact 2 (ABThumbnailImage) is not a whole"}},
      {"bytes kept as text", {{false, 1, kAsText}}, {}, {"not a whole"}},
      {"over the cap: the thumbnail",
       {{true, 2, kOverCap}, {false, 2, kJpeg}},
       {{2, kJpeg, "image/jpeg"}},
       {"a photo may have"}},
      {"people without rows, rows without people",
       {{true, 0, kPng}, {false, 99, kPng}, {false, 3, kHeic}, {true, 1, kJpeg}},
       {{1, kJpeg, "image/jpeg"}, {3, kHeic, "image/heic"}},
       {}},
  };
}

void PutImage(sqlite3* db, const ImageRow& row) {
  const std::string sql =
      row.fullSize ? "INSERT INTO ABFullSizeImage (record_id, crop_x, crop_y, crop_width, data)"
                     " VALUES (?1, ?2, ?3, ?4, ?5)"
                   : "INSERT INTO ABThumbnailImage (record_id, format, data)"
                     " VALUES (?1, (SELECT count(*) FROM ABThumbnailImage), ?5)";
  sqlite3_stmt* s = nullptr;
  ASSERT_EQ(sqlite3_prepare_v2(db, sql.c_str(), -1, &s, nullptr), SQLITE_OK);
  sqlite3_bind_int64(s, 1, row.record);
  if (row.cropX != kNoCrop) {
    sqlite3_bind_int64(s, 2, row.cropX);
    sqlite3_bind_int64(s, 3, row.cropY);
    sqlite3_bind_int64(s, 4, row.cropWidth);
  }
  if (row.bytes == kOverCap)
    sqlite3_bind_zeroblob64(s, 5, veldrake::backup::kMaxPhotoBytes + 1);
  else if (row.bytes == kAsText)
    sqlite3_bind_text(s, 5, kJpeg.data(), static_cast<int>(kJpeg.size()), SQLITE_TRANSIENT);
  else
    sqlite3_bind_blob(s, 5, row.bytes.data(), static_cast<int>(row.bytes.size()), SQLITE_TRANSIENT);
  EXPECT_EQ(sqlite3_step(s), SQLITE_DONE);
  sqlite3_finalize(s);
}

// Three people, and the images database as the phone declares it.
struct Databases {
  Databases() {
    sqlite3_open(":memory:", &book);
    sqlite3_open(":memory:", &images);
    backuptest::CreateBookSchema(book);
    for (const char* id : {"1", "2", "3"})
      backuptest::Exec(book, "INSERT INTO ABPerson (ROWID, First) VALUES (?1, 'P')", {id});
    backuptest::Exec(images,
                     "CREATE TABLE ABThumbnailImage (ROWID INTEGER PRIMARY KEY AUTOINCREMENT,"
                     " record_id INTEGER, format INTEGER, derived_from_format INTEGER, data BLOB,"
                     " UNIQUE(record_id, format))");
    backuptest::Exec(images,
                     "CREATE TABLE ABFullSizeImage (ROWID INTEGER PRIMARY KEY AUTOINCREMENT,"
                     " record_id INTEGER, crop_x INTEGER, crop_y INTEGER, crop_width INTEGER,"
                     " data BLOB)");
  }
  ~Databases() {
    sqlite3_close(book);
    sqlite3_close(images);
  }
  Collected Deliver(sqlite3* imagesDb) const {
    Collected out;
    veldrake::backup::Warnings warnings;
    warnings.callback = CollectWarning;
    warnings.context = &out;
    std::string message;
    EXPECT_EQ(veldrake::backup::DeliverContactDetails(book, imagesDb, CollectContact, &out,
                                                      warnings, &message),
              0)
        << message;
    return out;
  }
  sqlite3* book = nullptr;
  sqlite3* images = nullptr;
};

TEST(ContactPhotosTest, EachPersonGetsThePictureThePhoneShows) {
  for (const PhotoCase& c : PhotoCases()) {
    SCOPED_TRACE(c.name);
    Databases dbs;
    for (const ImageRow& row : c.rows) PutImage(dbs.images, row);
    const Collected got = dbs.Deliver(dbs.images);
    ASSERT_EQ(got.people.size(), 3u);
    std::map<int, Expected> want;
    for (const Expected& e : c.photos) want.emplace(e.person, e);
    for (const SeenDetails& seen : got.people) {
      const auto found = want.find(seen.id);
      ASSERT_EQ(seen.hasPhoto, found != want.end()) << "person " << seen.id;
      if (!seen.hasPhoto) continue;
      const Expected& e = found->second;
      EXPECT_TRUE(seen.photo == e.bytes) << "person " << seen.id;
      EXPECT_EQ(seen.mime, e.mime);
      EXPECT_EQ(seen.hasCrop, e.cropWidth > 0 ? 1 : 0);
      if (seen.hasCrop) {
        EXPECT_EQ(std::vector<int>({seen.cropX, seen.cropY, seen.cropWidth}),
                  std::vector<int>({e.cropX, e.cropY, e.cropWidth}));
      }
    }
    EXPECT_EQ(got.warnings.size(), c.warnings.size());
    for (const char* part : c.warnings) EXPECT_TRUE(Warned(got, part)) << part;
  }
}

// An images database of another schema, or none at all: one warning, every person, no
// photo.
TEST(ContactPhotosTest, AnotherSchemaGivesOneWarningAndNoPhotos) {
  Databases dbs;
  sqlite3* other = nullptr;
  sqlite3_open(":memory:", &other);
  backuptest::Exec(other, "CREATE TABLE ABImage (record_id INTEGER, image BLOB)");
  for (sqlite3* images : {other, static_cast<sqlite3*>(nullptr)}) {
    const Collected got = dbs.Deliver(images);
    ASSERT_EQ(got.people.size(), 3u);
    for (const SeenDetails& seen : got.people) EXPECT_FALSE(seen.hasPhoto);
    EXPECT_EQ(got.warnings.size(), images != nullptr ? 1u : 0u);
  }
  sqlite3_close(other);
}

}  // namespace
