// The merge document's entries and the few kinds of them a table uses.
#include "MergeDocument.h"

namespace veldrake::backup {
namespace {

constexpr uint32_t kRootObject = 2;
constexpr uint32_t kObjectData = 3;
constexpr uint32_t kDataEntry = 3, kDataKey = 4, kDataType = 5, kDataUuid = 6;
constexpr uint32_t kEntryRegister = 1, kEntryDictionary = 6, kEntryNote = 10, kEntryCustomMap = 13,
                   kEntryOrderedSet = 16;
constexpr uint32_t kRefNumber = 2, kRefText = 4, kRefIndex = 6;
constexpr uint32_t kRegisterContents = 2;
constexpr uint32_t kDictionaryElement = 1, kElementKey = 1, kElementValue = 2;
constexpr uint32_t kMapType = 1, kMapEntry = 3, kMapKey = 1, kMapValue = 2;
constexpr uint32_t kSetOrdering = 1, kSetElements = 2;
constexpr uint32_t kOrderingArray = 1, kOrderingContents = 2;
constexpr uint32_t kArrayAttachment = 2, kAttachmentUuid = 2;
const char kUuidType[] = "com.apple.CRDT.NSUUID";
const char kUuidIndexKey[] = "UUIDIndex";

bool ParseElement(ProtoReader message, std::pair<ObjectRef, ObjectRef>* pair) {
  return EachField(message, [pair](uint32_t field, uint32_t wire, ProtoReader& r) {
    ProtoReader inner;
    if ((field != kElementKey && field != kElementValue) || wire != kLengthDelimited)
      return r.Skip(wire);
    return r.Bytes(&inner) &&
           ParseObjectRef(inner, field == kElementKey ? &pair->first : &pair->second);
  });
}

bool ParseDictionary(ProtoReader message, std::vector<std::pair<ObjectRef, ObjectRef>>* pairs) {
  return EachField(message, [pairs](uint32_t field, uint32_t wire, ProtoReader& r) {
    ProtoReader inner;
    if (field != kDictionaryElement || wire != kLengthDelimited) return r.Skip(wire);
    pairs->emplace_back();
    return r.Bytes(&inner) && ParseElement(inner, &pairs->back());
  });
}

}  // namespace

bool ParseObjectRef(ProtoReader message, ObjectRef* ref) {
  return EachField(message, [ref](uint32_t field, uint32_t wire, ProtoReader& r) {
    ProtoReader inner;
    if (field == kRefNumber) return Uint64Field(r, wire, &ref->number);
    if (field == kRefIndex) {
      ref->hasIndex = wire == kVarint;
      return Uint64Field(r, wire, &ref->index);
    }
    if (field != kRefText || wire != kLengthDelimited) return r.Skip(wire);
    if (!r.Bytes(&inner)) return false;
    ref->text = inner.Text();
    return true;
  });
}

bool MergeDocument::Parse(const uint8_t* data, size_t size) {
  ProtoReader root, object;
  if (data == nullptr || !Submessage(ProtoReader(data, data + size), kRootObject, &root) ||
      !Submessage(root, kObjectData, &object))
    return false;
  return EachField(object, [this](uint32_t field, uint32_t wire, ProtoReader& r) {
    ProtoReader inner;
    if (field < kDataEntry || field > kDataUuid || wire != kLengthDelimited) return r.Skip(wire);
    if (!r.Bytes(&inner)) return false;
    if (field == kDataEntry) entries_.push_back(inner);
    if (field == kDataKey) keys_.push_back(inner.Text());
    if (field == kDataType) types_.push_back(inner.Text());
    if (field == kDataUuid) uuids_.push_back(inner.Text());
    return true;
  });
}

bool MergeDocument::Field(size_t entry, uint32_t field, ProtoReader* out) const {
  return entry < entries_.size() && Submessage(entries_[entry], field, out);
}

bool MergeDocument::CustomMap(size_t entry, std::string* type,
                              std::vector<std::pair<std::string, ObjectRef>>* values) const {
  ProtoReader map;
  type->clear();
  values->clear();
  if (!Field(entry, kEntryCustomMap, &map)) return false;
  return EachField(map, [&](uint32_t field, uint32_t wire, ProtoReader& r) {
    uint64_t index = 0;
    ProtoReader inner;
    if (field == kMapType) {
      if (!Uint64Field(r, wire, &index)) return false;
      if (index < types_.size()) *type = types_[index];
      return true;
    }
    if (field != kMapEntry || wire != kLengthDelimited) return r.Skip(wire);
    if (!r.Bytes(&inner)) return false;
    std::pair<std::string, ObjectRef> value;
    const bool ok = EachField(inner, [&](uint32_t f, uint32_t w, ProtoReader& e) {
      ProtoReader ref;
      uint64_t key = 0;
      if (f == kMapKey) {
        if (!Uint64Field(e, w, &key)) return false;
        value.first = key < keys_.size() ? keys_[key] : std::string();
        return true;
      }
      if (f != kMapValue || w != kLengthDelimited) return e.Skip(w);
      return e.Bytes(&ref) && ParseObjectRef(ref, &value.second);
    });
    values->push_back(std::move(value));
    return ok;
  });
}

bool MergeDocument::Uuid(const ObjectRef& ref, std::string* uuid) const {
  if (!ref.hasIndex || ref.index >= entries_.size()) return false;
  const auto known = uuidOf_.find(ref.index);
  if (known != uuidOf_.end()) {
    *uuid = known->second;
    return !uuid->empty();
  }
  std::string type, found;
  std::vector<std::pair<std::string, ObjectRef>> values;
  if (CustomMap(ref.index, &type, &values) && type == kUuidType) {
    for (const auto& value : values)
      if (value.first == kUuidIndexKey && value.second.number < uuids_.size())
        found = uuids_[value.second.number];
  }
  *uuid = found;
  uuidOf_.emplace(ref.index, std::move(found));
  return !uuid->empty();
}

bool MergeDocument::Dictionary(size_t entry,
                               std::vector<std::pair<ObjectRef, ObjectRef>>* pairs) const {
  ProtoReader dictionary;
  pairs->clear();
  return Field(entry, kEntryDictionary, &dictionary) && ParseDictionary(dictionary, pairs);
}

bool MergeDocument::OrderedSet(size_t entry, std::vector<std::string>* slots,
                               std::vector<std::pair<std::string, std::string>>* members,
                               std::vector<std::string>* present) const {
  ProtoReader set, ordering, array, contents, elements;
  slots->clear();
  members->clear();
  present->clear();
  if (!Field(entry, kEntryOrderedSet, &set) || !Submessage(set, kSetOrdering, &ordering) ||
      !Submessage(ordering, kOrderingArray, &array))
    return false;
  const bool listed = EachField(array, [slots](uint32_t field, uint32_t wire, ProtoReader& r) {
    ProtoReader attachment, uuid;
    if (field != kArrayAttachment || wire != kLengthDelimited) return r.Skip(wire);
    if (!r.Bytes(&attachment)) return false;
    if (Submessage(attachment, kAttachmentUuid, &uuid)) slots->push_back(uuid.Text());
    return true;
  });
  std::vector<std::pair<ObjectRef, ObjectRef>> pairs;
  if (!listed || !Submessage(ordering, kOrderingContents, &contents) ||
      !ParseDictionary(contents, &pairs))
    return false;
  for (const auto& pair : pairs) {
    std::string slot, member;
    if (Uuid(pair.first, &slot) && Uuid(pair.second, &member)) members->emplace_back(slot, member);
  }
  pairs.clear();
  if (!Submessage(set, kSetElements, &elements) || !ParseDictionary(elements, &pairs)) return false;
  for (const auto& pair : pairs) {
    std::string slot;
    if (Uuid(pair.first, &slot)) present->push_back(std::move(slot));
  }
  return true;
}

std::string MergeDocument::RegisterText(size_t entry) const {
  ProtoReader reg, contents;
  ObjectRef ref;
  if (!Field(entry, kEntryRegister, &reg) || !Submessage(reg, kRegisterContents, &contents) ||
      !ParseObjectRef(contents, &ref))
    return "";
  return ref.text;
}

bool MergeDocument::Note(size_t entry, ProtoReader* note) const {
  return Field(entry, kEntryNote, note);
}

}  // namespace veldrake::backup
