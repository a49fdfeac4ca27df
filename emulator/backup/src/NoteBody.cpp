// The protobuf and gzip of a modern note's body.
#include "NoteBody.h"

#include <zlib.h>

#include <cstdint>
#include <vector>

#include "devicesim/Value.h"

namespace devicesim::backup {
namespace {

enum WireType : uint32_t { kVarint = 0, kBytes = 2 };
// Field numbers of the app's messages.
const uint32_t kStoreVersion = 1, kStoreDocument = 2;
const uint32_t kDocumentFlags = 1, kDocumentVersion = 2, kDocumentNote = 3;
const uint32_t kNoteText = 2, kNoteRun = 5;
const uint32_t kRunLength = 1, kRunParagraphStyle = 2;
const uint32_t kStyleType = 1;
const int64_t kStyleTitle = 0;
const int kGzipWindow = 15 + 16;  // zlib's way of asking for a gzip header
const int kMemLevel = 8;

void Varint(std::string& out, uint64_t value) {
  while (value >= 0x80) {
    out += static_cast<char>((value & 0x7F) | 0x80);
    value >>= 7;
  }
  out += static_cast<char>(value);
}

void Key(std::string& out, uint32_t field, WireType type) {
  Varint(out, (static_cast<uint64_t>(field) << 3) | type);
}

void IntField(std::string& out, uint32_t field, int64_t value) {
  Key(out, field, kVarint);
  Varint(out, static_cast<uint64_t>(value));
}

void BytesField(std::string& out, uint32_t field, const std::string& bytes) {
  Key(out, field, kBytes);
  Varint(out, bytes.size());
  out += bytes;
}

std::string Run(size_t units, bool title) {
  std::string run;
  IntField(run, kRunLength, static_cast<int64_t>(units));
  if (title) {
    std::string style;
    IntField(style, kStyleType, kStyleTitle);
    BytesField(run, kRunParagraphStyle, style);
  }
  return run;
}

}  // namespace

std::string NoteDocument(const std::string& text) {
  std::string note;
  BytesField(note, kNoteText, text);
  size_t start = 0;
  bool first = true;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    end = end == std::string::npos ? text.size() : end + 1;
    BytesField(note, kNoteRun, Run(Utf8ToUnits(text.substr(start, end - start)).size(), first));
    first = false;
    start = end;
  }
  std::string document;
  IntField(document, kDocumentFlags, 0);
  IntField(document, kDocumentVersion, 0);
  BytesField(document, kDocumentNote, note);
  std::string store;
  IntField(store, kStoreVersion, 0);
  BytesField(store, kStoreDocument, document);
  return store;
}

bool Gzip(const std::string& in, std::string* out) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipWindow, kMemLevel,
                   Z_DEFAULT_STRATEGY) != Z_OK)
    return false;
  out->assign(deflateBound(&stream, static_cast<uLong>(in.size())) + 32, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data()));
  stream.avail_in = static_cast<uInt>(in.size());
  stream.next_out = reinterpret_cast<Bytef*>(out->data());
  stream.avail_out = static_cast<uInt>(out->size());
  const int rc = deflate(&stream, Z_FINISH);
  out->resize(stream.total_out);
  deflateEnd(&stream);
  return rc == Z_STREAM_END;
}

}  // namespace devicesim::backup
