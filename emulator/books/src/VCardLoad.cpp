// vCard 2.1, 3.0 and 4.0 files to the device's address book: unfold the text, parse each
// logical line, gather the properties between BEGIN:VCARD and END:VCARD, map each card.
#include <errno.h>

#include <cstring>
#include <fstream>
#include <sstream>

#include "VCardExtras.h"
#include "VCardMap.h"
#include "VCardProperty.h"
#include "VCardText.h"
#include "VCardUnfold.h"
#include "devicesim/AddressBook.h"

namespace devicesim {
namespace {

const char kUtf8Bom[] = "\xEF\xBB\xBF";

std::string Located(const std::string& name, int line, const std::string& what) {
  return name + ":" + std::to_string(line) + ": " + what;
}

// Drops a UTF-8 byte-order mark; refuses UTF-16 text, which vCard files are not.
bool CheckEncoding(std::string& data, const std::string& name, std::string* error) {
  if (data.compare(0, 3, kUtf8Bom) == 0) data.erase(0, 3);
  if (data.compare(0, 2, "\xFF\xFE") == 0 || data.compare(0, 2, "\xFE\xFF") == 0) {
    *error = Located(name, 1, "UTF-16 text is not supported; convert the file to UTF-8");
    return false;
  }
  return true;
}

// Gathers the cards of `lines` and maps each onto a Person.
class CardReader {
 public:
  CardReader(const std::string& name, std::string* error) : name_(name), error_(error) {}

  bool read(const std::vector<LogicalLine>& lines) {
    for (const LogicalLine& line : lines)
      if (!take(ParseProperty(line))) return false;
    if (begin_) return fail(begin_, "the card is not closed by END:VCARD");
    if (lines.empty()) return fail(1, "no vCard in the file");
    return true;
  }

  std::vector<Person>& people() { return people_; }

 private:
  bool take(CardProperty p) {
    const std::string value = Upper(Trim(p.value));
    if (p.name == "BEGIN" && value == "VCARD") {
      if (begin_)
        return fail(p.line, "BEGIN:VCARD inside the card of line " + std::to_string(begin_));
      begin_ = p.line;
      card_.clear();
    } else if (p.name == "END" && value == "VCARD") {
      if (!begin_) return fail(p.line, "END:VCARD without BEGIN:VCARD");
      Person person;
      int line = 0;
      std::string why;
      if (!ReadCardExtras(card_, &person, &line, &why)) return fail(line, why);
      if (MapCard(card_, person)) people_.push_back(std::move(person));
      begin_ = 0;
    } else if (!begin_) {
      return fail(p.line, p.name + " outside a card");
    } else {
      card_.push_back(std::move(p));
    }
    return true;
  }

  bool fail(int line, const std::string& what) {
    *error_ = Located(name_, line, what);
    return false;
  }

  const std::string& name_;
  std::string* error_;
  std::vector<Person> people_;
  std::vector<CardProperty> card_;
  int begin_ = 0;  // line of the open card's BEGIN, 0 outside a card
};

// The whole file; on failure *error tells an empty file from an unreadable one.
bool ReadFile(const std::string& path, std::string* data, std::string* error) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  if (in && (text << in.rdbuf())) {
    *data = text.str();
    return true;
  }
  // An empty file reads as a failed copy too.
  if (in.is_open() && in.peek() == std::char_traits<char>::eof()) {
    *error = Located(path, 1, "no vCard in the file");
  } else {
    *error = Located(path, 0, std::string("cannot be read: ") + std::strerror(errno));
  }
  return false;
}

}  // namespace

bool ParseVCardText(const std::string& input, const std::string& name, AddressBook* book,
                    std::string* error) {
  std::string data = input;
  std::vector<LogicalLine> lines;
  if (!CheckEncoding(data, name, error) || !Unfold(data, name, &lines, error)) return false;
  CardReader reader(name, error);
  if (!reader.read(lines)) return false;
  for (Person& person : reader.people()) {
    person.id = static_cast<int>(book->people.size() + 1);
    book->people.push_back(std::move(person));
  }
  return true;
}

bool LoadVCardFiles(const std::vector<std::string>& paths, AddressBook* book, std::string* error) {
  for (const std::string& path : paths) {
    std::string data;
    if (!ReadFile(path, &data, error) || !ParseVCardText(data, path, book, error)) return false;
  }
  return true;
}

}  // namespace devicesim
