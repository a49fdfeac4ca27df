// The contact records' destructors.
#include "QX/Contact.h"

namespace {

void ReleaseText(char*& text) {
  if (text != nullptr) {
    delete[] text;
    text = nullptr;
  }
}

}  // namespace

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
