// Crypto: the three primitives an encrypted backup needs, all through OpenSSL: the
// password's key derivation (PBKDF2), AES key unwrap (RFC 3394) and AES-256-CBC with a
// zero IV, the last streamed from one file to another so a large file never sits whole in
// memory.
//
// Thread contract: pure functions and one-owner objects; any thread.
#ifndef VELDRAKE_BACKUP_CRYPTO_H_
#define VELDRAKE_BACKUP_CRYPTO_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace veldrake::backup {

constexpr size_t kAesKeyBytes = 32;      // AES-256
constexpr size_t kWrappedKeyBytes = 40;  // a 32-byte key after RFC 3394 wrapping
constexpr size_t kAesBlockBytes = 16;

// PBKDF2 over HMAC-SHA256 (sha256 true) or HMAC-SHA1 of the `passwordBytes` bytes at
// `password` (the caller's own memory: no copy is made) with `salt`, giving kAesKeyBytes
// into `out`. False when OpenSSL refuses (zero iterations, no memory).
bool Pbkdf2(const char* password, size_t passwordBytes, const std::string& salt,
            uint32_t iterations, bool sha256, std::string* out);

enum class Unwrap { kOk, kIntegrity, kMalformed };
// Unwraps `wrapped` (kWrappedKeyBytes) with the 32-byte `kek`: kIntegrity when the
// integrity check fails (the key-encrypting key is wrong), kMalformed for wrong lengths.
Unwrap UnwrapKey(const std::string& kek, const std::string& wrapped, std::string* out);

// Wipes a secret held in a string before it goes away.
void Wipe(std::string* secret);

// How a file's decryption ended.
enum class Decrypted { kOk, kCannotRead, kCannotWrite, kDamaged };

// `length` for a database, whose true length is nowhere recorded: a whole number of
// 512-byte pages, so a PKCS#7 padding shows as a tail beyond the last page.
constexpr int64_t kWholePages = -1;
constexpr int64_t kPageUnit = 512;

// Decrypts the file at `from` (AES-256-CBC, zero IV, `key`) into a new file `to` (mode
// 0600, never an existing one), keeping its first `length` bytes (or kWholePages).
// kDamaged when the ciphertext is no whole number of blocks or shorter than `length`.
Decrypted DecryptFile(const std::string& from, const std::string& to, const std::string& key,
                      int64_t length);
// The same from the descriptor `in` to the descriptor `out`, both the caller's, decrypting
// in place in `scratch` when given (a buffer kept for many files, which its owner wipes):
// a fresh buffer per file costs more than decrypting a small one. Without it, every plain
// byte this holds in memory is wiped before it returns, on every path.
class SecretBuffer;
Decrypted DecryptFd(int in, int out, const std::string& key, int64_t length,
                    SecretBuffer* scratch = nullptr);

// A buffer for decrypted bytes, wiped when it goes.
class SecretBuffer {
 public:
  explicit SecretBuffer(size_t size);
  ~SecretBuffer();
  SecretBuffer(const SecretBuffer&) = delete;
  SecretBuffer& operator=(const SecretBuffer&) = delete;
  unsigned char* data() { return data_; }
  size_t size() const { return size_; }

 private:
  unsigned char* data_;
  size_t size_;
};

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_CRYPTO_H_
