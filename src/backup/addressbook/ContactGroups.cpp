// ABGroup and ABGroupMembers, flattened once before the people stream.
#include "ContactGroups.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>

#include "OneLine.h"
#include "SqlStatement.h"

namespace veldrake::backup {
namespace {

enum MemberType : int64_t { kPersonMember = 0, kGroupMember = 1 };

}  // namespace

GroupIndex::GroupIndex(sqlite3* db, const Warnings& warnings) {
  if (!Columns(db, "ABGroup").Has("Name")) return;
  ReadGroups(db, warnings);
  ReadMembers(db, warnings);
  Flatten(warnings);
}

void GroupIndex::ReadGroups(sqlite3* db, const Warnings& warnings) {
  SqlStatement rows(db, "SELECT ROWID, Name FROM ABGroup");
  int step;
  while ((step = rows.Step()) == SQLITE_ROW) {
    const int64_t id = sqlite3_column_int64(rows.get(), 0);
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(rows.get(), 1));
    bool changed = false;
    std::string name =
        OneLine(bytes, static_cast<size_t>(sqlite3_column_bytes(rows.get(), 1)), &changed);
    const std::string which = "group " + std::to_string(id);
    if (name.empty()) {
      warnings.Say(which + " has no name: it is left out");
      continue;
    }
    if (changed)
      warnings.Say(which + " (\"" + name + "\"): line breaks, NUL or other control characters," +
                   " or bytes that are not UTF-8, in its name were replaced");
    groups_[id].name = std::move(name);
  }
  if (step != SQLITE_DONE)
    warnings.Say("the address book's groups are damaged: " + std::string(sqlite3_errmsg(db)));
}

void GroupIndex::ReadMembers(sqlite3* db, const Warnings& warnings) {
  const Columns columns(db, "ABGroupMembers");
  if (!columns.Has("group_id") || !columns.Has("member_id")) return;
  SqlStatement rows(db, "SELECT group_id, " + columns.OrNull("member_type") +
                            ", member_id FROM ABGroupMembers ORDER BY group_id, member_id");
  int step;
  while ((step = rows.Step()) == SQLITE_ROW) {
    const auto group = groups_.find(sqlite3_column_int64(rows.get(), 0));
    if (group == groups_.end()) continue;  // a member of a group that is gone
    const int64_t type = sqlite3_column_int64(rows.get(), 1);
    const int64_t member = sqlite3_column_int64(rows.get(), 2);
    if (type == kPersonMember) group->second.people.push_back(member);
    if (type == kGroupMember) group->second.groups.push_back(member);
  }
  if (step != SQLITE_DONE)
    warnings.Say("the address book's group members are damaged: " +
                 std::string(sqlite3_errmsg(db)));
}

void GroupIndex::WarnCycle(int64_t from, int64_t to, const Warnings& warnings) {
  if (!warned_.insert({from, to}).second) return;
  const std::string& name = groups_[to].name;
  if (from == to)
    warnings.Say("group \"" + name + "\" contains itself: that membership is left out");
  else
    warnings.Say("group \"" + groups_[from].name + "\" contains \"" + name +
                 "\", which contains it in turn: that membership is left out");
}

std::set<int64_t> GroupIndex::Members(int64_t root, const Warnings& warnings) {
  std::set<int64_t> people, seen{root}, onPath{root};
  std::vector<std::pair<int64_t, size_t>> stack{{root, 0}};  // group, next subgroup
  while (!stack.empty()) {
    const int64_t id = stack.back().first;
    const Group& group = groups_[id];
    if (stack.back().second == 0) people.insert(group.people.begin(), group.people.end());
    if (stack.back().second == group.groups.size()) {
      onPath.erase(id);
      stack.pop_back();
      continue;
    }
    const int64_t inner = group.groups[stack.back().second++];
    if (onPath.count(inner) != 0) {
      WarnCycle(id, inner, warnings);
    } else if (groups_.count(inner) != 0 && seen.insert(inner).second) {
      onPath.insert(inner);
      stack.push_back({inner, 0});
    }
  }
  return people;
}

void GroupIndex::Flatten(const Warnings& warnings) {
  for (const auto& group : groups_)
    for (const int64_t person : Members(group.first, warnings))
      names_[person].push_back(group.second.name.c_str());
  for (auto& person : names_) {
    std::vector<const char*>& names = person.second;
    std::sort(names.begin(), names.end(),
              [](const char* a, const char* b) { return std::strcmp(a, b) < 0; });
    names.erase(std::unique(names.begin(), names.end(),
                            [](const char* a, const char* b) { return std::strcmp(a, b) == 0; }),
                names.end());
  }
}

const std::vector<const char*>& GroupIndex::NamesOf(int64_t person) const {
  const auto found = names_.find(person);
  return found != names_.end() ? found->second : none_;
}

}  // namespace veldrake::backup
