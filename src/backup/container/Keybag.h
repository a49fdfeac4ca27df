// Keybag: the backup keybag of an encrypted backup (Manifest.plist's BackupKeyBag), and
// the class keys the password opens.
//
// The keybag is a run of tag-length-value entries (4-byte ASCII tag, 4-byte big-endian
// length): first the bag's own entries (SALT and ITER, DPSL and DPIC where the password
// goes through two derivations), then one group per protection class, each starting with
// UUID (CLAS, WRAP, KTYP, WPKY). The bytes are untrusted: a wrong length or a missing
// entry makes Parse fail, never read outside the buffer.
//
// Thread contract: a plain value, one thread.
#ifndef VELDRAKE_BACKUP_KEYBAG_H_
#define VELDRAKE_BACKUP_KEYBAG_H_

#include <cstdint>
#include <string>
#include <vector>

namespace veldrake::backup {

class Keybag {
 public:
  // Iteration counts beyond these are no keybag a phone writes; they would only make the
  // derivation run for hours.
  static constexpr uint32_t kMaxSha1Iterations = 10000000;
  static constexpr uint32_t kMaxSha256Iterations = 100000000;
  // WRAP's bit for a class key wrapped with the password's key.
  static constexpr uint32_t kWrapByPasscode = 2;

  enum Opened { kOpened, kWrongPassword, kUnusable };

  Keybag() = default;
  ~Keybag();
  Keybag(const Keybag&) = delete;
  Keybag& operator=(const Keybag&) = delete;

  // Reads the entries; false, with *why, when the bytes are no backup keybag.
  bool Parse(const std::string& bytes, std::string* why);

  // Derives the key of `password` (NUL-terminated, read in place: never copied) and
  // unwraps every class key wrapped with it. kWrongPassword when the unwrap's integrity
  // check fails; kUnusable when no class key is wrapped with the password or the
  // derivation fails.
  Opened Open(const char* password);

  // The same from the password's derived key (kAesKeyBytes): unwraps every class key
  // wrapped with it; kWrongPassword on a failed integrity check.
  Opened Unlock(const std::string& passcodeKey);

  // The unwrapped key of protection class `protectionClass`, or null.
  const std::string* ClassKey(uint32_t protectionClass) const;

 private:
  struct Class {
    uint32_t protectionClass = 0;
    uint32_t wrap = 0;
    std::string wrapped;
    std::string key;  // empty until Open
  };

  bool Take(const std::string& tag, const std::string& value, std::string* why);

  std::string salt_, doubleSalt_;
  uint32_t iterations_ = 0, doubleIterations_ = 0;
  bool sawHeaderUuid_ = false;
  std::vector<Class> classes_;
};

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_KEYBAG_H_
