// The binary property list reader: container (header, trailer, offset table, read
// position) and object decoding. Every limit a device's bytes can break sets _failed and
// makes the decoder unwind; getRootObject then answers prop::Null for the whole list.
#include "BPListReader/BPListReader.h"

#include <boost/make_shared.hpp>

#include <algorithm>
#include <cstring>
#include <utility>

#include "Assert.h"

// Deep enough for every shape a device sends (replies nest four levels), shallow enough
// that the recursion stays far inside a thread's stack, sanitizers included.
const int BPListReader::kMaxDepth = 512;
// An honest list decodes at most one object per reference byte; sharing by reference
// multiplies that only a little. Past this the list is hostile.
const uint64_t BPListReader::kObjectsPerInputByte = 4;
const uint64_t BPListReader::kMinObjectBudget = 4096;
// Held in memory, an honest list's text takes at most four bytes per input byte (ASCII
// held as wide characters); twice that leaves room for some sharing.
const uint64_t BPListReader::kBytesPerInputByte = 8;
const uint64_t BPListReader::kMinByteBudget = 1 << 20;

namespace {

const char kMagic[] = "bplist";
const size_t kMagicSize = 6;
const size_t kHeaderSize = 8;        // the magic and the version "00"
const size_t kTrailerReadSize = 26;  // the last 26 bytes; the 6 before them are never read
const unsigned kTrailerNumberSize = 8;
const unsigned kMaxNumberWidth = 8;  // offsets and references must fit 64 bits

// A marker's high nibble is its kind (the tag of what it makes), the low nibble a size.
const unsigned kKindMask = 0xF0;
const unsigned kSizeMask = 0x0F;
const unsigned kKindSimple = 0x00;   // null, the booleans and unassigned markers
const unsigned kSizeFollows = 0x0F;  // the count is the integer object behind the marker
const unsigned kMarkerSingle = prop::object::TagReal | 2;
const unsigned kMarkerDouble = prop::object::TagReal | 3;
const unsigned kMarkerDate = prop::object::TagDate | 3;
const unsigned kFirstNonAscii = 0x80;

// Big-endian unsigned number of `width` bytes (0 to 8), zero-extended.
inline uint64_t ReadUnsigned(const unsigned char* p, unsigned width) {
  switch (width) {
    case 0:
      return 0;
    case 1:
      return p[0];
    case 2:
      return (uint64_t(p[0]) << 8) | p[1];
    default: {
      uint64_t v = 0;
      for (unsigned i = 0; i < width; ++i) v = (v << 8) | p[i];
      return v;
    }
  }
}

// An integer of `width` bytes (a power of two): byte i lands at bit 8 * (width - 1 - i)
// modulo 64, so wider numbers fold into 64 bits as the OR of their 8-byte words.
inline uint64_t FoldInteger(const unsigned char* p, uint64_t width) {
  if (width <= 8) return ReadUnsigned(p, static_cast<unsigned>(width));
  uint64_t v = 0;
  for (uint64_t i = 0; i < width; i += 8) v |= ReadUnsigned(p + i, 8);
  return v;
}

inline prop MakeBody(prop::object::Tag tag) {
  prop p;
  p._value = boost::make_shared<prop::object>(tag);
  return p;
}

}  // namespace

BPListReader::BPListReader()
    : _offsetSize(0),
      _refSize(0),
      _numObjects(0),
      _topObject(0),
      _offsetTableOffset(0),
      _length(0),
      _start(0),
      _ready(false),
      _failed(false),
      _depth(0),
      _budget(0),
      _byteBudget(0) {}

BPListReader::~BPListReader() {
  close();
}

bool BPListReader::open(const void* data, unsigned long length) {
  VELDRAKE_ASSERT(data != nullptr || length == 0);
  close();
  if (length > 0) _data.assign(static_cast<const char*>(data), length);
  _start = 0;
  _length = static_cast<int64_t>(_data.size());
  if (_data.size() < kHeaderSize + kTrailerReadSize) return false;
  if (std::memcmp(_data.data(), kMagic, kMagicSize) != 0) return false;
  if (_data[kMagicSize] != '0' || _data[kMagicSize + 1] != '0') return false;
  _ready = init();
  return _ready;
}

void BPListReader::close() {
  std::string().swap(_data);
  _length = 0;
  _start = 0;
  _ready = false;
}

