// Fuzz target for the photo sniffer: whatever the bytes, no read outside them, and what
// is called a picture has a type's name and a size in pixels (HEIC may lack one); no crop
// fits an image of unknown size.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "ImageBytes.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using veldrake::backup::ImageType;
  const std::vector<unsigned char> copy(data, data + size);  // exactly `size` bytes for ASan
  const veldrake::backup::ImageFacts facts = veldrake::backup::InspectImage(copy.data(), size);
  if (facts.type == ImageType::kNone) return 0;
  if (veldrake::backup::MimeTypeOf(facts.type) == nullptr) std::abort();
  if (facts.type != ImageType::kHeic && !facts.hasSize) std::abort();
  if (facts.hasSize && (facts.width == 0 || facts.height == 0)) std::abort();
  if (!facts.hasSize && veldrake::backup::CropFits(facts, 0, 0, 1)) std::abort();
  return 0;
}
