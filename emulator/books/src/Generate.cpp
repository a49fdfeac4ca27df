// Synthetic address books and note stores of any size. A small fixed generator keeps the
// output identical across standard libraries for one seed (std:: distributions are not).
#include <cstdint>
#include <string>

#include "devicesim/AddressBook.h"
#include "devicesim/NoteStore.h"

namespace devicesim {
namespace {

// splitmix64: tiny, fast and the same everywhere.
class Rng {
 public:
  explicit Rng(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15ull + 1) {}
  uint64_t next() {
    uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  size_t below(size_t n) { return static_cast<size_t>(next() % n); }
  template <size_t N>
  const char* pick(const char* const (&list)[N]) {
    return list[below(N)];
  }

 private:
  uint64_t state_;
};

const char* const kFirst[] = {"Anna", "José",    "Zoë",   "Łukasz",   "Søren",  "Ιωάννα", "Дмитрий",
                              "美咲", "太郎",    "Chloé", "Mohammed", "Nguyễn", "Björn",  "Oliver",
                              "Emma", "Siobhán", "Ali",   "Мария",    "지민",   "Aarav"};
const char* const kLast[] = {"Smith",          "García", "Müller", "Kowalski", "Nørgaard",
                             "Παπαδόπουλος",   "Иванов", "山田",   "鈴木",     "Dubois",
                             "Al-Farsi",       "Trần",   "Åberg",  "O'Brien",  "Rossi",
                             "Ó Súilleabháin", "김",     "Patel",  "Nakamura", "Jones"};
const char* const kYomiFirst[] = {"みさき", "たろう", "はなこ", "ゆうき"};
const char* const kYomiLast[] = {"やまだ", "すずき", "たなか", "なかむら"};
const char* const kNick[] = {"", "", "", "Bee 🐝", "Tiger 🐯", "Ace", "Moka ☕", "🎸 Rocker"};
const char* const kCompany[] = {
    "",          "",      "Acme Ltd", "Société Générale d'Essai", "株式会社テスト", "Ørsted Labs",
    "Initech 🚀", "Globex"};
const char* const kDepartment[] = {"", "Sales", "R&D", "Öffentlichkeitsarbeit", "経理部"};
const char* const kTitle[] = {"", "Engineer", "Directrice générale", "Ingeniør", "課長"};
const char* const kPhoneLabel[] = {"_$!<Mobile>!$_", "_$!<Home>!$_", "_$!<Work>!$_",
                                   "_$!<Main>!$_",   "iPhone",       "_$!<WorkFAX>!$_",
                                   "Ferienhaus"};
const char* const kMailLabel[] = {"_$!<Home>!$_", "_$!<Work>!$_", "_$!<Other>!$_", "Uni 🎓"};
const char* const kMailHost[] = {"example.com", "example.org", "mail.example.net", "例え.jp"};
const char* const kStreet[] = {"Hauptstraße",      "Rue de la Paix", "Main Street", "Via Roma",
                               "Sankt Olavs gate", "中央通り",       "Улица Ленина"};
const char* const kCity[] = {"München", "Paris", "Springfield", "Roma", "Oslo", "東京", "Москва"};
const char* const kCountry[] = {"Germany", "France", "USA", "Italia", "Norge", "日本", "Россия"};
const char* const kAddressLabel[] = {"_$!<Home>!$_", "_$!<Work>!$_", "_$!<Other>!$_"};
const char* const kNotes[] = {"",
                              "",
                              "Met at the conference.",
                              "Allergic to nuts 🥜",
                              "Línea 1\nLínea 2",
                              "Call after 18:00 ☎️"};

std::string Digits(Rng& rng, size_t count) {
  std::string out;
  for (size_t i = 0; i < count; ++i) out.push_back(static_cast<char>('0' + rng.below(10)));
  return out;
}

std::string Lower(const std::string& text) {
  std::string out;
  for (char c : text) {
    unsigned char u = static_cast<unsigned char>(c);
    if (u >= 'A' && u <= 'Z')
      out.push_back(static_cast<char>(u + 32));
    else if (u < 128 && u != ' ' && u != '\'')
      out.push_back(c);
  }
  return out.empty() ? "user" : out;
}

// 1940-01-01 .. 2009-12-31 as midnight UTC, in seconds since 2001-01-01.
double Birthday(Rng& rng) {
  const long long day = static_cast<long long>(rng.below(70 * 365)) - 22280;
  return static_cast<double>(day) * 86400.0;
}

}  // namespace

AddressBook GenerateAddressBook(size_t people, uint32_t seed) {
  Rng rng(seed);
  AddressBook book;
  book.people.reserve(people);
  for (size_t i = 0; i < people; ++i) {
    Person p;
    p.id = static_cast<int>(i + 1);
    p.firstName = rng.pick(kFirst);
    p.lastName = rng.pick(kLast);
    if (rng.below(5) == 0) p.middleName = rng.pick(kFirst);
    if (rng.below(4) == 0) {
      p.firstNameYomi = rng.pick(kYomiFirst);
      p.lastNameYomi = rng.pick(kYomiLast);
    }
    p.nickname = rng.pick(kNick);
    if (rng.below(10) == 0) p.suffix = "Jr.";
    p.companyName = rng.pick(kCompany);
    if (!p.companyName.empty()) {
      p.department = rng.pick(kDepartment);
      p.jobTitle = rng.pick(kTitle);
    }
    p.notes = rng.pick(kNotes);
    if (rng.below(2) == 0) {
      p.hasBirthday = true;
      p.birthday = Birthday(rng);
    }
    for (int k = 0; k < 3; ++k) {
      Item item;
      if (rng.below(2) == 0) {
        item.property = kPhone;
        item.label = rng.pick(kPhoneLabel);
        item.value = "+" + Digits(rng, 2) + " " + Digits(rng, 3) + " " + Digits(rng, 7);
      } else {
        item.property = kEmail;
        item.label = rng.pick(kMailLabel);
        item.value = Lower(p.firstName) + "." + std::to_string(p.id) + "@" + rng.pick(kMailHost);
      }
      p.items.push_back(item);
    }
    Item address;
    address.property = kAddress;
    address.label = rng.pick(kAddressLabel);
    const size_t place = rng.below(sizeof kCity / sizeof kCity[0]);
    address.street = std::string(rng.pick(kStreet)) + " " + std::to_string(1 + rng.below(200));
    address.city = kCity[place];
    address.country = kCountry[place];
    address.postalCode = Digits(rng, 5);
    if (rng.below(3) == 0) address.state = "CA";
    p.items.push_back(address);
    book.people.push_back(std::move(p));
  }
  return book;
}

namespace {

const char* const kSubject[] = {"Shopping list", "Idées de cadeaux 🎁",  "Meeting notes",
                                "買い物リスト",  "Reiseplanung ✈️", "Recipe: Borscht",
                                "TODO",          "Пароли (не здесь!)",  "Books to read 📚"};
const char* const kLine[] = {"Milk, eggs, bread",
                             "Crème brûlée for Sunday",
                             "Call the plumber ☎️",
                             "牛乳と卵",
                             "Zürich → Genève by train 🚆",
                             "Ask about the Q3 numbers",
                             "Свёкла, капуста, картофель",
                             "Done ✅",
                             "Look into <html> & \"quotes\""};

}  // namespace

NoteStore GenerateNotes(size_t count, uint32_t seed) {
  Rng rng(seed ^ 0x5EEDu);
  NoteStore store;
  store.notes.reserve(count);
  for (size_t i = 0; i < count; ++i) {
    Note note;
    note.subject = std::string(rng.pick(kSubject)) + " #" + std::to_string(i + 1);
    const size_t lines = 1 + rng.below(6);
    note.content = note.subject;
    for (size_t k = 0; k < lines; ++k) note.content += "\n" + std::string(rng.pick(kLine));
    // Between 2001 and about 2024, to the second.
    note.modified = static_cast<double>(rng.below(730000000));
    store.notes.push_back(std::move(note));
  }
  return store;
}

}  // namespace devicesim