bool BPListReader::init() {
  _failed = false;
  setpos(_length - static_cast<int64_t>(kTrailerReadSize));
  const unsigned char* trailer = ptr(kTrailerReadSize);
  if (trailer == nullptr) return false;
  _offsetSize = trailer[0];
  _refSize = trailer[1];
  const unsigned char* numbers = trailer + 2;  // behind the two widths
  _numObjects = ReadUnsigned(numbers, kTrailerNumberSize);
  _topObject = ReadUnsigned(numbers + kTrailerNumberSize, kTrailerNumberSize);
  _offsetTableOffset = ReadUnsigned(numbers + 2 * kTrailerNumberSize, kTrailerNumberSize);

  // Everything after this point sizes allocations from the trailer, so the table is
  // measured against the bytes first. A width of 0 still counts one byte per entry: the
  // table then costs no bytes, but a list cannot hold more objects than bytes.
  _offsets.clear();
  _onPath.clear();
  if (_offsetSize > kMaxNumberWidth || _refSize > kMaxNumberWidth) return false;
  if (_offsetTableOffset > static_cast<uint64_t>(_length)) return false;
  const uint64_t remaining = static_cast<uint64_t>(_length) - _offsetTableOffset;
  const uint64_t entryBytes = std::max<uint64_t>(_offsetSize, 1);
  if (remaining / entryBytes < _numObjects) return false;

  _offsets.resize(_numObjects);
  _onPath.assign(_numObjects, 0);
  resetDecoding();
  setpos(static_cast<int64_t>(_offsetTableOffset));
  const unsigned char* table = ptr(static_cast<int64_t>(_numObjects * _offsetSize));
  if (table == nullptr) return false;
  for (uint64_t i = 0; i < _numObjects; ++i)
    _offsets[i] = ReadUnsigned(table + i * _offsetSize, _offsetSize);
  return true;
}

bool BPListReader::spend(uint64_t bytes) {
  if (bytes > _byteBudget) return fail();
  _byteBudget -= bytes;
  return true;
}

bool BPListReader::fail() {
  _failed = true;
  return false;
}

prop BPListReader::failValue() {
  _failed = true;
  return prop();
}

void BPListReader::resetDecoding() {
  _failed = false;
  _depth = 0;
  _budget = std::max(kMinObjectBudget, static_cast<uint64_t>(_length) * kObjectsPerInputByte);
  _byteBudget = std::max(kMinByteBudget, static_cast<uint64_t>(_length) * kBytesPerInputByte);
  std::fill(_onPath.begin(), _onPath.end(), 0);
}

void BPListReader::setpos(int64_t position) {
  if (position < 0 || position > _length) {
    fail();
    return;
  }
  _start = position;
}

const unsigned char* BPListReader::ptr(int64_t advance) {
  if (advance < 0 || advance > _length - _start) {
    fail();
    return nullptr;
  }
  const unsigned char* p = reinterpret_cast<const unsigned char*>(_data.data()) + _start;
  _start += advance;
  return p;
}

void BPListReader::get(std::string& out, unsigned long n) {
  // Tested before `out` grows: n comes from the device.
  if (n > static_cast<uint64_t>(_length - _start)) {
    fail();
    return;
  }
  out.assign(_data.data() + _start, n);
  _start += static_cast<int64_t>(n);
}

prop BPListReader::getRootObject() {
  if (!_ready || _data.empty()) return prop::Null;
  resetDecoding();
  // A root index outside the table is a broken reference like any other: no root.
  prop root = readObjectAtRef(_topObject);
  if (_failed) return prop::Null;
  return root;
}

prop BPListReader::readObjectAtRef(unsigned long long ref) {
  // _offsets and _onPath always have the same size, whatever the trailer said.
  if (ref >= _offsets.size() || _onPath[ref] || _depth >= kMaxDepth) return failValue();
  const unsigned long long offset = _offsets[ref];
  if (offset > static_cast<uint64_t>(_length)) return failValue();
  setpos(static_cast<int64_t>(offset));
  _onPath[ref] = 1;
  ++_depth;
  prop result = readObject();
  --_depth;
  _onPath[ref] = 0;
  return result;
}

