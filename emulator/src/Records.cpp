// The device's record dictionaries. Every record carries the sync entity name the way a
// device's records do; it also keeps a record that has nothing else to say non-empty, so
// a reader never skips it as an empty dictionary.
#include "devicesim/Records.h"

#include <algorithm>
#include <string>

#include "devicesim/BPListWriter.h"

namespace devicesim {
namespace {

const wchar_t kEntityKey[] = L"com.apple.syncservices.RecordEntityName";

void PutText(std::map<std::wstring, prop>& dict, const wchar_t* key, const std::string& text) {
  if (!text.empty()) dict[key] = MakeString(text);
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

prop PersonRecord(const Person& person) {
  prop record;
  auto& dict = record.initDict();
  dict[kEntityKey] = prop(std::string("com.apple.contacts.Contact"));
  PutText(dict, L"first name", person.firstName);
  PutText(dict, L"last name", person.lastName);
  PutText(dict, L"middle name", person.middleName);
  PutText(dict, L"notes", person.notes);
  PutText(dict, L"company name", person.companyName);
  PutText(dict, L"department", person.department);
  PutText(dict, L"job title", person.jobTitle);
  PutText(dict, L"first name yomi", person.firstNameYomi);
  PutText(dict, L"last name yomi", person.lastNameYomi);
  PutText(dict, L"nickname", person.nickname);
  PutText(dict, L"suffix", person.suffix);
  if (person.hasBirthday) dict[L"birthday"] = prop::createDate(person.birthday);
  return record;
}

prop ItemRecord(const Item& item) {
  prop record;
  auto& dict = record.initDict();
  dict[kEntityKey] = prop(std::string(EntityOf(item.property)));
  switch (item.property) {
    case kAddress:
      PutText(dict, L"type", item.label);
      PutText(dict, L"street", item.street);
      PutText(dict, L"city", item.city);
      PutText(dict, L"state", item.state);
      PutText(dict, L"postal code", item.postalCode);
      PutText(dict, L"country", item.country);
      break;
    case kInstantMessage:
    case kSocialProfile:
      // A label would shut the service out on the reading side, and the service is the
      // more telling of the two.
      dict[L"service"] = MakeString(item.service);
      dict[L"user"] = MakeString(item.user);
      break;
    default:
      PutText(dict, L"label", item.label);
      dict[L"value"] = item.hasDate ? prop::createDate(item.date) : MakeString(item.value);
      break;
  }
  return record;
}

prop ContactBatch(const AddressBook& book, size_t begin, size_t end) {
  prop batch;
  auto& dict = batch.initDict();
  end = std::min(end, book.people.size());
  for (size_t i = begin; i < end; ++i) {
    const Person& person = book.people[i];
    const std::wstring id = std::to_wstring(person.id);
    dict[id] = PersonRecord(person);
    for (size_t k = 0; k < person.items.size(); ++k) {
      const Item& item = person.items[k];
      dict[std::to_wstring(item.property) + L"/" + id + L"/" + std::to_wstring(k)] =
          ItemRecord(item);
    }
  }
  return batch;
}

prop NoteRecord(const Note& note) {
  prop record;
  auto& dict = record.initDict();
  dict[L"subject"] = MakeString(note.subject);
  dict[L"content"] = MakeString(note.content);
  dict[L"dateModified"] = prop::createDate(note.modified);
  return record;
}

prop NoteBatch(const NoteStore& store, size_t begin, size_t end) {
  prop batch;
  auto& dict = batch.initDict();
  end = std::min(end, store.notes.size());
  for (size_t i = begin; i < end; ++i) dict[std::to_wstring(i)] = NoteRecord(store.notes[i]);
  return batch;
}

}  // namespace devicesim
