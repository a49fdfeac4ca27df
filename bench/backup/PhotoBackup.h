// PhotoBackup: the plain backup the photo benchmarks read, written once per size by the
// emulator's writer: generated people (GenerateAddressBook seed 1), one in five with a
// 200 KB picture (a JPEG frame of 512 x 512 whose coded bytes differ by person), each
// picture made as the writer asks for it (AddressBook::photoSource), so 4 GB never sit in
// memory at once. The pictures are kept either full-size with a crop (ABFullSizeImage) or,
// as a phone keeps a picture without one, as a thumbnail only (ABThumbnailImage) of the
// same size.
#ifndef VELDRAKE_BENCH_PHOTOBACKUP_H_
#define VELDRAKE_BENCH_PHOTOBACKUP_H_

#include <sqlite3.h>

#include <cstddef>
#include <functional>
#include <string>

namespace photobackup {

constexpr size_t kPhotoBytes = 200 * 1024;
constexpr int kOneIn = 5;  // people with a photo

// How the pictures are kept.
enum class Kept { kCropped, kUncropped };

// The folder of the backup of `people` (made on first use, removed at exit).
const std::string& BackupOf(int people, Kept kept = Kept::kCropped);
// The path of the images database's content in the backup at `folder`.
std::string ImagesFile(const std::string& folder);
// How many of `people` have a photo.
inline size_t Photos(int people) {
  return static_cast<size_t>((people + kOneIn - 1) / kOneIn);
}
// Aborts with SQLite's message unless `rc` is a success.
void Check(int rc, sqlite3* db);
// The floors' read: every picture kept as `kept` says in the images database at
// `imagesFile`, opened read-only and immutable, handed to `each` in record order; how many
// there were.
size_t ForEachPicture(const std::string& imagesFile,
                      const std::function<void(const unsigned char*, size_t)>& each,
                      Kept kept = Kept::kCropped);

}  // namespace photobackup

#endif  // VELDRAKE_BENCH_PHOTOBACKUP_H_
