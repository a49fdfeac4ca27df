// Binary property list writer: flattens the tree depth-first, shares equal leaves, then
// lays the objects out with the narrowest reference and offset widths.
#include "devicesim/BPListWriter.h"

#include <cstdint>
#include <cstring>
#include <map>
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

void PutBigEndian(std::string& out, uint64_t value, int width) {
  for (int i = width - 1; i >= 0; --i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
}

int WidthFor(uint64_t value) {
  if (value <= 0xFF) return 1;
  if (value <= 0xFFFF) return 2;
  if (value <= 0xFFFFFFFFull) return 4;
  return 8;
}

void PutInteger(std::string& out, long long value) {
  if (value < 0) {
    out.push_back(static_cast<char>(0x13));
    PutBigEndian(out, static_cast<uint64_t>(value), 8);
    return;
  }
  int width = WidthFor(static_cast<uint64_t>(value));
  int log2 = width == 1 ? 0 : width == 2 ? 1 : width == 4 ? 2 : 3;
  out.push_back(static_cast<char>(0x10 | log2));
  PutBigEndian(out, static_cast<uint64_t>(value), width);
}

// Marker with a count: the low nibble, or 0xF and an integer object after it.
void PutMarker(std::string& out, uint8_t high, uint64_t count) {
  if (count < 15) {
    out.push_back(static_cast<char>(high | count));
  } else {
    out.push_back(static_cast<char>(high | 0x0F));
    PutInteger(out, static_cast<long long>(count));
  }
}

void PutDouble(std::string& out, uint8_t marker, double value) {
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  out.push_back(static_cast<char>(marker));
  PutBigEndian(out, bits, 8);
}

// UTF-16 units from a wide string: elements above U+FFFF (which a caller may have put in
// as whole code points) become surrogate pairs, everything else is one unit.
std::vector<uint16_t> Units(const std::wstring& wide) {
  std::vector<uint16_t> units;
  units.reserve(wide.size());
  for (wchar_t c : wide) {
    uint32_t cp = static_cast<uint32_t>(c);
    if (cp > 0xFFFF && cp <= 0x10FFFF) {
      cp -= 0x10000;
      units.push_back(static_cast<uint16_t>(0xD800 + (cp >> 10)));
      units.push_back(static_cast<uint16_t>(0xDC00 + (cp & 0x3FF)));
    } else {
      units.push_back(static_cast<uint16_t>(cp > 0x10FFFF ? 0xFFFD : cp));
    }
  }
  return units;
}

std::string WideLeaf(const std::wstring& wide) {
  std::string out;
  bool ascii = true;
  for (wchar_t c : wide) ascii = ascii && static_cast<uint32_t>(c) < 128;
  if (ascii) {
    PutMarker(out, 0x50, wide.size());
    for (wchar_t c : wide) out.push_back(static_cast<char>(c));
    return out;
  }
  std::vector<uint16_t> units = Units(wide);
  PutMarker(out, 0x60, units.size());
  for (uint16_t u : units) PutBigEndian(out, u, 2);
  return out;
}

class Flattener {
 public:
  std::vector<Flat> objects;

  uint64_t add(const prop& value) {
    const prop::object* body = value._value.get();
    if (!body) return leaf(std::string(1, '\0'));
    std::string out;
    switch (body->type) {
      case prop::object::TagFalse:
        return leaf(std::string(1, '\x08'));
      case prop::object::TagTrue:
        return leaf(std::string(1, '\x09'));
      case prop::object::TagInteger:
        PutInteger(out, body->integer);
        return leaf(out);
      case prop::object::TagReal:
        PutDouble(out, 0x23, body->real);
        return leaf(out);
      case prop::object::TagDate:
        PutDouble(out, 0x33, body->date);
        return leaf(out);
      case prop::object::TagData:
        PutMarker(out, 0x40, body->bytes->size());
        out += *body->bytes;
        return leaf(out);
      case prop::object::TagAscii:
        PutMarker(out, 0x50, body->bytes->size());
        out += *body->bytes;
        return leaf(out);
      case prop::object::TagUnicode: {
        std::vector<uint16_t> units = Units(*body->wide);
        PutMarker(out, 0x60, units.size());
        for (uint16_t u : units) PutBigEndian(out, u, 2);
        return leaf(out);
      }
      case prop::object::TagUid: {
        int width = WidthFor(body->uid);
        out.push_back(static_cast<char>(0x80 | (width - 1)));
        PutBigEndian(out, body->uid, width);
        return leaf(out);
      }
      case prop::object::TagArray: {
        uint64_t index = reserve(0xA0);
        std::vector<uint64_t> refs;
        refs.reserve(body->array->size());
        for (const prop& element : *body->array) refs.push_back(add(element));
        objects[index].refs = std::move(refs);
        return index;
      }
      case prop::object::TagDict: {
        uint64_t index = reserve(0xD0);
        std::vector<uint64_t> keys, values;
        for (const auto& entry : *body->dict) keys.push_back(leaf(WideLeaf(entry.first)));
        for (const auto& entry : *body->dict) values.push_back(add(entry.second));
        keys.insert(keys.end(), values.begin(), values.end());
        objects[index].refs = std::move(keys);
        return index;
      }
      default:
        // A body of an unknown tag has no form in the format; the null object stands in.
        return leaf(std::string(1, '\0'));
    }
  }

 private:
  std::map<std::string, uint64_t> leaves_;

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

std::string WriteBinaryPlist(const prop& root) {
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
    uint64_t count = object.marker == 0xD0 ? object.refs.size() / 2 : object.refs.size();
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

std::wstring Utf8ToUnits(const std::string& utf8) {
  std::wstring units;
  units.reserve(utf8.size());
  size_t i = 0;
  const size_t n = utf8.size();
  auto byte = [&](size_t k) { return static_cast<unsigned char>(utf8[k]); };
  while (i < n) {
    unsigned char b = byte(i);
    uint32_t cp = 0xFFFD;
    size_t len = 1;
    uint32_t min = 0;
    if (b < 0x80) {
      cp = b;
    } else if (b >= 0xC2 && b <= 0xDF) {
      len = 2, cp = b & 0x1F, min = 0x80;
    } else if (b >= 0xE0 && b <= 0xEF) {
      len = 3, cp = b & 0x0F, min = 0x800;
    } else if (b >= 0xF0 && b <= 0xF4) {
      len = 4, cp = b & 0x07, min = 0x10000;
    } else {
      units.push_back(0xFFFD);
      ++i;
      continue;
    }
    bool good = i + len <= n;
    for (size_t k = 1; good && k < len; ++k) {
      good = (byte(i + k) & 0xC0) == 0x80;
      if (good) cp = (cp << 6) | (byte(i + k) & 0x3F);
    }
    if (!good || cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
      units.push_back(0xFFFD);
      ++i;  // resynchronise on the next byte
      continue;
    }
    i += len;
    if (cp > 0xFFFF) {
      cp -= 0x10000;
      units.push_back(static_cast<wchar_t>(0xD800 + (cp >> 10)));
      units.push_back(static_cast<wchar_t>(0xDC00 + (cp & 0x3FF)));
    } else {
      units.push_back(static_cast<wchar_t>(cp));
    }
  }
  return units;
}

prop MakeString(const std::string& utf8) {
  bool ascii = true;
  for (char c : utf8) ascii = ascii && static_cast<unsigned char>(c) < 128;
  if (ascii) return prop(utf8);
  return prop(Utf8ToUnits(utf8));
}

}  // namespace devicesim
