// The OpenSSL calls behind an encrypted backup.
#include "Crypto.h"

#include "FileIo.h"

#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

namespace veldrake::backup {
namespace {

// Big enough that the cipher, not the system calls, sets the pace.
constexpr size_t kChunkBytes = 1 << 20;

struct CtxFree {
  void operator()(EVP_CIPHER_CTX* ctx) const { EVP_CIPHER_CTX_free(ctx); }
};
using Ctx = std::unique_ptr<EVP_CIPHER_CTX, CtxFree>;

const unsigned char* Bytes(const std::string& s) {
  return reinterpret_cast<const unsigned char*>(s.data());
}

// The PKCS#7 padding length that ends `block`, or 0 when it ends in none.
size_t PaddingOf(const unsigned char* block) {
  const unsigned pad = block[kAesBlockBytes - 1];
  if (pad == 0 || pad > kAesBlockBytes) return 0;
  for (size_t i = kAesBlockBytes - pad; i < kAesBlockBytes; ++i)
    if (block[i] != pad) return 0;
  return pad;
}

// A buffer of `keep` bytes in whole blocks, one to spare, at most kChunkBytes.
size_t ChunkFor(int64_t keep) {
  return keep >= 0 && static_cast<uint64_t>(keep) < kChunkBytes
             ? (static_cast<size_t>(keep) / kAesBlockBytes + 2) * kAesBlockBytes
             : kChunkBytes;
}

// The decryption loop proper: `in` to `out` through `buffer` (decrypted in place), at most
// `keep` bytes written (negative: all); the last plain block is left in `last`, the plain
// length in *total.
Decrypted Stream(int in, int out, EVP_CIPHER_CTX* ctx, int64_t keep, SecretBuffer& buffer,
                 unsigned char* last, int64_t* total) {
  unsigned char* bytes = buffer.data();
  const size_t size = buffer.size() / kAesBlockBytes * kAesBlockBytes;
  int64_t written = 0;
  *total = 0;
  for (;;) {
    const ssize_t got = ReadFull(in, bytes, size);
    if (got < 0) return Decrypted::kCannotRead;
    if (got == 0) break;
    if (got % static_cast<ssize_t>(kAesBlockBytes) != 0) return Decrypted::kDamaged;
    int produced = 0;
    if (EVP_DecryptUpdate(ctx, bytes, &produced, bytes, static_cast<int>(got)) != 1 ||
        produced != got)
      return Decrypted::kDamaged;
    *total += produced;
    std::copy(bytes + produced - kAesBlockBytes, bytes + produced, last);
    int64_t take = produced;
    if (keep >= 0) take = std::min<int64_t>(take, keep - written);
    if (take > 0 && !WriteAll(out, bytes, static_cast<size_t>(take)))
      return Decrypted::kCannotWrite;
    written += take;
    if (static_cast<size_t>(got) < size) break;
  }
  return Decrypted::kOk;
}

// Wipes the last plain block however the decryption ends.
struct BlockWipe {
  unsigned char* block;
  ~BlockWipe() { OPENSSL_cleanse(block, kAesBlockBytes); }
};

}  // namespace

bool Pbkdf2(const char* password, size_t passwordBytes, const std::string& salt,
            uint32_t iterations, bool sha256, std::string* out) {
  if (iterations == 0 || iterations > static_cast<uint32_t>(INT32_MAX) || passwordBytes > INT32_MAX)
    return false;
  out->assign(kAesKeyBytes, '\0');
  return PKCS5_PBKDF2_HMAC(password, static_cast<int>(passwordBytes), Bytes(salt),
                           static_cast<int>(salt.size()), static_cast<int>(iterations),
                           sha256 ? EVP_sha256() : EVP_sha1(), static_cast<int>(kAesKeyBytes),
                           reinterpret_cast<unsigned char*>(&(*out)[0])) == 1;
}

Unwrap UnwrapKey(const std::string& kek, const std::string& wrapped, std::string* out) {
  if (kek.size() != kAesKeyBytes || wrapped.size() != kWrappedKeyBytes) return Unwrap::kMalformed;
  Ctx ctx(EVP_CIPHER_CTX_new());
  if (!ctx) return Unwrap::kMalformed;
  EVP_CIPHER_CTX_set_flags(ctx.get(), EVP_CIPHER_CTX_FLAG_WRAP_ALLOW);
  // The default IV of RFC 3394 (A6 x 8) is what a null IV selects.
  if (EVP_DecryptInit_ex(ctx.get(), EVP_aes_256_wrap(), nullptr, Bytes(kek), nullptr) != 1)
    return Unwrap::kMalformed;
  unsigned char plain[kWrappedKeyBytes];
  int length = 0, tail = 0;
  const bool ok = EVP_DecryptUpdate(ctx.get(), plain, &length, Bytes(wrapped),
                                    static_cast<int>(wrapped.size())) == 1 &&
                  EVP_DecryptFinal_ex(ctx.get(), plain + length, &tail) == 1;
  if (ok) out->assign(reinterpret_cast<char*>(plain), static_cast<size_t>(length + tail));
  OPENSSL_cleanse(plain, sizeof plain);
  return ok && out->size() == kAesKeyBytes ? Unwrap::kOk : Unwrap::kIntegrity;
}

void Wipe(std::string* secret) {
  if (!secret->empty()) OPENSSL_cleanse(&(*secret)[0], secret->size());
  secret->clear();
}

Decrypted DecryptFd(int in, int out, const std::string& key, int64_t length,
                    SecretBuffer* scratch) {
  if (key.size() != kAesKeyBytes) return Decrypted::kDamaged;
  Ctx ctx(EVP_CIPHER_CTX_new());
  const unsigned char zeroIv[kAesBlockBytes] = {};
  if (!ctx || EVP_DecryptInit_ex(ctx.get(), EVP_aes_256_cbc(), nullptr, Bytes(key), zeroIv) != 1)
    return Decrypted::kDamaged;
  EVP_CIPHER_CTX_set_padding(ctx.get(), 0);
  unsigned char last[kAesBlockBytes] = {};
  const BlockWipe wipe{last};
  int64_t total = 0;
  std::unique_ptr<SecretBuffer> own;
  if (scratch == nullptr || scratch->size() < 2 * kAesBlockBytes) {
    own = std::make_unique<SecretBuffer>(ChunkFor(length));
    scratch = own.get();
  }
  const Decrypted streamed = Stream(in, out, ctx.get(), length, *scratch, last, &total);
  if (streamed != Decrypted::kOk) return streamed;
  if (length >= 0) return total < length ? Decrypted::kDamaged : Decrypted::kOk;
  const size_t pad = total % kPageUnit != 0 ? PaddingOf(last) : 0;
  if (pad != 0 && ftruncate(out, total - static_cast<int64_t>(pad)) != 0)
    return Decrypted::kCannotWrite;
  return Decrypted::kOk;
}

Decrypted DecryptFile(const std::string& from, const std::string& to, const std::string& key,
                      int64_t length) {
  Fd in(open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  if (in.get() < 0) return Decrypted::kCannotRead;
  Fd out(CreatePrivateFile(to));
  if (out.get() < 0) return Decrypted::kCannotWrite;
  return DecryptFd(in.get(), out.get(), key, length);
}

SecretBuffer::SecretBuffer(size_t size) : data_(new unsigned char[size]), size_(size) {}

SecretBuffer::~SecretBuffer() {
  OPENSSL_cleanse(data_, size_);
  delete[] data_;
}

}  // namespace veldrake::backup
