// Multi-values into QX::ContactField and QX::ContactAddressFields records.
#include "AddressBookItems.h"

#include <sqlite3.h>

#include <cstring>
#include <memory>

#include "ContactProperties.h"
#include "QX/Contact.h"
#include "RecordText.h"
#include "prop/prop.h"

namespace veldrake::backup {
namespace {

// The query's columns.
enum Column : int { kPerson, kRow, kProperty, kLabel, kValue, kEntryKey, kEntryValue };

bool IsAccount(int property) {
  return property == kPropertyInstantMessage || property == kPropertySocialProfile;
}

std::string ItemsQuery(sqlite3* db) {
  const Columns values(db, "ABMultiValue");
  if (!values.Has("record_id") || !values.Has("property")) return "";
  const Columns labels(db, "ABMultiValueLabel");
  const Columns entries(db, "ABMultiValueEntry");
  const Columns keys(db, "ABMultiValueEntryKey");
  const bool hasLabels = labels.Has("value") && values.Has("label");
  const bool hasEntries = entries.Has("parent_id") && entries.Has("key") && keys.Has("value");
  std::string sql = "SELECT mv.record_id, mv.ROWID, mv.property, ";
  sql += hasLabels ? "l.value" : "NULL";
  sql += ", " + values.OrNull("value", "mv") + ", ";
  sql += hasEntries ? "k.value, " + entries.OrNull("value", "e") : "NULL, NULL";
  sql += " FROM ABMultiValue mv";
  if (hasLabels) sql += " LEFT JOIN ABMultiValueLabel l ON l.ROWID = mv.label";
  if (hasEntries) {
    sql += " LEFT JOIN ABMultiValueEntry e ON e.parent_id = mv.ROWID";
    sql += " LEFT JOIN ABMultiValueEntryKey k ON k.ROWID = e.key";
  }
  // The entries' own order plays no part: each key is read once per item.
  return sql + " ORDER BY mv.record_id, mv.ROWID";
}

// The entry key of an address part and where it goes.
struct AddressKey {
  const char* key;
  char* QX::ContactAddress::*member;
};
constexpr AddressKey kAddressKeys[] = {
    {"Street", &QX::ContactAddress::street},   {"City", &QX::ContactAddress::city},
    {"State", &QX::ContactAddress::state},     {"ZIP", &QX::ContactAddress::postalCode},
    {"Country", &QX::ContactAddress::country},
};

void TakeAddressEntry(QX::ContactAddressFields& address, const char* key, const char* value) {
  for (const AddressKey& row : kAddressKeys) {
    if (std::strcmp(key, row.key) != 0) continue;
    StoreRecordText(address.address->*row.member, NewTextFromUtf8(value, true));
    return;
  }
}

void TakeAccountEntry(QX::ContactField& field, const char* key, const char* value) {
  if (std::strcmp(key, "service") == 0) StoreRecordText(field.label, NewTextFromUtf8(value, false));
  if (std::strcmp(key, "username") == 0)
    StoreRecordText(field.value, NewTextFromUtf8(value, false));
}

// The value of a plain item: a date in the birthday's form, else its text ("" for none).
char* NewItemValue(sqlite3_stmt* row, int property) {
  double seconds = 0;
  if (property == kPropertyDate && ColumnSeconds(row, kValue, &seconds))
    return NewDateText(seconds);
  const char* text = ColumnUtf8(row, kValue);
  return NewTextFromUtf8(text != nullptr ? text : "", false);
}

}  // namespace

ItemCursor::ItemCursor(sqlite3* db)
    : statement_(db, ItemsQuery(db)),
      ok_(statement_.ok() || !Columns(db, "ABMultiValue").Exists()) {
  Advance();
}

void ItemCursor::Advance() {
  const int step = statement_.Step();
  hasRow_ = step == SQLITE_ROW;
  if (statement_.ok() && !hasRow_ && step != SQLITE_DONE) ok_ = false;
}

void ItemCursor::TakeItem(QX::Contact* contact) {
  sqlite3_stmt* row = statement_.get();
  const int64_t item = sqlite3_column_int64(row, kRow);
  const int property = sqlite3_column_int(row, kProperty);
  if (property == kPropertyPostalAddress) {
    auto address = std::make_unique<QX::ContactAddressFields>();
    address->type = NewTextFromUtf8(ColumnUtf8(row, kLabel), true);
    for (; hasRow_ && sqlite3_column_int64(row, kRow) == item; Advance()) {
      const char* key = ColumnUtf8(row, kEntryKey);
      if (key != nullptr) TakeAddressEntry(*address, key, ColumnUtf8(row, kEntryValue));
    }
    contact->addresses.push_back(address.release());
    return;
  }
  auto field = std::make_unique<QX::ContactField>(KindOfProperty(property));
  if (IsAccount(property)) {
    for (; hasRow_ && sqlite3_column_int64(row, kRow) == item; Advance()) {
      const char* key = ColumnUtf8(row, kEntryKey);
      if (key != nullptr) TakeAccountEntry(*field, key, ColumnUtf8(row, kEntryValue));
    }
    // The sync route always carries both, empty or not.
    if (field->label == nullptr) field->label = NewRecordText(std::string());
    if (field->value == nullptr) field->value = NewRecordText(std::string());
  } else {
    field->label = NewTextFromUtf8(ColumnUtf8(row, kLabel), true);
    field->value = NewItemValue(row, property);
    while (hasRow_ && sqlite3_column_int64(row, kRow) == item) Advance();
  }
  contact->fields.push_back(field.release());
}

bool ItemCursor::Fill(QX::Contact* contact, int64_t person) {
  sqlite3_stmt* row = statement_.get();
  while (hasRow_ && sqlite3_column_int64(row, kPerson) < person) Advance();
  while (hasRow_ && sqlite3_column_int64(row, kPerson) == person) TakeItem(contact);
  return ok_;
}

}  // namespace veldrake::backup
