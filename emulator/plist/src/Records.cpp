// The device's record dictionaries. Every record carries the sync entity name the way a
// device's records do; it also keeps a record that has nothing else to say non-empty, so
// a reader never skips it as an empty dictionary.
#include "devicesim/Records.h"

#include <algorithm>
#include <string>
#include <utility>

namespace devicesim {
namespace {

const char16_t kEntityKey[] = u"com.apple.syncservices.RecordEntityName";

void PutText(ValueDict& dict, const char16_t* key, const std::string& text) {
  if (!text.empty()) dict[key] = Value::Text(text);
}

std::u16string Key(const std::string& ascii) {
  return std::u16string(ascii.begin(), ascii.end());
}

const char* EntityOf(int property) {
  switch (property) {
    case kPhone:
      return "com.apple.contacts.Phone Number";
    case kEmail:
      return "com.apple.contacts.Email Address";
    case kAddress:
      return "com.apple.contacts.Street Address";
    case kDate:
      return "com.apple.contacts.Date";
    case kInstantMessage:
      return "com.apple.contacts.IM";
    case kUrl:
      return "com.apple.contacts.URL";
    case kRelatedName:
      return "com.apple.contacts.Related Name";
    case kSocialProfile:
      return "com.apple.contacts.Social Profile";
    default:
      return "com.apple.contacts.Property";
  }
}

}  // namespace

Value PersonRecord(const Person& person) {
  ValueDict dict;
  dict[kEntityKey] = Value::Ascii("com.apple.contacts.Contact");
  PutText(dict, u"first name", person.firstName);
  PutText(dict, u"last name", person.lastName);
  PutText(dict, u"middle name", person.middleName);
  PutText(dict, u"notes", person.notes);
  PutText(dict, u"company name", person.companyName);
  PutText(dict, u"department", person.department);
  PutText(dict, u"job title", person.jobTitle);
  PutText(dict, u"first name yomi", person.firstNameYomi);
  PutText(dict, u"last name yomi", person.lastNameYomi);
  PutText(dict, u"nickname", person.nickname);
  PutText(dict, u"suffix", person.suffix);
  if (person.hasBirthday) dict[u"birthday"] = Value::Date(person.birthday);
  return Value::Dict(std::move(dict));
}

Value ItemRecord(const Item& item) {
  ValueDict dict;
  dict[kEntityKey] = Value::Ascii(EntityOf(item.property));
  switch (item.property) {
    case kAddress:
      PutText(dict, u"type", item.label);
      PutText(dict, u"street", item.street);
      PutText(dict, u"city", item.city);
      PutText(dict, u"state", item.state);
      PutText(dict, u"postal code", item.postalCode);
      PutText(dict, u"country", item.country);
      break;
    case kInstantMessage:
    case kSocialProfile:
      // A label would shut the service out on the reading side, and the service is the
      // more telling of the two.
      dict[u"service"] = Value::Text(item.service);
      dict[u"user"] = Value::Text(item.user);
      break;
    default:
      PutText(dict, u"label", item.label);
      dict[u"value"] = item.hasDate ? Value::Date(item.date) : Value::Text(item.value);
      break;
  }
  return Value::Dict(std::move(dict));
}

Value ContactBatch(const AddressBook& book, size_t begin, size_t end) {
  ValueDict dict;
  end = std::min(end, book.people.size());
  for (size_t i = begin; i < end; ++i) {
    const Person& person = book.people[i];
    const std::string id = std::to_string(person.id);
    dict[Key(id)] = PersonRecord(person);
    for (size_t k = 0; k < person.items.size(); ++k) {
      const Item& item = person.items[k];
      dict[Key(std::to_string(item.property) + "/" + id + "/" + std::to_string(k))] =
          ItemRecord(item);
    }
  }
  return Value::Dict(std::move(dict));
}

Value NoteRecord(const Note& note) {
  ValueDict dict;
  dict[u"subject"] = Value::Text(note.subject);
  dict[u"content"] = Value::Text(note.content);
  dict[u"dateModified"] = Value::Date(note.modified);
  return Value::Dict(std::move(dict));
}

Value NoteBatch(const NoteStore& store, size_t begin, size_t end) {
  ValueDict dict;
  end = std::min(end, store.notes.size());
  for (size_t i = begin; i < end; ++i) dict[Key(std::to_string(i))] = NoteRecord(store.notes[i]);
  return Value::Dict(std::move(dict));
}

}  // namespace devicesim
