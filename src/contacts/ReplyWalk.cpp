// The walk over a checked reply's bytes: root array, outer dictionaries, records.
#include "ReplyWalk.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "BPListReader/BPListReader.h"
#include "RecordStaging.h"

namespace {

// An object's marker and, for strings and containers, its count and where its content
// starts.
struct Object {
  unsigned marker = 0;
  uint64_t count = 0;
  const unsigned char* content = nullptr;
  unsigned kind() const { return marker & 0xF0; }
};

// One dictionary entry while a dictionary is read: its key in the walk's key buffer, its
// value's reference.
struct Entry {
  size_t keyOffset;
  size_t keyLength;
  uint64_t valueRef;
};

uint64_t ReadUnsigned(const unsigned char* p, unsigned width) {
  uint64_t v = 0;
  for (unsigned i = 0; i < width; ++i) v = (v << 8) | p[i];
  return v;
}

class Walk {
 public:
  explicit Walk(const BPListReader& reader)
      : data_(reinterpret_cast<const unsigned char*>(reader._data.data())),
        length_(static_cast<uint64_t>(reader._length)),
        offsets_(reader._offsets),
        refSize_(reader._refSize) {
    keys_.reserve(1024);
  }

  // The object at `ref`, with its count read the reader's way; false past a bound.
  bool At(uint64_t ref, Object* object) const {
    if (ref >= offsets_.size() || offsets_[ref] >= length_) return false;
    uint64_t position = offsets_[ref];
    object->marker = data_[position++];
    object->count = object->marker & 0x0F;
    const unsigned kind = object->kind();
    const bool counted =
        kind == 0x40 || kind == 0x50 || kind == 0x60 || kind == 0xA0 || kind == 0xD0;
    if (counted && object->count == 0x0F) {
      if (position >= length_ || (data_[position] & 0xF0) != 0x10) return false;
      const unsigned widthLog = data_[position++] & 0x0F;
      const uint64_t width = uint64_t(1) << widthLog;
      if (width > length_ - position) return false;
      // Wider than 8 bytes folds into 64 bits as the OR of its 8-byte words.
      uint64_t count = 0;
      if (width <= 8) {
        count = ReadUnsigned(data_ + position, static_cast<unsigned>(width));
      } else {
        for (uint64_t i = 0; i < width; i += 8) count |= ReadUnsigned(data_ + position + i, 8);
      }
      object->count = count;
      position += width;
    }
    object->content = data_ + position;
    // What the content takes must lie within the data (the check has made sure already).
    uint64_t size = 0;
    if (kind == 0x50 || kind == 0x40) size = object->count;
    if (kind == 0x60) size = object->count * 2;
    if (kind == 0xA0) size = object->count * refSize_;
    if (kind == 0xD0) size = object->count * refSize_ * 2;
    if (object->marker == 0x33) size = 8;
    if (object->count > length_ || size > length_ - position) return false;
    return true;
  }

  uint64_t Ref(const unsigned char* refs, uint64_t i) const {
    return ReadUnsigned(refs + i * refSize_, refSize_);
  }

  // Reads a dictionary's entries into `entries`, sorted by key, each key once (the last of
  // equal keys), as a decoded dictionary holds them. False when a key is no string.
  bool ReadEntries(const Object& dict, std::vector<Entry>& entries) {
    entries.clear();
    keys_.clear();
    for (uint64_t i = 0; i < dict.count; ++i) {
      Object key;
      if (!At(Ref(dict.content, i), &key)) return false;
      const size_t offset = keys_.size();
      if (key.kind() == 0x50) {
        keys_.resize(offset + key.count);
        for (uint64_t k = 0; k < key.count; ++k) keys_[offset + k] = key.content[k];
      } else if (key.kind() == 0x60) {
        keys_.resize(offset + key.count);
        for (uint64_t k = 0; k < key.count; ++k)
          keys_[offset + k] =
              static_cast<wchar_t>((key.content[2 * k] << 8) | key.content[2 * k + 1]);
      } else {
        return false;
      }
      entries.push_back(
          Entry{offset, static_cast<size_t>(key.count), Ref(dict.content, dict.count + i)});
    }
    // Devices write keys in order: then the entries are a decoded dictionary already.
    bool ordered = true;
    for (size_t i = 1; i < entries.size() && ordered; ++i)
      ordered = Key(entries[i - 1]) < Key(entries[i]);
    if (ordered) return true;
    // Stable, so that among equal keys the file's last stays last.
    std::stable_sort(entries.begin(), entries.end(),
                     [this](const Entry& a, const Entry& b) { return Key(a) < Key(b); });
    size_t kept = 0;
    for (size_t i = 0; i < entries.size(); ++i) {
      if (i + 1 < entries.size() && Key(entries[i]) == Key(entries[i + 1])) continue;
      entries[kept++] = entries[i];
    }
    entries.resize(kept);
    return true;
  }

