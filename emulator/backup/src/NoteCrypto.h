// NoteCrypto: a locked note's objects sealed as the Notes app seals them: a random
// 16-byte key per object, wrapped (RFC 3394) with PBKDF2-HMAC-SHA256 of the note's
// password and the object's own salt, and AES-128-GCM over the data with a 16-byte IV.
//
// Thread contract: pure functions; OpenSSL's state is thread-safe.
#ifndef DEVICESIM_BACKUP_NOTECRYPTO_H_
#define DEVICESIM_BACKUP_NOTECRYPTO_H_

#include <cstdint>
#include <string>

namespace devicesim::backup {

// The iteration count the emulator's phones use for a note's password.
const uint32_t kNoteIterations = 20000;

struct Sealed {
  std::string salt, wrappedKey, iv, tag, data;
  uint32_t iterations = kNoteIterations;
};

// False when OpenSSL fails. Intermediate keys are wiped before returning.
bool SealNoteData(const std::string& password, const std::string& plain, Sealed* sealed);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_NOTECRYPTO_H_
