// The three picture formats a phone keeps contact photos in, each walked by its own
// structure: JPEG by its marker segments and coded data to the end-of-image marker, PNG
// by its chunks to IEND, HEIC by its boxes, which must fill the file exactly.
#include "ImageBytes.h"

#include <cstring>

namespace veldrake::backup {
namespace {

constexpr unsigned char kPngSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr size_t kPngChunkOverhead = 12;  // length, type, CRC
constexpr size_t kPngHeaderLength = 13;
constexpr unsigned char kJpegMarker = 0xFF;
constexpr unsigned char kJpegStart = 0xD8, kJpegEnd = 0xD9, kJpegScan = 0xDA;
constexpr size_t kBoxHeader = 8, kLargeBoxHeader = 16, kFullBoxExtra = 4;
constexpr const char* kHeicBrands[] = {"heic", "heix", "heim", "heis", "hevc", "hevx", "mif1"};

uint32_t Big16(const unsigned char* p) {
  return static_cast<uint32_t>(p[0]) << 8 | p[1];
}
uint32_t Big32(const unsigned char* p) {
  return Big16(p) << 16 | Big16(p + 2);
}
uint64_t Big64(const unsigned char* p) {
  return static_cast<uint64_t>(Big32(p)) << 32 | Big32(p + 4);
}

// A start-of-frame marker, which carries the picture's size (not DHT, JPG or DAC).
bool IsFrameMarker(unsigned char m) {
  return m >= 0xC0 && m <= 0xCF && m != 0xC4 && m != 0xC8 && m != 0xCC;
}

// Whether the coded data from `at` (just past a scan's header) reaches the end-of-image
// marker: inside it 0xFF is followed by a stuffed 0x00, a restart marker or more fill; any
// other marker is a segment between scans (a progressive picture's tables and scans).
// Bytes after the end-of-image marker (a camera's trailer) belong to no picture.
bool ReachesEnd(const unsigned char* d, size_t size, size_t at) {
  while (at < size) {
    const void* found = std::memchr(d + at, kJpegMarker, size - at);
    if (found == nullptr) return false;
    at = static_cast<size_t>(static_cast<const unsigned char*>(found) - d);
    if (size - at < 2) return false;
    const unsigned char marker = d[at + 1];
    if (marker == kJpegEnd) return true;
    if (marker == 0x00 || (marker >= 0xD0 && marker <= 0xD7) || marker == kJpegMarker) {
      at += marker == kJpegMarker ? 1 : 2;
      continue;
    }
    if (size - at < 4) return false;
    const size_t length = Big16(d + at + 2);
    if (length < 2 || length > size - at - 2) return false;
    at += 2 + length;
  }
  return false;
}

ImageFacts InspectJpeg(const unsigned char* d, size_t size) {
  ImageFacts facts;
  size_t at = 2;
  while (at + 4 <= size) {
    if (d[at] != kJpegMarker) return {};
    const unsigned char marker = d[at + 1];
    if (marker == kJpegMarker) {  // fill byte
      ++at;
      continue;
    }
    if ((marker >= 0xD0 && marker <= 0xD7) || marker == 0x01) {
      at += 2;
      continue;
    }
    const size_t length = Big16(d + at + 2);
    if (length < 2 || at + 2 + length > size) return {};
    if (IsFrameMarker(marker) && length >= 7) {
      facts.height = Big16(d + at + 5);
      facts.width = Big16(d + at + 7);
      facts.hasSize = facts.width > 0 && facts.height > 0;
    }
    at += 2 + length;
    if (marker == kJpegScan) {
      if (!facts.hasSize || !ReachesEnd(d, size, at)) return {};
      facts.type = ImageType::kJpeg;
      return facts;
    }
  }
  return {};  // no scan: no picture
}

ImageFacts InspectPng(const unsigned char* d, size_t size) {
  ImageFacts facts;
  size_t at = sizeof kPngSignature;
  bool first = true;
  while (at + kPngChunkOverhead <= size) {
    const uint64_t length = Big32(d + at);
    const unsigned char* type = d + at + 4;
    if (length > size - at - kPngChunkOverhead) return {};
    if (first != (std::memcmp(type, "IHDR", 4) == 0)) return {};
    if (first) {
      if (length != kPngHeaderLength) return {};
      facts.width = Big32(d + at + 8);
      facts.height = Big32(d + at + 12);
      facts.hasSize = facts.width > 0 && facts.height > 0;
      first = false;
    }
    at += kPngChunkOverhead + static_cast<size_t>(length);
    if (std::memcmp(type, "IEND", 4) == 0) {
      if (!facts.hasSize) return {};
      facts.type = ImageType::kPng;
      return facts;
    }
  }
  return {};  // no IEND: truncated
}

struct Box {
  const unsigned char* body = nullptr;
  size_t bodySize = 0;
  char type[4] = {};
};

// The box at `at` within [d, d+size); false when its header or length is out of bounds.
bool ReadBox(const unsigned char* d, size_t size, size_t at, Box* box, size_t* next) {
  if (size - at < kBoxHeader) return false;
  uint64_t length = Big32(d + at);
  size_t header = kBoxHeader;
  if (length == 1) {
    if (size - at < kLargeBoxHeader) return false;
    length = Big64(d + at + kBoxHeader);
    header = kLargeBoxHeader;
  } else if (length == 0) {
    length = size - at;  // to the end
  }
  if (length < header || length > size - at) return false;
  std::memcpy(box->type, d + at + 4, 4);
  box->body = d + at + header;
  box->bodySize = static_cast<size_t>(length) - header;
  *next = at + static_cast<size_t>(length);
  return true;
}

// The first box of `type` among the boxes filling [d, d+size), skipping `skip` bytes of a
// full box's version and flags first.
bool FindBox(const unsigned char* d, size_t size, size_t skip, const char* type, Box* found) {
  size_t at = skip;
  while (at < size) {
    size_t next = 0;
    if (!ReadBox(d, size, at, found, &next)) return false;
    if (std::memcmp(found->type, type, 4) == 0) return true;
    at = next;
  }
  return false;
}

bool HasHeicBrand(const Box& ftyp) {
  // The major brand, then the minor version, then the compatible brands.
  for (size_t at = 0; at + 4 <= ftyp.bodySize; at += at == 0 ? 8 : 4)
    for (const char* brand : kHeicBrands)
      if (std::memcmp(ftyp.body + at, brand, 4) == 0) return true;
  return false;
}

// The size an image spatial extent property gives: meta > iprp > ipco > ispe.
void HeicSize(const unsigned char* d, size_t size, ImageFacts* facts) {
  Box meta, iprp, ipco, ispe;
  if (!FindBox(d, size, 0, "meta", &meta) ||
      !FindBox(meta.body, meta.bodySize, kFullBoxExtra, "iprp", &iprp) ||
      !FindBox(iprp.body, iprp.bodySize, 0, "ipco", &ipco) ||
      !FindBox(ipco.body, ipco.bodySize, 0, "ispe", &ispe) || ispe.bodySize < kFullBoxExtra + 8)
    return;
  facts->width = Big32(ispe.body + kFullBoxExtra);
  facts->height = Big32(ispe.body + kFullBoxExtra + 4);
  facts->hasSize = facts->width > 0 && facts->height > 0;
}

ImageFacts InspectHeic(const unsigned char* d, size_t size) {
  Box ftyp;
  size_t at = 0;
  if (!ReadBox(d, size, 0, &ftyp, &at) || std::memcmp(ftyp.type, "ftyp", 4) != 0 ||
      !HasHeicBrand(ftyp))
    return {};
  // Every top-level box whole, and the media data among them: a file cut short breaks its
  // last box or lacks the data, which comes after the boxes that describe it.
  bool hasData = false;
  while (at < size) {
    Box box;
    if (!ReadBox(d, size, at, &box, &at)) return {};
    hasData = hasData || std::memcmp(box.type, "mdat", 4) == 0;
  }
  if (!hasData) return {};
  ImageFacts facts;
  facts.type = ImageType::kHeic;
  HeicSize(d, size, &facts);
  return facts;
}

}  // namespace

ImageFacts InspectImage(const unsigned char* data, size_t size) {
  if (data == nullptr) return {};
  if (size >= 4 && data[0] == kJpegMarker && data[1] == kJpegStart && data[2] == kJpegMarker)
    return InspectJpeg(data, size);
  if (size >= sizeof kPngSignature && std::memcmp(data, kPngSignature, sizeof kPngSignature) == 0)
    return InspectPng(data, size);
  if (size >= kBoxHeader && std::memcmp(data + 4, "ftyp", 4) == 0) return InspectHeic(data, size);
  return {};
}

const char* MimeTypeOf(ImageType type) {
  switch (type) {
    case ImageType::kJpeg:
      return "image/jpeg";
    case ImageType::kPng:
      return "image/png";
    case ImageType::kHeic:
      return "image/heic";
    case ImageType::kNone:
      break;
  }
  return nullptr;
}

bool CropFits(const ImageFacts& facts, int64_t x, int64_t y, int64_t width) {
  // Written so that no sum can overflow, whatever the database holds.
  return facts.hasSize && x >= 0 && y >= 0 && width > 0 && x <= facts.width && y <= facts.height &&
         width <= facts.width - x && width <= facts.height - y;
}

}  // namespace veldrake::backup
