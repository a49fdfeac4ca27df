// Streaming a file's content through a fixed buffer, decrypting on the way.
#include "ContentStream.h"

#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "Crypto.h"
#include "FileIo.h"

namespace veldrake::backup {
namespace {

constexpr size_t kChunkBytes = 1 << 20;

struct CtxFree {
  void operator()(EVP_CIPHER_CTX* ctx) const { EVP_CIPHER_CTX_free(ctx); }
};

}  // namespace

bool LengthFits(int64_t stored, int64_t length, bool encrypted) {
  if (stored < 0 || length < 0) return false;
  if (!encrypted) return stored == length;
  const auto block = static_cast<int64_t>(kAesBlockBytes);
  return stored % block == 0 && stored > length && stored - length <= block;
}

Streamed StreamContent(const std::string& path, const std::string& key, int64_t length,
                       const ChunkSink& sink) {
  Fd in(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  if (in.get() < 0) return Streamed::kCannotRead;
  std::unique_ptr<EVP_CIPHER_CTX, CtxFree> ctx;
  if (!key.empty()) {
    const unsigned char zeroIv[kAesBlockBytes] = {};
    ctx.reset(EVP_CIPHER_CTX_new());
    if (!ctx || key.size() != kAesKeyBytes ||
        EVP_DecryptInit_ex(ctx.get(), EVP_aes_256_cbc(), nullptr,
                           reinterpret_cast<const unsigned char*>(key.data()), zeroIv) != 1)
      return Streamed::kDamaged;
    EVP_CIPHER_CTX_set_padding(ctx.get(), 0);
  }
  std::vector<unsigned char> buffer(kChunkBytes), plain(kChunkBytes);
  int64_t left = length;
  Streamed result = Streamed::kOk;
  while (left > 0 && result == Streamed::kOk) {
    const ssize_t got = ReadFull(in.get(), buffer.data(), buffer.size());
    if (got < 0) return Streamed::kCannotRead;
    if (got == 0 || (ctx && got % static_cast<ssize_t>(kAesBlockBytes) != 0)) {
      result = Streamed::kDamaged;
      break;
    }
    int produced = static_cast<int>(got);
    if (ctx && EVP_DecryptUpdate(ctx.get(), plain.data(), &produced, buffer.data(),
                                 static_cast<int>(got)) != 1) {
      result = Streamed::kDamaged;
      break;
    }
    const auto take = static_cast<size_t>(std::min<int64_t>(produced, left));
    if (!sink(ctx ? plain.data() : buffer.data(), take)) result = Streamed::kSinkFailed;
    left -= static_cast<int64_t>(take);
  }
  OPENSSL_cleanse(plain.data(), plain.size());
  return result;
}

}  // namespace veldrake::backup
