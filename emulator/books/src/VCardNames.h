// The parts of mapping a card that look at the card as a whole: the name a card without
// a usable N is known by, and the order of preferred values.
#ifndef DEVICESIM_SRC_VCARDNAMES_H_
#define DEVICESIM_SRC_VCARDNAMES_H_

#include <string>
#include <vector>

#include "devicesim/AddressBook.h"

namespace devicesim {

// A formatted name into the record's name parts, which have no field for the whole:
// "Last, First" by its comma; otherwise the last of several words is the last name and
// the words before it the first name; a single word (or a script written without spaces)
// is the first name.
void SplitFormattedName(const std::string& formatted, Person* person);

// Moves the most preferred item of each property (the lowest `preferences` entry below
// kNotPreferred, the first on a tie) ahead of the others, keeping every other order: the
// device shows the first value of a kind as its main one.
void PutPreferredFirst(const std::vector<int>& preferences, std::vector<Item>* items);

}  // namespace devicesim

#endif  // DEVICESIM_SRC_VCARDNAMES_H_
