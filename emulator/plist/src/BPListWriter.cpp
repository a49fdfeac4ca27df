// Binary property list writer: flattens the tree depth-first, shares equal leaves, then
// lays the objects out with the narrowest reference and offset widths.
#include "devicesim/BPListWriter.h"

#include <cstdint>
#include <cstring>
#include <map>
#include <variant>
#include <vector>

namespace devicesim {
namespace {

// One flattened object: a leaf's finished bytes, or a container's marker and references
// (dictionaries: all keys, then all values).
struct Flat {
  bool container = false;
  std::string bytes;
  uint8_t marker = 0;
  std::vector<uint64_t> refs;
};

// Object markers: the high nibble names the kind; a count or width goes in the low one.
const uint8_t kMarkerNull = 0x00;
const uint8_t kMarkerFalse = 0x08;
const uint8_t kMarkerTrue = 0x09;
const uint8_t kMarkerInteger = 0x10;
const uint8_t kMarkerNegative = 0x13;  // an 8-byte integer
const uint8_t kMarkerReal = 0x23;      // an 8-byte double
const uint8_t kMarkerDate = 0x33;
const uint8_t kMarkerData = 0x40;
const uint8_t kMarkerAscii = 0x50;
const uint8_t kMarkerUtf16 = 0x60;
const uint8_t kMarkerUid = 0x80;
const uint8_t kMarkerArray = 0xA0;
const uint8_t kMarkerDict = 0xD0;
const uint8_t kCountFollows = 0x0F;
const size_t kInlineCount = 15;

void PutBigEndian(std::string& out, uint64_t value, int width) {
  for (int i = width - 1; i >= 0; --i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
}

int WidthFor(uint64_t value) {
  if (value <= 0xFF) return 1;
  if (value <= 0xFFFF) return 2;
  if (value <= 0xFFFFFFFFull) return 4;
  return 8;
}

void PutInteger(std::string& out, int64_t value) {
  if (value < 0) {
    out.push_back(static_cast<char>(kMarkerNegative));
    PutBigEndian(out, static_cast<uint64_t>(value), 8);
    return;
  }
  int width = WidthFor(static_cast<uint64_t>(value));
  int log2 = width == 1 ? 0 : width == 2 ? 1 : width == 4 ? 2 : 3;
  out.push_back(static_cast<char>(kMarkerInteger | log2));
  PutBigEndian(out, static_cast<uint64_t>(value), width);
}

// Marker with a count: the low nibble, or 0xF and an integer object after it.
void PutMarker(std::string& out, uint8_t high, uint64_t count) {
  if (count < kInlineCount) {
    out.push_back(static_cast<char>(high | count));
  } else {
    out.push_back(static_cast<char>(high | kCountFollows));
    PutInteger(out, static_cast<int64_t>(count));
  }
}

void PutDouble(std::string& out, uint8_t marker, double value) {
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  out.push_back(static_cast<char>(marker));
  PutBigEndian(out, bits, 8);
}

void PutUnits(std::string& out, const std::u16string& units) {
  PutMarker(out, kMarkerUtf16, units.size());
  for (char16_t u : units) PutBigEndian(out, u, 2);
}

std::string KeyLeaf(const std::u16string& key) {
  std::string out;
  bool ascii = true;
  for (char16_t c : key) ascii = ascii && c < 128;
  if (!ascii) {
    PutUnits(out, key);
    return out;
  }
  PutMarker(out, kMarkerAscii, key.size());
  for (char16_t c : key) out.push_back(static_cast<char>(c));
  return out;
}

// The finished bytes of a leaf value.
struct LeafBytes {
  std::string operator()(std::monostate) const {
    return std::string(1, static_cast<char>(kMarkerNull));
  }
  std::string operator()(bool value) const {
    return std::string(1, static_cast<char>(value ? kMarkerTrue : kMarkerFalse));
  }
  std::string operator()(int64_t value) const {
    std::string out;
    PutInteger(out, value);
    return out;
  }
  std::string operator()(double value) const {
    std::string out;
    PutDouble(out, kMarkerReal, value);
    return out;
  }
  std::string operator()(const DateValue& value) const {
    std::string out;
    PutDouble(out, kMarkerDate, value.seconds);
    return out;
  }
  std::string operator()(const DataValue& value) const {
    std::string out;
    PutMarker(out, kMarkerData, value.bytes.size());
    return out + value.bytes;
  }
  std::string operator()(const std::string& text) const {
    std::string out;
    PutMarker(out, kMarkerAscii, text.size());
    return out + text;
  }
  std::string operator()(const std::u16string& units) const {
    std::string out;
    PutUnits(out, units);
    return out;
  }
  std::string operator()(const UidValue& value) const {
    std::string out;
    const int width = WidthFor(value.id);
    out.push_back(static_cast<char>(kMarkerUid | (width - 1)));
    PutBigEndian(out, value.id, width);
    return out;
  }
};

class Flattener {
 public:
  std::vector<Flat> objects;

  uint64_t add(const Value& value) {
    return std::visit([this](const auto& body) { return addBody(body); }, value.body());
  }

 private:
  std::map<std::string, uint64_t> leaves_;

  template <typename Leaf>
  uint64_t addBody(const Leaf& body) {
    return leaf(LeafBytes{}(body));
  }

  uint64_t addBody(const ValueArray& array) {
    const uint64_t index = reserve(kMarkerArray);
    std::vector<uint64_t> refs;
    refs.reserve(array.size());
    for (const Value& element : array) refs.push_back(add(element));
    objects[index].refs = std::move(refs);
    return index;
  }

  // All keys first, then all values, as the format lays a dictionary out.
  uint64_t addBody(const ValueDict& dict) {
    const uint64_t index = reserve(kMarkerDict);
    std::vector<uint64_t> keys, values;
    for (const auto& entry : dict) keys.push_back(leaf(KeyLeaf(entry.first)));
    for (const auto& entry : dict) values.push_back(add(entry.second));
    keys.insert(keys.end(), values.begin(), values.end());
    objects[index].refs = std::move(keys);
    return index;
  }

  uint64_t leaf(const std::string& bytes) {
    auto found = leaves_.find(bytes);
    if (found != leaves_.end()) return found->second;
    Flat flat;
    flat.bytes = bytes;
    objects.push_back(std::move(flat));
    leaves_.emplace(bytes, objects.size() - 1);
    return objects.size() - 1;
  }

  uint64_t reserve(uint8_t marker) {
    Flat flat;
    flat.container = true;
    flat.marker = marker;
    objects.push_back(std::move(flat));
    return objects.size() - 1;
  }
};

}  // namespace

std::string WriteBinaryPlist(const Value& root) {
  Flattener flat;
  flat.add(root);
  const std::vector<Flat>& objects = flat.objects;
  const int refSize = WidthFor(objects.size() - 1);

  std::string out = "bplist00";
  std::vector<uint64_t> offsets;
  offsets.reserve(objects.size());
  for (const Flat& object : objects) {
    offsets.push_back(out.size());
    if (!object.container) {
      out += object.bytes;
      continue;
    }
    uint64_t count = object.marker == kMarkerDict ? object.refs.size() / 2 : object.refs.size();
    PutMarker(out, object.marker, count);
    for (uint64_t ref : object.refs) PutBigEndian(out, ref, refSize);
  }
  const uint64_t tableOffset = out.size();
  const int offsetSize = WidthFor(offsets.empty() ? 0 : offsets.back());
  for (uint64_t offset : offsets) PutBigEndian(out, offset, offsetSize);

  out.append(6, '\0');  // five unused bytes and the sort version
  out.push_back(static_cast<char>(offsetSize));
  out.push_back(static_cast<char>(refSize));
  PutBigEndian(out, objects.size(), 8);
  PutBigEndian(out, 0, 8);  // the root is object 0
  PutBigEndian(out, tableOffset, 8);
  return out;
}

}  // namespace devicesim
