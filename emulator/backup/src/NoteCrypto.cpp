// Sealing a locked note's body, tables and files.
#include "NoteCrypto.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <memory>

#include "Crypto.h"

namespace devicesim::backup {
namespace {

const size_t kKeyBytes = 16, kSaltBytes = 16, kIvBytes = 16, kTagBytes = 16, kWrapBytes = 24;

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

unsigned char* Bytes(std::string& s) {
  return reinterpret_cast<unsigned char*>(s.data());
}
const unsigned char* Bytes(const std::string& s) {
  return reinterpret_cast<const unsigned char*>(s.data());
}

bool WrapKey(const std::string& kek, const std::string& key, std::string* wrapped) {
  CipherContext ctx(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
  if (!ctx) return false;
  EVP_CIPHER_CTX_set_flags(ctx.get(), EVP_CIPHER_CTX_FLAG_WRAP_ALLOW);
  wrapped->assign(kWrapBytes + kKeyBytes, '\0');
  int len = 0, tail = 0;
  const bool ok =
      EVP_EncryptInit_ex(ctx.get(), EVP_aes_128_wrap(), nullptr, Bytes(kek), nullptr) == 1 &&
      EVP_EncryptUpdate(ctx.get(), Bytes(*wrapped), &len, Bytes(key),
                        static_cast<int>(key.size())) == 1 &&
      EVP_EncryptFinal_ex(ctx.get(), Bytes(*wrapped) + len, &tail) == 1;
  wrapped->resize(static_cast<size_t>(len + tail));
  return ok && wrapped->size() == kWrapBytes;
}

bool GcmSeal(const std::string& key, const std::string& iv, const std::string& plain,
             std::string* data, std::string* tag) {
  CipherContext ctx(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
  if (!ctx) return false;
  data->assign(plain.size() + kTagBytes, '\0');
  tag->assign(kTagBytes, '\0');
  int len = 0, tail = 0;
  const bool ok =
      EVP_EncryptInit_ex(ctx.get(), EVP_aes_128_gcm(), nullptr, nullptr, nullptr) == 1 &&
      EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_SET_IVLEN, static_cast<int>(iv.size()),
                          nullptr) == 1 &&
      EVP_EncryptInit_ex(ctx.get(), nullptr, nullptr, Bytes(key), Bytes(iv)) == 1 &&
      EVP_EncryptUpdate(ctx.get(), Bytes(*data), &len, Bytes(plain),
                        static_cast<int>(plain.size())) == 1 &&
      EVP_EncryptFinal_ex(ctx.get(), Bytes(*data) + len, &tail) == 1 &&
      EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_GET_TAG, static_cast<int>(kTagBytes),
                          Bytes(*tag)) == 1;
  data->resize(static_cast<size_t>(len + tail));
  return ok;
}

}  // namespace

bool SealNoteData(const std::string& password, const std::string& plain, Sealed* sealed) {
  sealed->salt = RandomBytes(kSaltBytes);
  sealed->iv = RandomBytes(kIvBytes);
  std::string kek(kKeyBytes, '\0'), key = RandomBytes(kKeyBytes);
  const bool ok =
      PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()), Bytes(sealed->salt),
                        static_cast<int>(sealed->salt.size()), static_cast<int>(sealed->iterations),
                        EVP_sha256(), static_cast<int>(kKeyBytes), Bytes(kek)) == 1 &&
      WrapKey(kek, key, &sealed->wrappedKey) &&
      GcmSeal(key, sealed->iv, plain, &sealed->data, &sealed->tag);
  OPENSSL_cleanse(kek.data(), kek.size());
  OPENSSL_cleanse(key.data(), key.size());
  return ok;
}

}  // namespace devicesim::backup
