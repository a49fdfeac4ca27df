// ImageBytes: what a photo's bytes are, told from the bytes alone (never from a name or a
// column): a whole JPEG, PNG or HEIC image, and its size in pixels where the format says
// it. Truncated or foreign bytes are no picture, so a host never writes a broken image.
//
// Thread contract: pure functions, any thread. Every read is bounds-checked: the bytes
// come from a backup and are untrusted.
#ifndef VELDRAKE_BACKUP_IMAGEBYTES_H_
#define VELDRAKE_BACKUP_IMAGEBYTES_H_

#include <cstddef>
#include <cstdint>

namespace veldrake::backup {

enum class ImageType { kNone, kJpeg, kPng, kHeic };

struct ImageFacts {
  ImageType type = ImageType::kNone;  // kNone: not a whole picture of a known type
  bool hasSize = false;               // width and height were found
  uint32_t width = 0;
  uint32_t height = 0;
};

ImageFacts InspectImage(const unsigned char* data, size_t size);

// "image/jpeg", "image/png", "image/heic"; null for kNone.
const char* MimeTypeOf(ImageType type);

// Whether the square crop (x from the left, y from the bottom, side `width`) lies wholly
// inside an image of the facts' size. False when the size is unknown.
bool CropFits(const ImageFacts& facts, int64_t x, int64_t y, int64_t width);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_IMAGEBYTES_H_
