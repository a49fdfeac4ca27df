// AddressBook: the device's contacts in plain form, loaded from vCard files or generated.
//
// A Person holds the single-valued data; every phone number, e-mail address, URL, date,
// related name, messaging account, social profile and postal address is an Item of its
// own, tagged with the device's property number. Labels hold the device's label texts
// ("_$!<Mobile>!$_", ...) or a custom label exactly as the card gave it.
//
// Thread contract: plain values; loading and generating touch nothing shared.
#ifndef DEVICESIM_ADDRESSBOOK_H_
#define DEVICESIM_ADDRESSBOOK_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace devicesim {

// The device's address-book property numbers of multi-valued items.
enum Property : int {
  kPhone = 3,
  kEmail = 4,
  kAddress = 5,
  kDate = 12,
  kInstantMessage = 13,
  kUrl = 22,
  kRelatedName = 23,
  kSocialProfile = 46,
};

struct Item {
  int property = 0;
  std::string label;
  std::string value;
  std::string service;  // instant messaging and social profiles
  std::string user;
  // Postal addresses:
  std::string street, city, state, postalCode, country;
  // Dates (property 12) carry their value as a date rather than text.
  bool hasDate = false;
  double date = 0;  // seconds since 2001-01-01 UTC
};

// The account (the phone's store) a person lives in. A card names it with
// X-VELDRAKE-ACCOUNT;TYPE=<kind>:<name>; a card without one lives on the phone itself.
struct Account {
  std::string name;            // empty: the phone itself ("On My iPhone")
  std::string kind = "local";  // "local", "icloud", "exchange", "google" or "carddav"
};

struct Person {
  int id = 0;
  std::string firstName, lastName, middleName, nickname, suffix, companyName, department, jobTitle,
      notes, firstNameYomi, lastNameYomi;
  bool hasBirthday = false;
  double birthday = 0;  // seconds since 2001-01-01 UTC
  std::vector<Item> items;
  // The picture, its bytes as the card carries them (PHOTO, base64 or a data: URI); empty
  // for none. The square the phone shows (X-ABCROP-RECTANGLE), y from the bottom.
  std::string photo;
  bool hasCrop = false;
  int cropX = 0, cropY = 0, cropWidth = 0;
  std::vector<std::string> groups;  // CATEGORIES, each name once, in the card's order
  Account account;
};

struct AddressBook {
  std::vector<Person> people;
  // Pictures made as the backup is written rather than held (a generated book of
  // thousands of photos never sits in memory at once): when set, it gives each person's
  // photo bytes in place of Person::photo.
  std::function<std::string(const Person&)> photoSource;
};

// Loads vCard 2.1/3.0/4.0 files and appends their cards to `book`, numbering people on
// from the ones already there. On error returns false and sets *error to
// "FILE:LINE: what is wrong".
bool LoadVCardFiles(const std::vector<std::string>& paths, AddressBook* book, std::string* error);

// Parses vCard text as if read from a file called `name` (for messages). Same contract.
bool ParseVCardText(const std::string& text, const std::string& name, AddressBook* book,
                    std::string* error);

// A synthetic book: the same seed gives the same book. Every person has three phone
// numbers or e-mail addresses and one postal address; names mix Latin, non-Latin scripts
// and emoji.
AddressBook GenerateAddressBook(size_t people, uint32_t seed);

}  // namespace devicesim

#endif  // DEVICESIM_ADDRESSBOOK_H_