prop BPListReader::readObject() {
  if (_budget == 0) return failValue();
  --_budget;
  const unsigned char* markerByte = ptr(1);
  if (markerByte == nullptr) return prop();
  const unsigned marker = *markerByte;
  const unsigned size = marker & kSizeMask;
  switch (marker & kKindMask) {
    case kKindSimple:
      if (marker == prop::object::TagTrue) return prop::True;
      if (marker == prop::object::TagFalse) return prop::False;
      return prop::Null;  // null, and the unassigned markers beside it
    case prop::object::TagInteger:
      return readInteger(size);
    case prop::object::TagReal:
      return readReal(marker);
    case prop::object::TagDate:
      return readDate(marker);
    case prop::object::TagData:
    case prop::object::TagAscii:
      return readBytes(marker);
    case prop::object::TagUnicode:
      return readUnicode(size);
    case prop::object::TagUid:
      return readUid(size);
    case prop::object::TagArray:
      return readArray(size);
    case prop::object::TagDict:
      return readDict(size);
    default:
      return prop::Null;  // 0x7n, 0x9n, 0xBn, 0xCn, 0xEn, 0xFn: unassigned
  }
}

bool BPListReader::readCount(unsigned sizeField, int64_t* count) {
  if (sizeField != kSizeFollows) {
    *count = sizeField;
    return true;
  }
  const unsigned char* marker = ptr(1);
  if (marker == nullptr) return false;
  if ((*marker & kKindMask) != prop::object::TagInteger) return fail();
  const int64_t width = int64_t(1) << (*marker & kSizeMask);
  const unsigned char* bytes = ptr(width);
  if (bytes == nullptr) return false;
  *count = static_cast<int64_t>(FoldInteger(bytes, static_cast<uint64_t>(width)));
  return true;
}

bool BPListReader::readUtf16(int64_t count, std::wstring* text) {
  if (count < 0 || count > (_length - _start) / 2 ||
      !spend(static_cast<uint64_t>(count) * sizeof(wchar_t)))
    return fail();
  const unsigned char* bytes = ptr(count * 2);
  if (bytes == nullptr) return false;
  text->resize(static_cast<size_t>(count));
  for (int64_t i = 0; i < count; ++i)
    (*text)[static_cast<size_t>(i)] = static_cast<wchar_t>((bytes[2 * i] << 8) | bytes[2 * i + 1]);
  return true;
}

prop BPListReader::readInteger(unsigned sizeField) {
  const int64_t width = int64_t(1) << sizeField;
  const unsigned char* bytes = ptr(width);
  if (bytes == nullptr) return prop();
  prop result = MakeBody(prop::object::TagInteger);
  result._value->integer = static_cast<long long>(FoldInteger(bytes, static_cast<uint64_t>(width)));
  return result;
}

prop BPListReader::readReal(unsigned marker) {
  if (marker != kMarkerSingle && marker != kMarkerDouble) return failValue();
  const unsigned char* bytes = ptr(marker == kMarkerSingle ? sizeof(float) : sizeof(double));
  if (bytes == nullptr) return prop();
  prop result = MakeBody(prop::object::TagReal);
  if (marker == kMarkerSingle) {
    const uint32_t word = static_cast<uint32_t>(ReadUnsigned(bytes, sizeof word));
    float single;
    std::memcpy(&single, &word, sizeof single);
    result._value->real = single;
  } else {
    const uint64_t word = ReadUnsigned(bytes, sizeof word);
    std::memcpy(&result._value->real, &word, sizeof word);
  }
  return result;
}

prop BPListReader::readDate(unsigned marker) {
  if (marker != kMarkerDate) return failValue();
  const unsigned char* bytes = ptr(sizeof(double));
  if (bytes == nullptr) return prop();
  const uint64_t word = ReadUnsigned(bytes, sizeof word);
  double seconds;
  std::memcpy(&seconds, &word, sizeof seconds);
  return prop::createDate(seconds);
}

prop BPListReader::readBytes(unsigned marker) {
  int64_t count;
  if (!readCount(marker & kSizeMask, &count)) return prop();
  if (count < 0 || !spend(static_cast<uint64_t>(count))) return failValue();
  // The bytes go straight into the body's own string.
  prop result;
  if ((marker & kKindMask) == prop::object::TagData) {
    get(result.initData(), static_cast<unsigned long>(count));
  } else {
    result = prop(std::string());
    get(*result._value->bytes, static_cast<unsigned long>(count));
  }
  if (_failed) return prop();
  return result;
}

