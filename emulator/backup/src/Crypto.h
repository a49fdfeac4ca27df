// Crypto: the backup's keybag and ciphers, with OpenSSL.
//
// A backup's keybag holds one random key per protection class, each wrapped (AES key
// wrap) with the passcode key: PBKDF2-HMAC-SHA1(PBKDF2-HMAC-SHA256(password, DPSL, DPIC),
// SALT, ITER). Files, and the manifest database, are AES-256-CBC with a zero IV and
// PKCS#7 padding under a random key of their own, kept wrapped with a class key.
//
// Thread contract: plain values; OpenSSL's own state is thread-safe.
#ifndef DEVICESIM_BACKUP_CRYPTO_H_
#define DEVICESIM_BACKUP_CRYPTO_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace devicesim::backup {

const int kFileClass = 3;      // protection class of the databases
const int kManifestClass = 4;  // the one a phone wraps the manifest's key with

struct Keybag {
  std::string bytes;                     // the TLV form stored in Manifest.plist
  std::map<uint32_t, std::string> keys;  // class -> unwrapped class key
};

// With an empty password the class keys are wrapped with a random key, as a phone's
// keybag of an unencrypted backup carries them without anyone able to open them.
bool MakeKeybag(const std::string& password, uint32_t sha256Iterations, uint32_t sha1Iterations,
                Keybag* keybag, std::string* error);

// A fresh file key wrapped with `classKey`, as stored: 4-byte little-endian class, then
// the 40-byte wrapped key. *key receives the plain key.
bool NewWrappedKey(uint32_t protectionClass, const std::string& classKey, std::string* key,
                   std::string* wrapped);

// AES-256-CBC, zero IV, PKCS#7, fed in pieces.
class CbcEncryptor {
 public:
  explicit CbcEncryptor(const std::string& key);
  ~CbcEncryptor();
  CbcEncryptor(const CbcEncryptor&) = delete;
  CbcEncryptor& operator=(const CbcEncryptor&) = delete;
  bool Update(const std::string& in, std::string* out);
  bool Final(std::string* out);

 private:
  struct Context;
  std::unique_ptr<Context> context_;
};

std::string RandomBytes(size_t count);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_CRYPTO_H_
