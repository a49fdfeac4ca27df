// Records: the device's record dictionaries, as the sync replies carry them.
//
// A contact batch is one outer dictionary: each person under its number ("17"), each of
// the person's items under "PROPERTY/PERSON/INDEX" ("3/17/0"). A note batch is one outer
// dictionary of notes under their numbers. Texts are ASCII strings when they can be, UTF-16
// otherwise; birthdays, item dates and modification dates are dates.
//
// Thread contract: pure functions over values the caller keeps unchanged meanwhile.
#ifndef DEVICESIM_RECORDS_H_
#define DEVICESIM_RECORDS_H_

#include <cstddef>

#include "devicesim/AddressBook.h"
#include "devicesim/NoteStore.h"
#include "devicesim/Value.h"

namespace devicesim {

// People [begin, end) of `book` (clamped to its size) and their items.
Value ContactBatch(const AddressBook& book, size_t begin, size_t end);
// One person's record dictionary (the value under "ID").
Value PersonRecord(const Person& person);
// One item's record dictionary (the value under "PROPERTY/ID/INDEX").
Value ItemRecord(const Item& item);

// Notes [begin, end) of `store` (clamped), under their 0-based numbers.
Value NoteBatch(const NoteStore& store, size_t begin, size_t end);
Value NoteRecord(const Note& note);

}  // namespace devicesim

#endif  // DEVICESIM_RECORDS_H_
