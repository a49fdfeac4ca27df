// Groups flattened to each person's, accounts from the stores, and the people's dates, as
// VeldrakeContactDetails lends them, with the warnings for what had to be left out.
#include <sqlite3.h>

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BackupTestSupport.h"
#include "ContactAccounts.h"
#include "ContactDetails.h"
#include "ContactFixtures.h"
#include "OneLine.h"

namespace {

using namespace contactfixtures;
using backuptest::Exec;
using Names = std::vector<std::string>;

// Four people; the tables this test fills beside CreateBookSchema's.
struct Book {
  Book() {
    sqlite3_open(":memory:", &db);
    backuptest::CreateBookSchema(db);
    for (const char* sql :
         {"ALTER TABLE ABPerson ADD COLUMN StoreID INTEGER",
          "ALTER TABLE ABPerson ADD COLUMN CreationDate INTEGER",
          "ALTER TABLE ABPerson ADD COLUMN ModificationDate INTEGER",
          "CREATE TABLE ABGroup (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, Name TEXT,"
          " StoreID INTEGER)",
          "CREATE TABLE ABGroupMembers (UID INTEGER PRIMARY KEY, group_id INTEGER,"
          " member_type INTEGER, member_id INTEGER, UNIQUE(group_id, member_type, member_id))",
          "CREATE TABLE ABStore (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, Name TEXT,"
          " Type INTEGER, AccountID INTEGER)"})
      Exec(db, sql);
    for (const char* id : {"1", "2", "3", "4"})
      Exec(db, "INSERT INTO ABPerson (ROWID, First) VALUES (?1, 'P')", {id});
  }
  ~Book() { sqlite3_close(db); }
  Collected Deliver() const {
    Collected out;
    veldrake::backup::Warnings warnings;
    warnings.callback = CollectWarning;
    warnings.context = &out;
    std::string message;
    EXPECT_EQ(veldrake::backup::DeliverContactDetails(db, nullptr, CollectContact, &out, warnings,
                                                      &message),
              0)
        << message;
    EXPECT_EQ(out.people.size(), 4u);
    return out;
  }
  sqlite3* db = nullptr;
};

struct Group {
  int id;
  std::string name;  // may hold NUL bytes
};
struct Member {
  int group, type, member;
};
struct GroupCase {
  const char* name;
  std::vector<Group> groups;
  std::vector<Member> members;
  std::map<int, Names> expected;  // person -> groups; the others are in none
  std::vector<const char*> warnings;
};

std::vector<GroupCase> GroupCases() {
  return {
      {"plain groups, in name order",
       {{1, "Work"}, {2, "Family"}},
       {{1, 0, 1}, {2, 0, 1}, {2, 0, 3}},
       {{1, {"Family", "Work"}}, {3, {"Family"}}},
       {}},
      {"nested groups flattened",
       {{1, "All"}, {2, "Team"}, {3, "Core"}},
       {{1, 1, 2}, {2, 1, 3}, {3, 0, 4}, {2, 0, 2}},
       {{2, {"All", "Team"}}, {4, {"All", "Core", "Team"}}},
       {}},
      {"a group that contains itself",
       {{1, "Loop"}},
       {{1, 1, 1}, {1, 0, 2}},
       {{2, {"Loop"}}},
       {"\"Loop\" contains itself"}},
      {"a cycle of two",
       {{1, "A"}, {2, "B"}},
       {{1, 1, 2}, {2, 1, 1}, {1, 0, 1}, {2, 0, 3}},
       {{1, {"A", "B"}}, {3, {"A", "B"}}},
       {"which contains it in turn", "which contains it in turn"}},
      {"names with NUL and line breaks",
       {{1, std::string("Ski\0Club", 8)}, {2, "Book\r\nClub\n"}, {3, "\n\t"}},
       {{1, 0, 1}, {2, 0, 1}, {3, 0, 2}},
       {{1, {"Book Club", "Ski Club"}}},
       {"group 1 (\"Ski Club\")", "group 2 (\"Book Club\")", "group 3 has no name"}},
      {"same name twice, unknown members and kinds",
       {{1, "Dup"}, {2, "Dup"}},
       {{1, 0, 1}, {2, 0, 1}, {9, 0, 2}, {1, 5, 3}, {2, 1, 77}},
       {{1, {"Dup"}}},
       {}},
  };
}

TEST(ContactGroupsTest, EachPersonIsInTheGroupsThePhoneShows) {
  for (const GroupCase& c : GroupCases()) {
    SCOPED_TRACE(c.name);
    Book book;
    for (const Group& g : c.groups) {
      sqlite3_stmt* s = nullptr;
      sqlite3_prepare_v2(book.db, "INSERT INTO ABGroup (ROWID, Name) VALUES (?1, ?2)", -1, &s,
                         nullptr);
      sqlite3_bind_int(s, 1, g.id);
      sqlite3_bind_text(s, 2, g.name.data(), static_cast<int>(g.name.size()), SQLITE_TRANSIENT);
      EXPECT_EQ(sqlite3_step(s), SQLITE_DONE);
      sqlite3_finalize(s);
    }
    for (const Member& m : c.members)
      Exec(book.db,
           "INSERT INTO ABGroupMembers (group_id, member_type, member_id) VALUES (?1,?2,?3)",
           {std::to_string(m.group), std::to_string(m.type), std::to_string(m.member)});
    const Collected got = book.Deliver();
    for (const SeenDetails& seen : got.people) {
      const auto found = c.expected.find(seen.id);
      EXPECT_EQ(seen.groups, found != c.expected.end() ? found->second : Names())
          << "person " << seen.id;
    }
    EXPECT_EQ(got.warnings.size(), c.warnings.size());
    for (const char* part : c.warnings) EXPECT_TRUE(Warned(got, part)) << part;
  }
}

TEST(OneLineTest, NamesBecomeOneLineOfValidUtf8) {
  const std::string kFffd = "\xEF\xBF\xBD";
  const struct {
    std::string in, out;
  } rows[] = {
      {"Plain  name", "Plain  name"},
      {"Ärzte 𝄞 日本", "Ärzte 𝄞 日本"},
      {std::string("a\0\0b", 4), "a b"},
      {"\r\nlead and trail\n", "lead and trail"},
      {"tab\tand\x7F", "tab and"},
      {"line\xE2\x80\xA8sep\xC2\x85next", "line sep next"},
      {"cut \xE2\x82", "cut " + kFffd + kFffd},
      {"overlong \xC0\xAF", "overlong " + kFffd + kFffd},
      {"surrogate \xED\xA0\x80", "surrogate " + kFffd + kFffd + kFffd},
      {"beyond \xF4\x90\x80\x80", "beyond " + kFffd + kFffd + kFffd + kFffd},
      {"stray \x80 byte", "stray " + kFffd + " byte"},
      {"", ""},
  };
  for (const auto& r : rows) {
    bool changed = false;
    EXPECT_EQ(veldrake::backup::OneLine(r.in.data(), r.in.size(), &changed), r.out) << r.in;
    EXPECT_EQ(changed, r.in != r.out) << r.in;
  }
}

TEST(ContactAccountsTest, TheKindOfAStoreComesFromItsTypeAndName) {
  struct Row {
    int64_t type;
    const char* name;
    const char* kind;
  } const rows[] = {
      {0, "Local", "local"},
      {1, "Work", "exchange"},
      {1 | 0x1000000, "GAL", "exchange"},
      {2, "", "icloud"},
      {4, "iCloud", "icloud"},
      {4, "ann@icloud.com", "icloud"},
      {4, "Google", "google"},
      {4, "ann@gmail.com", "google"},
      {4, "Fastmail", "carddav"},
      {3 | 0x1000000, "LDAP", "other"},
      {7, "x", "other"},
  };
  for (const Row& r : rows)
    EXPECT_STREQ(veldrake::backup::AccountTypeOf(r.type, r.name), r.kind) << r.name;
}

TEST(ContactAccountsTest, EachPersonHasTheStoreItLivesIn) {
  Book book;
  Exec(book.db,
       "INSERT INTO ABStore (ROWID, Name, Type) VALUES (1, 'Local', 0), (2, NULL, 4),"
       " (3, 'Work' || char(10) || 'Mail', 1)");
  Exec(book.db, "UPDATE ABPerson SET StoreID = ROWID WHERE ROWID < 4");
  Exec(book.db, "UPDATE ABPerson SET StoreID = 9 WHERE ROWID = 4");
  const Collected got = book.Deliver();
  const std::vector<std::pair<std::string, std::string>> want = {
      {"On My iPhone", "local"}, {"CardDAV", "carddav"}, {"Work Mail", "exchange"}};
  for (size_t i = 0; i < want.size(); ++i) {
    EXPECT_TRUE(got.people[i].hasAccount);
    EXPECT_EQ(std::make_pair(got.people[i].account, got.people[i].accountType), want[i]);
  }
  EXPECT_FALSE(got.people[3].hasAccount) << "a store that is gone is unknown";
  EXPECT_EQ(got.warnings.size(), 1u);
}

TEST(ContactDatesTest, CreationAndModificationInUnixSeconds) {
  Book book;
  // Seconds since 2001 as the phone keeps them (integer, real, text), and damage.
  Exec(book.db,
       "UPDATE ABPerson SET CreationDate = 0, ModificationDate = 700000000.75"
       " WHERE ROWID = 1");
  Exec(book.db,
       "UPDATE ABPerson SET CreationDate = '-31622400', ModificationDate = 'soon'"
       " WHERE ROWID = 2");
  Exec(book.db, "UPDATE ABPerson SET CreationDate = 1e300 WHERE ROWID = 3");
  const Collected got = book.Deliver();
  const int64_t unknown = INT64_MIN;
  const std::vector<std::pair<int64_t, int64_t>> want = {
      {978307200, 1678307200}, {946684800, unknown}, {unknown, unknown}, {unknown, unknown}};
  for (size_t i = 0; i < want.size(); ++i)
    EXPECT_EQ(std::make_pair(got.people[i].created, got.people[i].modified), want[i]) << i;
}

}  // namespace
