// The contact records: the layout hosts read, destructors, and the record text copy.
#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "PListContactAnalysis.h"
#include "QX/Contact.h"

// The host reads these records as C structs on an LP64 platform: order and widths fixed.
static_assert(std::is_standard_layout<QX::Contact>::value, "host reads QX::Contact directly");
static_assert(sizeof(QX::Contact::reservedFlag) == 1, "reservedFlag is 8-bit");
static_assert(offsetof(QX::Contact, id) == 0 && offsetof(QX::Contact, reservedFlag) == 4, "");
static_assert(
    offsetof(QX::Contact, reservedText1) == 8 && offsetof(QX::Contact, firstName) == 16 &&
        offsetof(QX::Contact, firstNameYomi) == 24 && offsetof(QX::Contact, middleName) == 32 &&
        offsetof(QX::Contact, lastName) == 40 && offsetof(QX::Contact, lastNameYomi) == 48 &&
        offsetof(QX::Contact, suffix) == 56 && offsetof(QX::Contact, nickname) == 64 &&
        offsetof(QX::Contact, jobTitle) == 72 && offsetof(QX::Contact, department) == 80 &&
        offsetof(QX::Contact, companyName) == 88 && offsetof(QX::Contact, notes) == 96 &&
        offsetof(QX::Contact, birthday) == 104 && offsetof(QX::Contact, reservedText2) == 112 &&
        offsetof(QX::Contact, reservedText5) == 136 &&
        offsetof(QX::Contact, reservedBlock) == 144 && offsetof(QX::Contact, fields) == 152 &&
        offsetof(QX::Contact, addresses) == 152 + sizeof(std::vector<void*>),
    "QX::Contact field order");
static_assert(offsetof(QX::ContactReservedBlock, word2) == 4 &&
                  offsetof(QX::ContactReservedBlock, data) == 8,
              "QX::ContactReservedBlock field order");
static_assert(offsetof(QX::ContactField, kind) == 0 && sizeof(QX::ContactField::kind) == 4 &&
                  offsetof(QX::ContactField, label) == 8 && offsetof(QX::ContactField, value) == 16,
              "QX::ContactField field order");
static_assert(offsetof(QX::ContactAddressFields, type) == 0 &&
                  offsetof(QX::ContactAddressFields, address) == 8,
              "QX::ContactAddressFields field order");
static_assert(offsetof(QX::ContactAddress, street) == 0 &&
                  offsetof(QX::ContactAddress, city) == 8 &&
                  offsetof(QX::ContactAddress, state) == 16 &&
                  offsetof(QX::ContactAddress, postalCode) == 24 &&
                  offsetof(QX::ContactAddress, country) == 32 && sizeof(QX::ContactAddress) == 40,
              "QX::ContactAddress field order");
static_assert(!std::is_polymorphic<QX::Contact>::value &&
                  !std::is_polymorphic<QX::ContactField>::value,
              "plain records");

namespace {

// Run under LeakSanitizer: everything a contact holds goes with it, null slots included.
TEST(ContactRecords, DestructorReleasesEverythingItOwns) {
  auto* contact = new QX::Contact();
  contact->reservedText1 = NewRecordText(std::string("r1"));
  contact->firstName = NewRecordText(std::string("Ada"));
  contact->reservedText5 = NewRecordText(std::string("r5"));
  contact->reservedBlock = new QX::ContactReservedBlock();
  contact->reservedBlock->data = NewRecordText(std::string("block"));
  auto* field = new QX::ContactField(1);
  field->label = NewRecordText(std::string("home"));
  field->value = NewRecordText(std::string("555"));
  contact->fields = {field, nullptr};
  auto* address = new QX::ContactAddressFields();
  address->type = NewRecordText(std::string("work"));
  address->address->country = NewRecordText(std::string("NZ"));
  contact->addresses = {nullptr, address};
  delete contact;
}

TEST(ContactRecords, TextEndsAtItsFirstNulAndAnEmptyTextIsNotNull) {
  char* cut = NewRecordText(std::string("ab\0cd", 5));
  EXPECT_STREQ(cut, "ab");
  EXPECT_EQ(std::memcmp(cut, "ab\0\0\0\0", 6), 0);  // the array spans the whole text, zeroed
  delete[] cut;
  char* empty = NewRecordText(std::string());
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(empty[0], '\0');
  delete[] empty;
}

}  // namespace
