// The records a host's callback is lent, copied as the host copies them (they die after
// the call), and what the host must see for the records of the emulator's books, worked
// out from the books independently of the library. One of each for every test.
#ifndef VELDRAKE_TESTS_COMMON_RECORDCOPY_H_
#define VELDRAKE_TESTS_COMMON_RECORDCOPY_H_

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "QX/Contact.h"
#include "QX/Notes.h"
#include "devicesim/AddressBook.h"
#include "devicesim/NoteStore.h"

namespace recordcopy {

// A record text as seen: its bytes, or "<null>" for a null pointer.
inline std::string Text(const char* text) {
  return text ? std::string(text) : "<null>";
}

struct SeenNote {
  std::string subject, content;
  int64_t date = 0;
  int8_t flag = 0;
  bool reservedTextNull = true;
  bool operator==(const SeenNote& o) const {
    return subject == o.subject && content == o.content && date == o.date && flag == o.flag &&
           reservedTextNull == o.reservedTextNull;
  }
};

inline SeenNote CopyNote(const QX::Notes& n) {
  return {Text(n.subject), Text(n.content), n.dateModified, n.reservedFlag,
          n.reservedText == nullptr};
}

struct SeenContact {
  int id = 0;
  std::vector<std::string> names;      // first, first yomi, middle, last, last yomi, suffix,
                                       // nickname, job, department, company, notes, birthday
  std::vector<std::string> fields;     // "kind|label|value"
  std::vector<std::string> addresses;  // "type|street|city|state|postal|country"
  bool operator==(const SeenContact& o) const {
    return id == o.id && names == o.names && fields == o.fields && addresses == o.addresses;
  }
};

inline SeenContact CopyContact(const QX::Contact& c) {
  SeenContact seen;
  seen.id = c.id;
  for (const char* text :
       {c.firstName, c.firstNameYomi, c.middleName, c.lastName, c.lastNameYomi, c.suffix,
        c.nickname, c.jobTitle, c.department, c.companyName, c.notes, c.birthday}) {
    seen.names.push_back(Text(text));
  }
  for (const QX::ContactField* f : c.fields) {
    seen.fields.push_back(std::to_string(f->kind) + "|" + Text(f->label) + "|" + Text(f->value));
  }
  for (const QX::ContactAddressFields* a : c.addresses) {
    const QX::ContactAddress& d = *a->address;
    seen.addresses.push_back(Text(a->type) + "|" + Text(d.street) + "|" + Text(d.city) + "|" +
                             Text(d.state) + "|" + Text(d.postalCode) + "|" + Text(d.country));
  }
  return seen;
}

// --- What the host must see of a book's record. ---

// A text as the host receives it: cut at its first NUL, the host having no length.
inline std::string Cut(const std::string& text) {
  return text.substr(0, text.find('\0'));
}
// An absent (empty) text of the book is a null record text.
inline std::string Optional(const std::string& text) {
  return text.empty() ? "<null>" : Cut(text);
}

// A date of the book (seconds since 2001) as the host's record text.
inline std::string DateText(double seconds) {
  const time_t t = static_cast<time_t>(std::trunc(seconds)) + 978307200;
  std::tm tm{};
  gmtime_r(&t, &tm);
  char buffer[32] = {0};
  std::strftime(buffer, sizeof buffer, "%m-%d-%Y %H:%M:%S", &tm);
  return buffer;
}

// The record's field kind of a book item's property.
inline int KindOf(int property) {
  static const std::map<int, int> kinds = {{3, 1},  {4, 2},  {22, 3}, {23, 4},
                                           {13, 5}, {12, 6}, {46, 7}};
  const auto found = kinds.find(property);
  return found == kinds.end() ? 0 : found->second;
}

inline SeenContact ExpectedContact(const devicesim::Person& p) {
  SeenContact e;
  e.id = p.id;
  e.names = {Optional(p.firstName),    Optional(p.firstNameYomi),
             Optional(p.middleName),   Optional(p.lastName),
             Optional(p.lastNameYomi), Optional(p.suffix),
             Optional(p.nickname),     Optional(p.jobTitle),
             Optional(p.department),   Optional(p.companyName),
             Optional(p.notes),        p.hasBirthday ? DateText(p.birthday) : "<null>"};
  // Items stand in the order of their whole keys as text: "12/5/0" < "3/5/10" < "3/5/9".
  std::vector<std::pair<std::string, const devicesim::Item*>> keyed;
  for (size_t k = 0; k < p.items.size(); ++k) {
    keyed.push_back(
        {std::to_string(p.items[k].property) + "/" + std::to_string(p.id) + "/" + std::to_string(k),
         &p.items[k]});
  }
  std::sort(keyed.begin(), keyed.end());
  for (const auto& [key, item] : keyed) {
    const devicesim::Item& i = *item;
    if (i.property == devicesim::kAddress) {
      e.addresses.push_back(Optional(i.label) + "|" + Optional(i.street) + "|" + Optional(i.city) +
                            "|" + Optional(i.state) + "|" + Optional(i.postalCode) + "|" +
                            Optional(i.country));
    } else if (i.property == devicesim::kInstantMessage ||
               i.property == devicesim::kSocialProfile) {
      e.fields.push_back(std::to_string(KindOf(i.property)) + "|" + Cut(i.service) + "|" +
                         Cut(i.user));
    } else {
      e.fields.push_back(std::to_string(KindOf(i.property)) + "|" + Optional(i.label) + "|" +
                         (i.hasDate ? DateText(i.date) : Cut(i.value)));
    }
  }
  return e;
}

inline SeenNote ExpectedNote(const devicesim::Note& n) {
  return {n.subject, n.content, static_cast<int64_t>(std::trunc(n.modified)), 0, true};
}

}  // namespace recordcopy

#endif  // VELDRAKE_TESTS_COMMON_RECORDCOPY_H_
