// The table merge document: every UUID and every set is an entry of one object list,
// referred to by index.
#include "NoteTable.h"

#include <algorithm>
#include <map>

#include "Crypto.h"
#include "NoteBody.h"

namespace devicesim::backup {
namespace {

const uint32_t kProtoObject = 2, kObjectVersion = 2, kObjectData = 3;
const uint32_t kDataEntry = 3, kDataKey = 4, kDataType = 5, kDataUuid = 6;
const uint32_t kEntryRegister = 1, kEntryDictionary = 6, kEntryNote = 10, kEntryMap = 13,
               kEntryOrderedSet = 16;
const uint32_t kIdUnsigned = 2, kIdString = 4, kIdIndex = 6;
const uint32_t kRegisterContents = 2, kDictElement = 1, kElementKey = 1, kElementValue = 2;
const uint32_t kMapType = 1, kMapEntry = 3, kMapEntryKey = 1, kMapEntryValue = 2;
const uint32_t kSetOrdering = 1, kSetElements = 2, kOrderingArray = 1, kOrderingContents = 2;
const uint32_t kArrayContents = 1, kArrayAttachment = 2, kAttachmentIndex = 1, kAttachmentUuid = 2;
const size_t kUuidBytes = 16;
// key_item and type_item, in the order written.
enum Key : int64_t { kUuidIndex, kDirection, kRows, kColumns, kCellColumns };
const char* const kKeys[] = {"UUIDIndex", "crTableColumnDirection", "crRows", "crColumns",
                             "cellColumns"};
enum Type : int64_t { kTableType, kUuidType };
const char* const kTypes[] = {"com.apple.notes.ICTable", "com.apple.CRDT.NSUUID"};

std::string Ref(int64_t index) {
  std::string id;
  PutInt(id, kIdIndex, index);
  return id;
}

std::string Element(int64_t key, int64_t value) {
  std::string element;
  PutBytes(element, kElementKey, Ref(key));
  PutBytes(element, kElementValue, Ref(value));
  std::string out;
  PutBytes(out, kDictElement, element);
  return out;
}

class Builder {
 public:
  // A new UUID entry (and its uuid_item); returns the entry's index.
  int64_t Uuid() {
    std::string map, entry, value;
    PutInt(value, kIdUnsigned, static_cast<int64_t>(uuids_.size()));
    PutInt(entry, kMapEntryKey, kUuidIndex);
    PutBytes(entry, kMapEntryValue, value);
    PutInt(map, kMapType, kUuidType);
    PutBytes(map, kMapEntry, entry);
    uuids_.push_back(RandomBytes(kUuidBytes));
    const int64_t at = Add(kEntryMap, map);
    uuidOf_[at] = uuids_.size() - 1;
    return at;
  }
  const std::string& UuidBytes(int64_t entry) const { return uuids_[uuidOf_.at(entry)]; }
  int64_t Add(uint32_t field, const std::string& body) {
    std::string entry;
    PutBytes(entry, field, body);
    entries_.push_back(entry);
    return Last();
  }
  void Set(int64_t index, uint32_t field, const std::string& body) {
    std::string entry;
    PutBytes(entry, field, body);
    entries_[static_cast<size_t>(index)] = entry;
  }
  std::string Finish() const;

 private:
  int64_t Last() const { return static_cast<int64_t>(entries_.size()) - 1; }
  std::vector<std::string> entries_, uuids_;
  std::map<int64_t, size_t> uuidOf_;
};

std::string Builder::Finish() const {
  std::string data, object, proto;
  for (const std::string& entry : entries_) PutBytes(data, kDataEntry, entry);
  for (const char* key : kKeys) PutBytes(data, kDataKey, key);
  for (const char* type : kTypes) PutBytes(data, kDataType, type);
  for (const std::string& uuid : uuids_) PutBytes(data, kDataUuid, uuid);
  PutInt(object, kObjectVersion, 1);
  PutBytes(object, kObjectData, data);
  PutBytes(proto, kProtoObject, object);
  return proto;
}

// The ordered set of `ids`: each in a slot of its own, named by a fresh UUID, listed in
// order, mapped to its identifier and kept (not deleted) in the elements.
int64_t OrderedSet(Builder& b, const std::vector<int64_t>& ids) {
  std::string array, contents, elements;
  std::string placeholder;
  for (size_t k = 0; k < ids.size(); ++k) placeholder += kObjectChar;
  std::string arrayNote;
  PutBytes(arrayNote, 2, placeholder);
  PutBytes(array, kArrayContents, arrayNote);
  for (size_t k = 0; k < ids.size(); ++k) {
    const int64_t slot = b.Uuid();
    std::string attachment;
    PutInt(attachment, kAttachmentIndex, static_cast<int64_t>(k));
    PutBytes(attachment, kAttachmentUuid, b.UuidBytes(slot));
    PutBytes(array, kArrayAttachment, attachment);
    contents += Element(slot, ids[k]);
    elements += Element(slot, slot);
  }
  std::string ordering, set;
  PutBytes(ordering, kOrderingArray, array);
  PutBytes(ordering, kOrderingContents, contents);
  PutBytes(set, kSetOrdering, ordering);
  PutBytes(set, kSetElements, elements);
  return b.Add(kEntryOrderedSet, set);
}

std::string MapEntry(Key key, int64_t entry) {
  std::string out, pair;
  PutInt(pair, kMapEntryKey, key);
  PutBytes(pair, kMapEntryValue, Ref(entry));
  PutBytes(out, kMapEntry, pair);
  return out;
}

int64_t Direction(Builder& b, bool rightToLeft) {
  std::string value, reg;
  PutBytes(value, kIdString,
           rightToLeft ? "CRTableColumnDirectionRightToLeft" : "CRTableColumnDirectionLeftToRight");
  PutBytes(reg, kRegisterContents, value);
  return b.Add(kEntryRegister, reg);
}

}  // namespace

std::string TableDocument(const NoteObject& table) {
  Builder b;
  const int64_t root = b.Add(kEntryMap, std::string());  // the table comes first
  size_t columns = 0;
  for (const auto& row : table.rows) columns = std::max(columns, row.size());
  std::vector<int64_t> rowIds, columnIds;
  for (size_t r = 0; r < table.rows.size(); ++r) rowIds.push_back(b.Uuid());
  for (size_t c = 0; c < columns; ++c) columnIds.push_back(b.Uuid());
  const int64_t direction = Direction(b, table.rightToLeft);
  const int64_t rowSet = OrderedSet(b, rowIds), columnSet = OrderedSet(b, columnIds);
  std::string cellColumns;
  for (size_t c = 0; c < columns; ++c) {
    std::string cells;
    for (size_t r = 0; r < table.rows.size(); ++r) {
      if (c >= table.rows[r].size() || table.rows[r][c].empty()) continue;
      Paragraph cell;
      cell.spans = table.rows[r][c];
      cells += Element(rowIds[r], b.Add(kEntryNote, EncodeNote({cell}, {})));
    }
    cellColumns += Element(columnIds[c], b.Add(kEntryDictionary, cells));
  }
  const int64_t cellMap = b.Add(kEntryDictionary, cellColumns);
  std::string map;
  PutInt(map, kMapType, kTableType);
  map += MapEntry(kDirection, direction) + MapEntry(kRows, rowSet) + MapEntry(kColumns, columnSet) +
         MapEntry(kCellColumns, cellMap);
  b.Set(root, kEntryMap, map);
  return b.Finish();
}

}  // namespace devicesim::backup
