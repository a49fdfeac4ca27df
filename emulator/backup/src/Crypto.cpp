// The keybag and the ciphers of an encrypted backup.
#include "Crypto.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <stdexcept>
#include <vector>

namespace devicesim::backup {
namespace {

const size_t kKeySize = 32, kWrappedSize = 40, kSaltSize = 20, kUuidSize = 16;
const uint32_t kKeybagVersion = 4, kBackupKeybag = 1, kWrapPasscode = 2, kKeyTypeAes = 0;
// The protection classes a phone's backup keybag carries keys for.
const uint32_t kClasses[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};

std::string BigEndian(uint32_t value) {
  std::string out(4, '\0');
  for (int i = 0; i < 4; ++i) out[i] = static_cast<char>(value >> (24 - 8 * i));
  return out;
}

void Tag(std::string& out, const char* tag, const std::string& value) {
  out.append(tag, 4);
  out += BigEndian(static_cast<uint32_t>(value.size()));
  out += value;
}

bool Wrap(const std::string& kek, const std::string& key, std::string* wrapped) {
  EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
  if (ctx == nullptr) return false;
  EVP_CIPHER_CTX_set_flags(ctx, EVP_CIPHER_CTX_FLAG_WRAP_ALLOW);
  wrapped->assign(kWrappedSize + 16, '\0');
  int len = 0, tail = 0;
  const bool ok =
      EVP_EncryptInit_ex(ctx, EVP_aes_256_wrap(), nullptr,
                         reinterpret_cast<const unsigned char*>(kek.data()), nullptr) == 1 &&
      EVP_EncryptUpdate(ctx, reinterpret_cast<unsigned char*>(wrapped->data()), &len,
                        reinterpret_cast<const unsigned char*>(key.data()),
                        static_cast<int>(key.size())) == 1 &&
      EVP_EncryptFinal_ex(ctx, reinterpret_cast<unsigned char*>(wrapped->data()) + len, &tail) == 1;
  EVP_CIPHER_CTX_free(ctx);
  wrapped->resize(static_cast<size_t>(len + tail));
  return ok && wrapped->size() == kWrappedSize;
}

bool PasscodeKey(const std::string& password, const std::string& dpsl, uint32_t dpic,
                 const std::string& salt, uint32_t iter, std::string* key) {
  std::string first(kKeySize, '\0');
  key->assign(kKeySize, '\0');
  const bool ok = PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()),
                                    reinterpret_cast<const unsigned char*>(dpsl.data()),
                                    static_cast<int>(dpsl.size()), static_cast<int>(dpic),
                                    EVP_sha256(), static_cast<int>(kKeySize),
                                    reinterpret_cast<unsigned char*>(first.data())) == 1 &&
                  PKCS5_PBKDF2_HMAC(first.data(), static_cast<int>(first.size()),
                                    reinterpret_cast<const unsigned char*>(salt.data()),
                                    static_cast<int>(salt.size()), static_cast<int>(iter),
                                    EVP_sha1(), static_cast<int>(kKeySize),
                                    reinterpret_cast<unsigned char*>(key->data())) == 1;
  OPENSSL_cleanse(first.data(), first.size());
  return ok;
}

}  // namespace

std::string RandomBytes(size_t count) {
  std::string out(count, '\0');
  if (RAND_bytes(reinterpret_cast<unsigned char*>(out.data()), static_cast<int>(count)) != 1)
    throw std::runtime_error("no random bytes");  // the emulator's own failure, not input's
  return out;
}

bool MakeKeybag(const std::string& password, uint32_t sha256Iterations, uint32_t sha1Iterations,
                Keybag* keybag, std::string* error) {
  const std::string salt = RandomBytes(kSaltSize), dpsl = RandomBytes(kSaltSize);
  std::string passcodeKey;
  if (password.empty())
    passcodeKey = RandomBytes(kKeySize);
  else if (sha256Iterations == 0 || sha1Iterations == 0 ||
           !PasscodeKey(password, dpsl, sha256Iterations, salt, sha1Iterations, &passcodeKey)) {
    *error = "cannot derive the backup key (iteration counts must be positive)";
    return false;
  }
  std::string& out = keybag->bytes;
  out.clear();
  Tag(out, "VERS", BigEndian(kKeybagVersion));
  Tag(out, "TYPE", BigEndian(kBackupKeybag));
  Tag(out, "UUID", RandomBytes(kUuidSize));
  Tag(out, "HMCK", RandomBytes(kWrappedSize));
  Tag(out, "WRAP", BigEndian(0));
  Tag(out, "SALT", salt);
  Tag(out, "ITER", BigEndian(sha1Iterations));
  Tag(out, "DPWT", BigEndian(1));
  Tag(out, "DPIC", BigEndian(sha256Iterations));
  Tag(out, "DPSL", dpsl);
  for (uint32_t protectionClass : kClasses) {
    const std::string key = RandomBytes(kKeySize);
    std::string wrapped;
    if (!Wrap(passcodeKey, key, &wrapped)) {
      *error = "cannot wrap a class key";
      return false;
    }
    Tag(out, "UUID", RandomBytes(kUuidSize));
    Tag(out, "CLAS", BigEndian(protectionClass));
    Tag(out, "WRAP", BigEndian(kWrapPasscode));
    Tag(out, "KTYP", BigEndian(kKeyTypeAes));
    Tag(out, "WPKY", wrapped);
    keybag->keys[protectionClass] = key;
  }
  OPENSSL_cleanse(passcodeKey.data(), passcodeKey.size());
  return true;
}

bool NewWrappedKey(uint32_t protectionClass, const std::string& classKey, std::string* key,
                   std::string* wrapped) {
  *key = RandomBytes(kKeySize);
  std::string body;
  if (!Wrap(classKey, *key, &body)) return false;
  wrapped->clear();
  for (int i = 0; i < 4; ++i) wrapped->push_back(static_cast<char>(protectionClass >> (8 * i)));
  *wrapped += body;
  return true;
}

struct CbcEncryptor::Context {
  EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
  ~Context() { EVP_CIPHER_CTX_free(ctx); }
};

CbcEncryptor::CbcEncryptor(const std::string& key) : context_(new Context) {
  const unsigned char iv[16] = {0};
  if (context_->ctx != nullptr && key.size() == kKeySize &&
      EVP_EncryptInit_ex(context_->ctx, EVP_aes_256_cbc(), nullptr,
                         reinterpret_cast<const unsigned char*>(key.data()), iv) == 1)
    return;
  EVP_CIPHER_CTX_free(context_->ctx);
  context_->ctx = nullptr;
}

CbcEncryptor::~CbcEncryptor() = default;

bool CbcEncryptor::Update(const std::string& in, std::string* out) {
  if (context_->ctx == nullptr) return false;
  const size_t start = out->size();
  out->resize(start + in.size() + 16);
  int len = 0;
  if (EVP_EncryptUpdate(context_->ctx, reinterpret_cast<unsigned char*>(out->data()) + start, &len,
                        reinterpret_cast<const unsigned char*>(in.data()),
                        static_cast<int>(in.size())) != 1)
    return false;
  out->resize(start + static_cast<size_t>(len));
  return true;
}

bool CbcEncryptor::Final(std::string* out) {
  if (context_->ctx == nullptr) return false;
  const size_t start = out->size();
  out->resize(start + 16);
  int len = 0;
  if (EVP_EncryptFinal_ex(context_->ctx, reinterpret_cast<unsigned char*>(out->data()) + start,
                          &len) != 1)
    return false;
  out->resize(start + static_cast<size_t>(len));
  return true;
}

}  // namespace devicesim::backup
