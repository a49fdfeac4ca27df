// The locked-note scheme through OpenSSL.
#include "NoteCrypto.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <climits>

#include "Crypto.h"

namespace veldrake::backup {
namespace {

constexpr size_t kNoteKeyBytes = 16;
constexpr size_t kNoteWrappedBytes = 24;
constexpr size_t kTagBytes = 16;
constexpr size_t kMaxIvBytes = 64;
// Phones derive with about twenty thousand rounds; a count far beyond that is a damaged
// (or hostile) lock that would keep us deriving for hours.
constexpr uint32_t kMaxIterations = uint32_t{1} << 22;

struct CtxFree {
  void operator()(EVP_CIPHER_CTX* ctx) const { EVP_CIPHER_CTX_free(ctx); }
};
using Ctx = std::unique_ptr<EVP_CIPHER_CTX, CtxFree>;

const unsigned char* Bytes(const std::string& s) {
  return reinterpret_cast<const unsigned char*>(s.data());
}

bool Derive(const std::string& password, const LockedObject& object, std::string* kek) {
  if (object.iterations == 0 || object.iterations > kMaxIterations || object.salt.empty() ||
      password.size() > static_cast<size_t>(INT_MAX))
    return false;
  kek->assign(kNoteKeyBytes, '\0');
  return PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()), Bytes(object.salt),
                           static_cast<int>(object.salt.size()),
                           static_cast<int>(object.iterations), EVP_sha256(),
                           static_cast<int>(kNoteKeyBytes),
                           reinterpret_cast<unsigned char*>(&(*kek)[0])) == 1;
}

// GCM set up for decryption with `key`, the object's IV and its expected tag.
Ctx StartGcm(const std::string& key, const LockedObject& object) {
  Ctx ctx(EVP_CIPHER_CTX_new());
  if (!ctx || key.size() != kNoteKeyBytes || object.tag.size() != kTagBytes || object.iv.empty() ||
      object.iv.size() > kMaxIvBytes)
    return nullptr;
  if (EVP_DecryptInit_ex(ctx.get(), EVP_aes_128_gcm(), nullptr, nullptr, nullptr) != 1 ||
      EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_SET_IVLEN, static_cast<int>(object.iv.size()),
                          nullptr) != 1 ||
      EVP_DecryptInit_ex(ctx.get(), nullptr, nullptr, Bytes(key), Bytes(object.iv)) != 1)
    return nullptr;
  std::string tag = object.tag;
  if (EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_SET_TAG, static_cast<int>(kTagBytes), &tag[0]) !=
      1)
    return nullptr;
  return ctx;
}

}  // namespace

bool WellFormed(const LockedObject& object) {
  return !object.salt.empty() && object.iterations > 0 && object.iterations <= kMaxIterations &&
         object.wrappedKey.size() == kNoteWrappedBytes && object.tag.size() == kTagBytes &&
         !object.iv.empty() && object.iv.size() <= kMaxIvBytes;
}

Unlock UnwrapNoteKey(const std::string& password, const LockedObject& object, std::string* key) {
  key->clear();
  if (object.wrappedKey.size() != kNoteWrappedBytes) return Unlock::kDamaged;
  std::string kek;
  if (!Derive(password, object, &kek)) return Unlock::kDamaged;
  Ctx ctx(EVP_CIPHER_CTX_new());
  EVP_CIPHER_CTX_set_flags(ctx.get(), EVP_CIPHER_CTX_FLAG_WRAP_ALLOW);
  unsigned char plain[kNoteWrappedBytes];
  int length = 0, tail = 0;
  // A null IV selects RFC 3394's default (A6 x 8).
  const bool ok =
      ctx && EVP_DecryptInit_ex(ctx.get(), EVP_aes_128_wrap(), nullptr, Bytes(kek), nullptr) == 1 &&
      EVP_DecryptUpdate(ctx.get(), plain, &length, Bytes(object.wrappedKey),
                        static_cast<int>(kNoteWrappedBytes)) == 1 &&
      EVP_DecryptFinal_ex(ctx.get(), plain + length, &tail) == 1 &&
      static_cast<size_t>(length + tail) == kNoteKeyBytes;
  if (ok) key->assign(reinterpret_cast<char*>(plain), kNoteKeyBytes);
  OPENSSL_cleanse(plain, sizeof plain);
  Wipe(&kek);
  return ok ? Unlock::kOk : Unlock::kWrongPassword;
}

Unlock OpenSealed(const std::string& key, const LockedObject& object, const std::string& data,
                  std::string* plain) {
  plain->clear();
  Ctx ctx = StartGcm(key, object);
  if (!ctx || data.size() > static_cast<size_t>(INT_MAX)) return Unlock::kDamaged;
  plain->assign(data.size(), '\0');
  int length = 0, tail = 0;
  unsigned char* out = reinterpret_cast<unsigned char*>(&(*plain)[0]);
  const bool ok =
      EVP_DecryptUpdate(ctx.get(), out, &length, Bytes(data), static_cast<int>(data.size())) == 1 &&
      EVP_DecryptFinal_ex(ctx.get(), out + length, &tail) == 1;
  if (ok) return Unlock::kOk;
  Wipe(plain);
  return Unlock::kWrongPassword;
}

int FindNoteKey(const std::vector<std::string>& passwords, const LockedObject& object,
                const std::string* data, std::string* key, std::string* plain) {
  for (size_t i = 0; i < passwords.size(); ++i) {
    if (UnwrapNoteKey(passwords[i], object, key) != Unlock::kOk) continue;
    if (data == nullptr || OpenSealed(*key, object, *data, plain) == Unlock::kOk)
      return static_cast<int>(i);
    Wipe(key);
  }
  return -1;
}

struct GcmStream::Ctx {
  veldrake::backup::Ctx cipher;
};

GcmStream::GcmStream() : ctx_(new Ctx) {}
GcmStream::~GcmStream() = default;

bool GcmStream::Begin(const std::string& key, const LockedObject& object) {
  ctx_->cipher = StartGcm(key, object);
  return ctx_->cipher != nullptr;
}

bool GcmStream::Update(const unsigned char* data, size_t size, unsigned char* out) {
  int length = 0;
  if (!ctx_->cipher || size > static_cast<size_t>(INT_MAX)) return false;
  return EVP_DecryptUpdate(ctx_->cipher.get(), out, &length, data, static_cast<int>(size)) == 1 &&
         static_cast<size_t>(length) == size;
}

Unlock GcmStream::Finish() {
  unsigned char ignored[16];
  int tail = 0;
  if (!ctx_->cipher) return Unlock::kDamaged;
  return EVP_DecryptFinal_ex(ctx_->cipher.get(), ignored, &tail) == 1 ? Unlock::kOk
                                                                      : Unlock::kWrongPassword;
}

}  // namespace veldrake::backup
