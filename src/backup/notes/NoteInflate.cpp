// zlib's inflate over one note body, growing the output in steps up to the cap.
#include "NoteInflate.h"

#include <zlib.h>

#include <algorithm>
#include <climits>

namespace veldrake::backup {
namespace {

// 15-bit window, +32: zlib recognises a gzip or a zlib header by itself.
constexpr int kAutoHeaderWindow = 15 + 32;
constexpr size_t kFirstStep = 64 * 1024;

// The inflate stream, released on every path out.
class Inflater {
 public:
  Inflater() { ok_ = inflateInit2(&stream_, kAutoHeaderWindow) == Z_OK; }
  ~Inflater() {
    if (ok_) inflateEnd(&stream_);
  }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  bool ok() const { return ok_; }
  z_stream& stream() { return stream_; }

 private:
  z_stream stream_{};
  bool ok_ = false;
};

}  // namespace

Inflated InflateNoteBody(const uint8_t* data, size_t size, size_t cap, std::string* out) {
  out->clear();
  Inflater inflater;
  if (!inflater.ok() || data == nullptr || size > UINT_MAX) return Inflated::kDamaged;
  z_stream& stream = inflater.stream();
  stream.next_in = const_cast<Bytef*>(data);  // zlib's interface is not const-correct
  stream.avail_in = static_cast<uInt>(size);
  size_t used = 0;
  for (;;) {
    // One byte past the cap tells a body of exactly `cap` bytes from a larger one.
    const size_t limit = cap + 1;
    if (used == out->size()) out->resize(std::min(limit, std::max(kFirstStep, used * 2)));
    stream.next_out = reinterpret_cast<Bytef*>(&(*out)[used]);
    stream.avail_out = static_cast<uInt>(std::min<size_t>(out->size() - used, UINT_MAX));
    const uInt before = stream.avail_out;
    const int status = inflate(&stream, Z_NO_FLUSH);
    used += before - stream.avail_out;
    if (used > cap) {
      out->clear();
      return Inflated::kTooLarge;
    }
    if (status == Z_STREAM_END) break;
    // Z_BUF_ERROR with output room left means the input ended before the stream did.
    if (status != Z_OK && !(status == Z_BUF_ERROR && stream.avail_out == 0)) {
      out->clear();
      return Inflated::kDamaged;
    }
    if (stream.avail_out != 0 && stream.avail_in == 0) {
      out->clear();
      return Inflated::kDamaged;
    }
  }
  out->resize(used);
  return Inflated::kOk;
}

}  // namespace veldrake::backup