  std::wstring_view Key(const Entry& entry) const {
    return std::wstring_view(keys_.data() + entry.keyOffset, entry.keyLength);
  }

  // The record dictionary as RawEntries for the staging. Its keys stay in keys_ until the
  // next ReadEntries.
  bool ReadRecord(const Object& dict, std::vector<RecordStaging::RawEntry>& record) {
    if (!ReadEntries(dict, recordEntries_)) return false;
    record.clear();
    for (const Entry& entry : recordEntries_) {
      RecordStaging::RawEntry raw;
      raw.first = Key(entry);
      Object value;
      if (At(entry.valueRef, &value)) {
        if (value.kind() == 0x50) {
          raw.second = {RecordStaging::RawValue::Ascii, value.content,
                        static_cast<size_t>(value.count), 0};
        } else if (value.kind() == 0x60) {
          raw.second = {RecordStaging::RawValue::Unicode, value.content,
                        static_cast<size_t>(value.count), 0};
        } else if (value.marker == 0x33) {
          const uint64_t word = ReadUnsigned(value.content, 8);
          double seconds;
          std::memcpy(&seconds, &word, sizeof seconds);
          raw.second = {RecordStaging::RawValue::Date, nullptr, 0, seconds};
        }
      }
      record.push_back(raw);
    }
    return true;
  }

  std::vector<wchar_t> keys_;

 private:
  const unsigned char* data_;
  uint64_t length_;
  const std::vector<unsigned long long>& offsets_;
  unsigned refSize_;
  std::vector<Entry> recordEntries_;
};

int32_t PieceNumber(std::wstring_view piece) {
  return RecordStaging::KeyNumber(piece.data(), piece.size());
}

}  // namespace

int StageReplyRecords(const BPListReader& reader, bool namesMessage, RecordStaging& staging) {
  Walk walk(reader);
  Object root;
  if (!walk.At(reader._topObject, &root) || root.kind() != 0xA0) return -1;
  if (root.count == 0) return -2;

  std::vector<Entry> outer;
  std::vector<RecordStaging::RawEntry> record;
  std::wstring key;  // the outer key, kept while the record's own keys are read
  bool outerSeen = false;
  for (uint64_t i = 0; i < root.count; ++i) {
    Object element;
    if (!walk.At(walk.Ref(root.content, i), &element)) continue;
    if (element.kind() != 0xD0 || element.count == 0) continue;
    outerSeen = true;
    if (!walk.ReadEntries(element, outer)) continue;
    const std::vector<wchar_t> outerKeys = walk.keys_;
    for (const Entry& entry : outer) {
      Object value;
      if (!walk.At(entry.valueRef, &value)) continue;
      if (value.kind() != 0xD0 || value.count == 0) continue;
      key.assign(outerKeys.data() + entry.keyOffset, entry.keyLength);
      const size_t first = key.find(L'/');
      if (first == std::wstring::npos) {
        if (!walk.ReadRecord(value, record)) continue;
        staging.StageContact(PieceNumber(key), record);
        continue;
      }
      const size_t last = key.rfind(L'/');
      if (last <= first) continue;  // one "/" names no record
      if (!walk.ReadRecord(value, record)) continue;
      const std::wstring_view whole(key);
      // The owner is the piece between the first and the last "/", the property number the
      // piece before the first.
      staging.StageItem(PieceNumber(whole.substr(first + 1, last - first - 1)),
                        PieceNumber(whole.substr(0, first)), record);
    }
  }
  return (namesMessage && !outerSeen) ? -3 : 0;
}