prop BPListReader::readUnicode(unsigned sizeField) {
  int64_t count;
  if (!readCount(sizeField, &count)) return prop();
  prop result{std::wstring()};
  if (!readUtf16(count, result._value->wide)) return prop();
  return result;
}

prop BPListReader::readUid(unsigned sizeField) {
  if (sizeField == kSizeFollows) {
    int64_t dropped;  // a UID of the widest kind carries a count object first
    if (!readCount(sizeField, &dropped)) return prop();
  }
  const int64_t width = int64_t(1) << sizeField;
  const unsigned char* bytes = ptr(width);
  if (bytes == nullptr) return prop();
  prop result;
  result.initUID(FoldInteger(bytes, static_cast<uint64_t>(width)));
  return result;
}

prop BPListReader::readArray(unsigned sizeField) {
  int64_t count;
  if (!readCount(sizeField, &count)) return prop();
  const int64_t remaining = _length - _start;
  if (count < 0 || static_cast<uint64_t>(count) > _budget ||
      (_refSize > 0 && count > remaining / _refSize))
    return failValue();
  // The references stay in the copy of the input, which nothing changes while decoding,
  // so they are read where they lie instead of into a list of their own.
  const unsigned char* refs = ptr(count * _refSize);
  if (refs == nullptr) return prop();
  prop result;
  std::vector<prop>& elements = result.initArray();
  elements.reserve(static_cast<size_t>(count));
  for (int64_t i = 0; i < count; ++i) {
    prop element = readObjectAtRef(ReadUnsigned(refs + i * _refSize, _refSize));
    if (_failed) return prop();
    elements.push_back(std::move(element));
  }
  return result;
}

prop BPListReader::readDict(unsigned sizeField) {
  int64_t count;
  if (!readCount(sizeField, &count)) return prop();
  const int64_t remaining = _length - _start;
  if (count < 0 || static_cast<uint64_t>(count) > _budget / 2 ||
      (_refSize > 0 && count > remaining / _refSize / 2))
    return failValue();
  const unsigned char* keyRefs = ptr(2 * count * _refSize);
  if (keyRefs == nullptr) return prop();
  const unsigned char* valueRefs = keyRefs + count * _refSize;
  prop result;
  std::map<std::wstring, prop>& entries = result.initDict();
  for (int64_t i = 0; i < count; ++i) {
    std::wstring key;
    if (!readKeyAtRef(ReadUnsigned(keyRefs + i * _refSize, _refSize), &key)) return prop();
    prop value = readObjectAtRef(ReadUnsigned(valueRefs + i * _refSize, _refSize));
    if (_failed) return prop();
    // Of equal keys the last wins; devices mostly write keys in order, which the hint
    // turns into appends.
    entries.insert_or_assign(entries.end(), std::move(key), std::move(value));
  }
  return result;
}

// A key is read like a string object, but straight into its wide text, under the
// object budget and without marking the path: a string refers to nothing.
bool BPListReader::readKeyAtRef(unsigned long long ref, std::wstring* key) {
  if (ref >= _offsets.size() || _offsets[ref] > static_cast<uint64_t>(_length) || _budget == 0)
    return fail();
  --_budget;
  setpos(static_cast<int64_t>(_offsets[ref]));
  const unsigned char* marker = ptr(1);
  if (marker == nullptr) return false;
  const unsigned kind = *marker & kKindMask;
  if (kind != prop::object::TagAscii && kind != prop::object::TagUnicode) return fail();
  int64_t count;
  if (!readCount(*marker & kSizeMask, &count)) return false;
  if (kind == prop::object::TagUnicode) return readUtf16(count, key);
  if (count < 0 || count > _length - _start ||
      !spend(static_cast<uint64_t>(count) * sizeof(wchar_t)))
    return fail();
  const unsigned char* bytes = ptr(count);
  key->resize(static_cast<size_t>(count));
  for (int64_t i = 0; i < count; ++i) {
    if (bytes[i] >= kFirstNonAscii) return fail();  // an ASCII key has no such character
    (*key)[static_cast<size_t>(i)] = static_cast<wchar_t>(bytes[i]);
  }
  return true;
}
