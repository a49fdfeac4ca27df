// The address book database: people in ABPerson under their own numbers, their items in
// ABMultiValue in the book's order, the parts of addresses, messaging accounts and social
// profiles in ABMultiValueEntry, labels and entry keys interned in their own tables.
#include "AddressBookDb.h"

#include <cmath>
#include <cstdio>
#include <ctime>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "AddressBookSchema.h"
#include "AddressBookStores.h"
#include "Sqlite.h"

namespace devicesim::backup {
namespace {

const double kUnixTo2001 = 978307200;
const int kPersonKind = 0;

class BookWriter {
 public:
  BookWriter(Db& db, const BookStores& stores)
      : db_(db),
        stores_(stores),
        person_(db,
                "INSERT INTO ABPerson (ROWID, First, Last, Middle, FirstPhonetic, LastPhonetic,"
                " Organization, Department, Note, Kind, Birthday, JobTitle, Nickname, Suffix,"
                " CreationDate, ModificationDate, StoreID, guid) VALUES"
                " (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)"),
        value_(db,
               "INSERT INTO ABMultiValue (record_id, property, identifier, label, value, guid)"
               " VALUES (?,?,?,?,?,?)"),
        entry_(db, "INSERT INTO ABMultiValueEntry (parent_id, key, value) VALUES (?,?,?)"),
        label_(db, "INSERT INTO ABMultiValueLabel (value) VALUES (?)"),
        key_(db, "INSERT INTO ABMultiValueEntryKey (value) VALUES (?)"),
        lastFour_(db, "INSERT INTO ABPhoneLastFour (multivalue_id, value) VALUES (?,?)"),
        now_(static_cast<int64_t>(static_cast<double>(std::time(nullptr)) - kUnixTo2001)) {}

  bool ok() const {
    return person_.ok() && value_.ok() && entry_.ok() && label_.ok() && key_.ok() && lastFour_.ok();
  }
  bool WritePeople(const AddressBook& book, size_t begin, size_t end, std::string* error);

 private:
  bool WritePerson(const Person& person, std::string* error);
  bool WriteItem(const Person& person, const Item& item, size_t index, std::string* error);
  bool WriteEntries(int64_t parent, const Item& item, std::string* error);
  bool WriteEntry(int64_t parent, const std::string& key, const std::string& value,
                  std::string* error);
  bool Intern(Statement& insert, std::map<std::string, int64_t>& ids, const std::string& text,
              int64_t* id, std::string* error);

