// Hand-made merge documents no phone would write: each breaks one rule a reader relies on.
#include <cstdint>
#include <string>
#include <vector>

#include "NoteBody.h"
#include "NoteFaultTables.h"

namespace devicesim::backup {
namespace {

const uint32_t kProtoObject = 2, kObjectVersion = 2, kObjectData = 3;
const uint32_t kDataEntry = 3, kDataKey = 4, kDataType = 5, kDataUuid = 6;
const uint32_t kEntryDictionary = 6, kEntryMap = 13, kEntryOrderedSet = 16;
const uint32_t kIdUnsigned = 2, kIdIndex = 6;
const uint32_t kDictElement = 1, kElementKey = 1, kElementValue = 2;
const uint32_t kMapType = 1, kMapEntry = 3, kMapEntryKey = 1, kMapEntryValue = 2;
const uint32_t kSetOrdering = 1, kSetElements = 2, kOrderingArray = 1, kOrderingContents = 2;
const uint32_t kArrayAttachment = 2, kAttachmentIndex = 1, kAttachmentUuid = 2;
const size_t kMillion = 1000000;
enum Key : int64_t { kUuidIndex, kRows, kColumns, kCellColumns };
const char* const kKeys[] = {"UUIDIndex", "crRows", "crColumns", "cellColumns"};
enum Type : int64_t { kTableType, kUuidType };
const char* const kTypes[] = {"com.apple.notes.ICTable", "com.apple.CRDT.NSUUID"};
const std::string kOneUuid(16, '\x5A');

std::string Ref(int64_t index) {
  std::string id;
  PutInt(id, kIdIndex, index);
  return id;
}

std::string Entry(uint32_t field, const std::string& body) {
  std::string entry;
  PutBytes(entry, field, body);
  return entry;
}

std::string Dictionary(const std::vector<std::pair<int64_t, int64_t>>& pairs) {
  std::string dict;
  for (const auto& [key, value] : pairs) {
    std::string element;
    PutBytes(element, kElementKey, Ref(key));
    PutBytes(element, kElementValue, Ref(value));
    PutBytes(dict, kDictElement, element);
  }
  return dict;
}

// The table object: rows, columns and cells at the given entries.
std::string TableMap(int64_t rows, int64_t columns, int64_t cells) {
  std::string map;
  PutInt(map, kMapType, kTableType);
  for (const auto& [key, at] :
       {std::pair<Key, int64_t>{kRows, rows}, {kColumns, columns}, {kCellColumns, cells}}) {
    std::string pair;
    PutInt(pair, kMapEntryKey, key);
    PutBytes(pair, kMapEntryValue, Ref(at));
    PutBytes(map, kMapEntry, pair);
  }
  return Entry(kEntryMap, map);
}

std::string UuidEntry(int64_t index) {
  std::string map, pair, value;
  PutInt(value, kIdUnsigned, index);
  PutInt(pair, kMapEntryKey, kUuidIndex);
  PutBytes(pair, kMapEntryValue, value);
  PutInt(map, kMapType, kUuidType);
  PutBytes(map, kMapEntry, pair);
  return Entry(kEntryMap, map);
}

// An ordered set of `slots` attachments all naming the same UUID entry `uuid`.
std::string RepeatedSet(size_t slots, int64_t uuid) {
  std::string array, ordering, set;
  for (size_t k = 0; k < slots; ++k) {
    std::string attachment;
    PutInt(attachment, kAttachmentIndex, static_cast<int64_t>(k));
    PutBytes(attachment, kAttachmentUuid, kOneUuid);
    PutBytes(array, kArrayAttachment, attachment);
  }
  PutBytes(ordering, kOrderingArray, array);
  PutBytes(ordering, kOrderingContents, Dictionary({{uuid, uuid}}));
  PutBytes(set, kSetOrdering, ordering);
  PutBytes(set, kSetElements, Dictionary({{uuid, uuid}}));
  return Entry(kEntryOrderedSet, set);
}

std::string Document(const std::vector<std::string>& entries) {
  std::string data, object, proto;
  for (const std::string& entry : entries) PutBytes(data, kDataEntry, entry);
  for (const char* key : kKeys) PutBytes(data, kDataKey, key);
  for (const char* type : kTypes) PutBytes(data, kDataType, type);
  PutBytes(data, kDataUuid, kOneUuid);
  PutInt(object, kObjectVersion, 1);
  PutBytes(object, kObjectData, data);
  PutBytes(proto, kProtoObject, object);
  return proto;
}

}  // namespace

std::string TableOutOfRange() {
  return Document({TableMap(999999, 999998, 1), Entry(kEntryDictionary, Dictionary({{7, 9}}))});
}

std::string TableCycle() {
  // Rows are the table itself, columns a set whose contents map a slot to the set, and the
  // cells a dictionary holding itself.
  std::string set, ordering;
  PutBytes(ordering, kOrderingContents, Dictionary({{1, 1}}));
  PutBytes(set, kSetOrdering, ordering);
  PutBytes(set, kSetElements, Dictionary({{1, 1}}));
  return Document({TableMap(0, 1, 2), Entry(kEntryOrderedSet, set),
                   Entry(kEntryDictionary, Dictionary({{2, 2}}))});
}

std::string TableMillionRows() {
  return Document({TableMap(2, 2, 3), UuidEntry(0), RepeatedSet(kMillion, 1),
                   Entry(kEntryDictionary, std::string())});
}

}  // namespace devicesim::backup
