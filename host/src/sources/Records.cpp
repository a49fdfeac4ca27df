// Copies of the lent records, read through the published layout of include/QX only.
#include "Records.h"

#include <utf8.h>

#include <cstring>

#include "QX/Contact.h"
#include "QX/Notes.h"
#include "veldrake/BackupContacts.h"

namespace host {

Text CopyText(const char* text) {
  if (text == nullptr) return std::nullopt;
  const char* end = text + std::strlen(text);
  if (utf8::is_valid(text, end)) return std::string(text, end);
  std::string repaired;
  utf8::replace_invalid(text, end, std::back_inserter(repaired));
  return repaired;
}

Contact CopyContact(const QX::Contact& record) {
  Contact c;
  c.id = record.id;
  c.firstName = CopyText(record.firstName);
  c.firstNameYomi = CopyText(record.firstNameYomi);
  c.middleName = CopyText(record.middleName);
  c.lastName = CopyText(record.lastName);
  c.lastNameYomi = CopyText(record.lastNameYomi);
  c.suffix = CopyText(record.suffix);
  c.nickname = CopyText(record.nickname);
  c.jobTitle = CopyText(record.jobTitle);
  c.department = CopyText(record.department);
  c.companyName = CopyText(record.companyName);
  c.notes = CopyText(record.notes);
  c.birthday = CopyText(record.birthday);
  c.fields.reserve(record.fields.size());
  for (const QX::ContactField* field : record.fields) {
    if (field == nullptr) continue;
    c.fields.push_back({field->kind, CopyText(field->label), CopyText(field->value)});
  }
  c.addresses.reserve(record.addresses.size());
  for (const QX::ContactAddressFields* fields : record.addresses) {
    if (fields == nullptr) continue;
    Address a;
    a.type = CopyText(fields->type);
    if (const QX::ContactAddress* address = fields->address) {
      a.street = CopyText(address->street);
      a.city = CopyText(address->city);
      a.state = CopyText(address->state);
      a.postalCode = CopyText(address->postalCode);
      a.country = CopyText(address->country);
    }
    c.addresses.push_back(std::move(a));
  }
  return c;
}

namespace {

bool KnownImageType(const char* type) {
  if (type == nullptr) return false;
  for (const char* known : {"image/jpeg", "image/png", "image/heic"})
    if (std::strcmp(type, known) == 0) return true;
  return false;
}

}  // namespace

void CopyDetails(const VeldrakeContactDetails& details, Contact* contact) {
  contact->account = CopyText(details.account);
  contact->accountType = CopyText(details.accountType);
  contact->created = details.created;
  contact->modified = details.modified;
  contact->groups.clear();
  for (int i = 0; details.groups != nullptr && i < details.groupCount; ++i) {
    Text name = CopyText(details.groups[i]);
    if (name && !name->empty()) contact->groups.push_back(std::move(*name));
  }
  const VeldrakeContactPhoto* photo = details.photo;
  if (photo == nullptr || photo->data == nullptr || photo->size == 0 ||
      !KnownImageType(photo->mimeType))
    return;
  Photo copy;
  copy.mimeType = photo->mimeType;
  copy.data.assign(reinterpret_cast<const char*>(photo->data), static_cast<size_t>(photo->size));
  copy.hasCrop = photo->hasCrop != 0;
  copy.cropX = photo->cropX;
  copy.cropY = photo->cropY;
  copy.cropWidth = photo->cropWidth;
  contact->photo = std::move(copy);
}

Note CopyNote(const QX::Notes& record) {
  Note n;
  n.subject = CopyText(record.subject);
  n.dateModified = record.dateModified;
  n.content = CopyText(record.content);
  return n;
}

}  // namespace host
