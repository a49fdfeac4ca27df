// Helpers shared by the tests of contacts whole: pictures made here in each format the
// phone keeps (JPEG, PNG, HEIC, structurally whole, of a given size in pixels), and a
// callback that copies what VeldrakeBackupGetContacts lends, with its warnings.
#ifndef VELDRAKE_TESTS_BACKUP_CONTACTFIXTURES_H_
#define VELDRAKE_TESTS_BACKUP_CONTACTFIXTURES_H_

#include <zlib.h>

#include <cstdint>
#include <string>
#include <vector>

#include "QX/Contact.h"
#include "RecordCopy.h"
#include "veldrake/BackupContacts.h"

namespace contactfixtures {

inline std::string Big16(uint32_t v) {
  return {static_cast<char>(v >> 8 & 0xFF), static_cast<char>(v & 0xFF)};
}
inline std::string Big32(uint32_t v) {
  return Big16(v >> 16) + Big16(v & 0xFFFF);
}

// Bytes that never hold 0xFF, so no marker appears inside a JPEG's coded data.
inline std::string Payload(size_t size, uint8_t seed) {
  std::string out(size, '\0');
  for (size_t i = 0; i < size; ++i) out[i] = static_cast<char>((seed + i * 7) % 0xFF);
  return out;
}

inline std::string JpegSegment(uint8_t marker, const std::string& body) {
  return std::string("\xFF") + static_cast<char>(marker) +
         Big16(static_cast<uint32_t>(body.size() + 2)) + body;
}

inline std::string Jpeg(uint16_t width, uint16_t height, size_t payload = 64, uint8_t seed = 1) {
  const std::string components("\x01\x11\x00\x02\x11\x01\x03\x11\x01", 9);
  return std::string("\xFF\xD8") +
         JpegSegment(0xE0, std::string("JFIF\0\x01\x01\0\0\x01\0\x01\0\0", 14)) +
         JpegSegment(0xC0,
                     std::string("\x08") + Big16(height) + Big16(width) + "\x03" + components) +
         JpegSegment(0xDA, std::string("\x03\x01\x00\x02\x11\x03\x11\x00\x3F\x00", 10)) +
         Payload(payload, seed) + "\xFF\xD9";
}

inline std::string PngChunk(const char* type, const std::string& data) {
  const std::string typed = type + data;
  const auto crc =
      crc32(0, reinterpret_cast<const Bytef*>(typed.data()), static_cast<uInt>(typed.size()));
  return Big32(static_cast<uint32_t>(data.size())) + typed + Big32(static_cast<uint32_t>(crc));
}

inline std::string Png(uint32_t width, uint32_t height, size_t payload = 64, uint8_t seed = 2) {
  return std::string("\x89PNG\r\n\x1A\n", 8) +
         PngChunk("IHDR", Big32(width) + Big32(height) + std::string("\x08\x02\0\0\0", 5)) +
         PngChunk("IDAT", Payload(payload, seed)) + PngChunk("IEND", "");
}

inline std::string Box(const char* type, const std::string& body) {
  return Big32(static_cast<uint32_t>(body.size() + 8)) + type + body;
}

inline std::string Heic(uint32_t width, uint32_t height, size_t payload = 64, uint8_t seed = 3) {
  const std::string fullBox(4, '\0');  // version and flags
  const std::string ispe = Box("ispe", fullBox + Big32(width) + Big32(height));
  return Box("ftyp", std::string("heic\0\0\0\0mif1heic", 16)) +
         Box("meta", fullBox + Box("iprp", Box("ipco", ispe))) +
         Box("mdat", Payload(payload, seed));
}

// What one call of the contact callback was lent, copied.
struct SeenDetails {
  recordcopy::SeenContact contact;
  int id = 0;
  bool hasPhoto = false;
  std::string photo, mime;
  int hasCrop = 0, cropX = 0, cropY = 0, cropWidth = 0;
  std::vector<std::string> groups;
  bool hasAccount = false;
  std::string account, accountType;
  int64_t created = 0, modified = 0;
};

struct Collected {
  std::vector<SeenDetails> people;
  std::vector<std::string> warnings;
  int stopAfter = -1;    // answer -1 after this many people
  int cancelAfter = -1;  // VeldrakeBackupCancel() after this many
};

inline int CollectContact(void* contact, const VeldrakeContactDetails* d, void* context) {
  auto* out = static_cast<Collected*>(context);
  SeenDetails seen;
  seen.contact = recordcopy::CopyContact(*static_cast<QX::Contact*>(contact));
  seen.id = d->id;
  if (d->photo != nullptr) {
    seen.hasPhoto = true;
    seen.photo.assign(reinterpret_cast<const char*>(d->photo->data), d->photo->size);
    seen.mime = d->photo->mimeType;
    seen.hasCrop = d->photo->hasCrop;
    seen.cropX = d->photo->cropX;
    seen.cropY = d->photo->cropY;
    seen.cropWidth = d->photo->cropWidth;
  }
  for (int i = 0; i < d->groupCount; ++i) seen.groups.push_back(d->groups[i]);
  seen.hasAccount = d->account != nullptr;
  if (d->account != nullptr) seen.account = d->account;
  if (d->accountType != nullptr) seen.accountType = d->accountType;
  seen.created = d->created;
  seen.modified = d->modified;
  out->people.push_back(std::move(seen));
  if (static_cast<int>(out->people.size()) == out->cancelAfter) VeldrakeBackupCancel();
  return static_cast<int>(out->people.size()) == out->stopAfter ? -1 : 0;
}

inline void CollectWarning(const char* message, void* context) {
  static_cast<Collected*>(context)->warnings.push_back(message);
}

// Whether some warning contains `part`.
inline bool Warned(const Collected& c, const std::string& part) {
  for (const std::string& w : c.warnings)
    if (w.find(part) != std::string::npos) return true;
  return false;
}

}  // namespace contactfixtures

#endif  // VELDRAKE_TESTS_BACKUP_CONTACTFIXTURES_H_