  Db& db_;
  const BookStores& stores_;
  Statement person_, value_, entry_, label_, key_, lastFour_;
  std::map<std::string, int64_t> labels_, keys_;
  int64_t now_;
  uint64_t guid_ = 0;
};

std::string Guid(uint64_t serial) {
  char text[48];
  std::snprintf(text, sizeof text, "5EC0A1D0-0000-4000-8000-%012llX",
                static_cast<unsigned long long>(serial));
  return text;
}

bool BookWriter::WritePeople(const AddressBook& book, size_t begin, size_t end,
                             std::string* error) {
  if (!db_.Exec("BEGIN", error)) return false;
  for (size_t i = begin; i < end; ++i)
    if (!WritePerson(book.people[i], error)) return false;
  return db_.Exec("COMMIT", error);
}

bool BookWriter::WritePerson(const Person& p, std::string* error) {
  person_.Int(1, p.id);
  person_.Text(2, p.firstName);
  person_.Text(3, p.lastName);
  person_.Text(4, p.middleName);
  person_.Text(5, p.firstNameYomi);
  person_.Text(6, p.lastNameYomi);
  person_.Text(7, p.companyName);
  person_.Text(8, p.department);
  person_.Text(9, p.notes);
  person_.Int(10, kPersonKind);
  person_.Text(11, p.hasBirthday ? SecondsText(p.birthday) : std::string());
  person_.Text(12, p.jobTitle);
  person_.Text(13, p.nickname);
  person_.Text(14, p.suffix);
  person_.Int(15, now_);
  person_.Int(16, now_);
  person_.Int(17, stores_.Of(p));
  person_.Text(18, Guid(++guid_));
  if (!person_.Run(error)) return false;
  for (size_t k = 0; k < p.items.size(); ++k)
    if (!WriteItem(p, p.items[k], k, error)) return false;
  return true;
}

// The digits a phone indexes a number by for caller lookup.
std::string LastFourDigits(const std::string& number) {
  std::string digits;
  for (char c : number)
    if (c >= '0' && c <= '9') digits += c;
  return digits.size() > 4 ? digits.substr(digits.size() - 4) : digits;
}

bool BookWriter::WriteItem(const Person& person, const Item& item, size_t index,
                           std::string* error) {
  value_.Int(1, person.id);
  value_.Int(2, item.property);
  value_.Int(3, static_cast<int64_t>(index));
  int64_t label = 0;
  if (item.label.empty()) {
    value_.Null(4);
  } else {
    if (!Intern(label_, labels_, item.label, &label, error)) return false;
    value_.Int(4, label);
  }
  const bool compound = item.property == kAddress || item.property == kInstantMessage ||
                        item.property == kSocialProfile;
  if (compound)
    value_.Null(5);
  else
    value_.TextOrEmpty(5, item.hasDate ? SecondsText(item.date) : item.value);
  value_.Text(6, Guid(++guid_));
  if (!value_.Run(error)) return false;
  const int64_t uid = sqlite3_last_insert_rowid(db_.handle());
  if (item.property == kPhone && !LastFourDigits(item.value).empty()) {
    lastFour_.Int(1, uid);
    lastFour_.Text(2, LastFourDigits(item.value));
    if (!lastFour_.Run(error)) return false;
  }
  return !compound || WriteEntries(uid, item, error);
}

bool BookWriter::WriteEntries(int64_t parent, const Item& item, std::string* error) {
  if (item.property != kAddress)
    return WriteEntry(parent, "service", item.service, error) &&
           WriteEntry(parent, "username", item.user, error) &&
           (item.property != kSocialProfile || WriteEntry(parent, "url", item.value, error));
  return WriteEntry(parent, "Street", item.street, error) &&
         WriteEntry(parent, "City", item.city, error) &&
         WriteEntry(parent, "State", item.state, error) &&
         WriteEntry(parent, "ZIP", item.postalCode, error) &&
         WriteEntry(parent, "Country", item.country, error);
}

// A phone keeps no entry row for a part it has no value for.
bool BookWriter::WriteEntry(int64_t parent, const std::string& key, const std::string& value,
                            std::string* error) {
  if (value.empty()) return true;
  int64_t keyId = 0;
  if (!Intern(key_, keys_, key, &keyId, error)) return false;
  entry_.Int(1, parent);
  entry_.Int(2, keyId);
  entry_.Text(3, value);
  return entry_.Run(error);
}

bool BookWriter::Intern(Statement& insert, std::map<std::string, int64_t>& ids,
                        const std::string& text, int64_t* id, std::string* error) {
  const auto found = ids.find(text);
  if (found != ids.end()) {
    *id = found->second;
    return true;
  }
  insert.TextOrEmpty(1, text);
  if (!insert.Run(error)) return false;
  *id = sqlite3_last_insert_rowid(db_.handle());
  ids.emplace(text, *id);
  return true;
}

// The phone's own settings: write-ahead log, and no checkpoint behind the writer's back,
// so what is written after the first checkpoint stays in the -wal file.
bool OpenBook(Db& db, const std::string& path, std::string* error) {
  return db.Open(path, error) && db.Exec("PRAGMA journal_mode=WAL", error) &&
         db.Exec("PRAGMA wal_autocheckpoint=0", error) && db.Exec(kAddressBookSchema, error);
}

}  // namespace

std::string SecondsText(double seconds) {
  char text[40];
  if (std::floor(seconds) == seconds && std::fabs(seconds) < 1e15)
    std::snprintf(text, sizeof text, "%.0f", seconds);
  else
    std::snprintf(text, sizeof text, "%.17g", seconds);
  return text;
}

bool WriteAddressBookDb(const AddressBook& book, size_t walPeople, const std::string& path,
                        std::string* error) {
  Db db;
  if (!OpenBook(db, path, error)) return false;
  const size_t count = book.people.size();
  const size_t inMain = walPeople >= count ? 0 : count - walPeople;
  BookStores stores;
  if (!db.Exec("BEGIN", error) || !stores.Write(db, book, error) ||
      !WriteGroups(db, book, stores, error) || !db.Exec("COMMIT", error))
    return false;
  {
    BookWriter writer(db, stores);
    if (!writer.ok()) {
      *error = db.Error();
      return false;
    }
    if (!writer.WritePeople(book, 0, inMain, error) ||
        !db.Exec("PRAGMA wal_checkpoint(TRUNCATE)", error) ||
        !writer.WritePeople(book, inMain, count, error))
      return false;
  }
  int unused = 0;
  sqlite3_db_config(db.handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, &unused);
  return db.Close(error);
}

}  // namespace devicesim::backup
