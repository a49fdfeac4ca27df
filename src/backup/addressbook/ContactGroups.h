// ContactGroups: the groups of the address book (ABGroup) and who is in them
// (ABGroupMembers), flattened to the groups each person is in. A member is a person or a
// group (member_type 0 or 1); a person in a group inside a group is in both. Memberships
// that would make a group contain itself, directly or round a cycle, are left out with a
// warning, so no book can make the flattening loop. Names are cleaned with OneLine (with
// a warning); a group whose name is empty after that is left out.
//
// Thread contract: one owner, one thread; read once, then only looked up.
#ifndef VELDRAKE_BACKUP_CONTACTGROUPS_H_
#define VELDRAKE_BACKUP_CONTACTGROUPS_H_

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Warnings.h"

struct sqlite3;

namespace veldrake::backup {

class GroupIndex {
 public:
  // Reads both tables; a book without them has no groups, a damaged one is told through
  // `warnings` and keeps the groups read so far.
  GroupIndex(sqlite3* db, const Warnings& warnings);

  // The names of the groups `person` is in, in name order, each once; the pointers live
  // as long as the index.
  const std::vector<const char*>& NamesOf(int64_t person) const;

 private:
  struct Group {
    std::string name;
    std::vector<int64_t> people, groups;  // direct members
  };

  void ReadGroups(sqlite3* db, const Warnings& warnings);
  void ReadMembers(sqlite3* db, const Warnings& warnings);
  void Flatten(const Warnings& warnings);
  // Every person in `root` or a group inside it, walked without recursion (a chain of
  // nested groups may be as long as the database).
  std::set<int64_t> Members(int64_t root, const Warnings& warnings);
  void WarnCycle(int64_t from, int64_t to, const Warnings& warnings);

  std::map<int64_t, Group> groups_;
  std::map<int64_t, std::vector<const char*>> names_;  // person -> group names
  std::vector<const char*> none_;
  std::set<std::pair<int64_t, int64_t>> warned_;  // memberships already told of
};

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_CONTACTGROUPS_H_
