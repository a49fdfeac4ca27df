// NoteCrypto: the scheme a note locked with its own password uses for its body, its
// tables and its media files: PBKDF2-HMAC-SHA256 of the password with the object's salt
// and iteration count gives a 16-byte key-encrypting key, which unwraps (RFC 3394) the
// object's 16-byte key, which opens the data with AES-128-GCM (the object's IV and tag,
// no associated data). A failed unwrap or a failed tag both mean a wrong password.
//
// Keys live in std::string and are wiped (Wipe, Crypto.h) before they go. One thread;
// keeps nothing.
#ifndef VELDRAKE_BACKUP_NOTECRYPTO_H_
#define VELDRAKE_BACKUP_NOTECRYPTO_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace veldrake::backup {

// One encrypted object's parameters, as its rows give them.
struct LockedObject {
  std::string salt;
  uint32_t iterations = 0;
  std::string wrappedKey;
  std::string iv;
  std::string tag;
};

enum class Unlock { kOk, kWrongPassword, kDamaged };

// Whether the parameters can be right at all (key, tag and IV lengths, iterations), so a
// damaged lock is told apart from a wrong password.
bool WellFormed(const LockedObject& object);

// The object's key under `password`: kWrongPassword when the unwrap's integrity check
// fails; kDamaged when the parameters cannot be right (lengths, zero iterations).
Unlock UnwrapNoteKey(const std::string& password, const LockedObject& object, std::string* key);

// Decrypts `data` whole with `key` (a body or a table): kWrongPassword when the tag does
// not match.
Unlock OpenSealed(const std::string& key, const LockedObject& object, const std::string& data,
                  std::string* plain);

// The first of `passwords` that opens `object` (its index, or -1) and the key it gives.
// With `data`, the password must open it too (a tag can fail where the unwrap passed).
int FindNoteKey(const std::vector<std::string>& passwords, const LockedObject& object,
                const std::string* data, std::string* key, std::string* plain);

// AES-128-GCM decryption in pieces, for a media file streamed to the host.
class GcmStream {
 public:
  GcmStream();
  ~GcmStream();
  GcmStream(const GcmStream&) = delete;
  GcmStream& operator=(const GcmStream&) = delete;

  bool Begin(const std::string& key, const LockedObject& object);
  // Decrypts `size` bytes into `out` (same size).
  bool Update(const unsigned char* data, size_t size, unsigned char* out);
  // kOk when the tag matches.
  Unlock Finish();

 private:
  struct Ctx;
  std::unique_ptr<Ctx> ctx_;
  std::string tag_;
};

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_NOTECRYPTO_H_
