// The contact records' destructors and the text copy that fills every text of them.
#include <cstring>  // memchr, memcpy
#include <string>

#include "PListContactAnalysis.h"
#include "QX/Contact.h"
#include "prop/prop.h"

namespace {

void ReleaseText(char*& text) {
  if (text != nullptr) {
    delete[] text;
    text = nullptr;
  }
}

}  // namespace

char* NewRecordText(const std::string& text) {
  const size_t n = text.size();
  char* copy = new char[n + 1]();
  // A NUL inside the text ends it for the host, which has no length beside the pointer.
  const void* nul = std::memchr(text.data(), 0, n);
  const size_t used = nul ? static_cast<const char*>(nul) - text.data() : n;
  std::memcpy(copy, text.data(), used);
  return copy;
}

char* NewRecordText(const prop& value, bool dateAccepted) {
  if (!value._value) return nullptr;
  const prop::object& body = *value._value;
  switch (body.type) {
    case prop::object::TagUnicode:
      return NewRecordText(prop::toUtf8(*body.wide));
    case prop::object::TagAscii:
      return NewRecordText(*body.bytes);
    case prop::object::TagDate:
      return dateAccepted ? NewRecordText(value.toDate()) : nullptr;
    default:
      return nullptr;
  }
}

namespace QX {

ContactField::~ContactField() {
  ReleaseText(label);
  ReleaseText(value);
}

ContactAddress::~ContactAddress() {
  ReleaseText(street);
  ReleaseText(city);
  ReleaseText(state);
  ReleaseText(postalCode);
  ReleaseText(country);
}

ContactAddressFields::~ContactAddressFields() {
  ReleaseText(type);
  if (address != nullptr) {
    delete address;
    address = nullptr;
  }
}

Contact::~Contact() {
  for (char** text :
       {&reservedText1, &firstName, &firstNameYomi, &middleName, &lastName, &lastNameYomi, &suffix,
        &nickname, &jobTitle, &department, &companyName, &notes, &birthday, &reservedText2,
        &reservedText3, &reservedText4, &reservedText5}) {
    ReleaseText(*text);
  }
  if (reservedBlock != nullptr) {
    reservedBlock->word2 = 0;
    reservedBlock->word1 = 0;
    ReleaseText(reservedBlock->data);
    delete reservedBlock;
    reservedBlock = nullptr;
  }
  for (ContactField*& field : fields) {
    if (field != nullptr) {
      delete field;
      field = nullptr;
    }
  }
  fields.clear();
  for (ContactAddressFields*& address : addresses) {
    if (address != nullptr) {
      delete address;
      address = nullptr;
    }
  }
  addresses.clear();
  std::vector<ContactAddressFields*>().swap(addresses);
  std::vector<ContactField*>().swap(fields);
}

}  // namespace QX
