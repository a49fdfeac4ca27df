// MergeDocument: the replicated-data document a table (and other mergeable attachments)
// is stored as, once inflated: a list of entries that refer to each other by index, and
// tables of key names, type names and UUIDs that entries refer to by index.
//
// Untrusted bytes: every index is checked against its table; an entry is read only when
// asked for and only the fixed few levels a table needs, so references that point back
// (cycles) are never followed twice. One thread; keeps nothing; borrows the bytes.
#ifndef VELDRAKE_BACKUP_MERGEDOCUMENT_H_
#define VELDRAKE_BACKUP_MERGEDOCUMENT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ProtoReader.h"

namespace veldrake::backup {

// A reference inside the document: to an entry, a number or a text.
struct ObjectRef {
  bool hasIndex = false;
  uint64_t index = 0;  // into the entries
  uint64_t number = 0;
  std::string text;
};

class MergeDocument {
 public:
  // Reads the document's tables; false when the bytes are no merge document.
  bool Parse(const uint8_t* data, size_t size);

  size_t EntryCount() const { return entries_.size(); }
  // The entry's custom map type name ("" when it is none) and its entries (key name,
  // value).
  bool CustomMap(size_t entry, std::string* type,
                 std::vector<std::pair<std::string, ObjectRef>>* values) const;
  // The UUID (16 bytes) a reference names through an NSUUID entry; false when it names none.
  bool Uuid(const ObjectRef& ref, std::string* uuid) const;
  // The entry's dictionary (key, value) pairs.
  bool Dictionary(size_t entry, std::vector<std::pair<ObjectRef, ObjectRef>>* pairs) const;
  // The entry's ordered set: its slots' UUIDs in order, the slot -> member map, and the
  // UUIDs of the members still present.
  bool OrderedSet(size_t entry, std::vector<std::string>* slots,
                  std::vector<std::pair<std::string, std::string>>* members,
                  std::vector<std::string>* present) const;
  // The entry's register's text value ("" when none).
  std::string RegisterText(size_t entry) const;
  // The entry's text-with-runs message; false when it has none.
  bool Note(size_t entry, ProtoReader* note) const;

 private:
  bool Field(size_t entry, uint32_t field, ProtoReader* out) const;

  std::vector<ProtoReader> entries_;
  // Each entry's UUID once found ("" none), so many references to one large entry read it
  // once.
  mutable std::unordered_map<uint64_t, std::string> uuidOf_;
  std::vector<std::string> keys_, types_, uuids_;
};

// Reads an ObjectID message.
bool ParseObjectRef(ProtoReader message, ObjectRef* ref);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_MERGEDOCUMENT_H_
