// The contact records: the layout hosts read, destructors, and the record text copy.
#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "PropBuild.h"
#include "QX/Contact.h"
#include "prop/prop.h"

using veldrake::NewRecordText;
using veldrake::NewRecordTextOrDate;

// The host reads these records as C structs on an LP64 platform: order and widths fixed.
static_assert(std::is_standard_layout<QX::Contact>::value, "host reads QX::Contact directly");
static_assert(sizeof(QX::Contact::reservedFlag) == 1, "reservedFlag is 8-bit");
static_assert(offsetof(QX::Contact, id) == 0 && offsetof(QX::Contact, reservedFlag) == 4, "");
static_assert(offsetof(QX::Contact, reservedText1) == 8 && offsetof(QX::Contact, firstName) == 16 &&
                  offsetof(QX::Contact, lastNameYomi) == 48 && offsetof(QX::Contact, notes) == 96 &&
                  offsetof(QX::Contact, birthday) == 104 &&
                  offsetof(QX::Contact, reservedText5) == 136 &&
                  offsetof(QX::Contact, reservedBlock) == 144 &&
                  offsetof(QX::Contact, fields) == 152 &&
                  offsetof(QX::Contact, addresses) == 152 + sizeof(std::vector<void*>),
              "QX::Contact field order");
static_assert(offsetof(QX::ContactReservedBlock, data) == 8, "QX::ContactReservedBlock");
static_assert(offsetof(QX::ContactField, kind) == 0 && sizeof(QX::ContactField::kind) == 4 &&
                  offsetof(QX::ContactField, label) == 8 && offsetof(QX::ContactField, value) == 16,
              "QX::ContactField field order");
static_assert(offsetof(QX::ContactAddressFields, address) == 8, "QX::ContactAddressFields");
static_assert(offsetof(QX::ContactAddress, country) == 32 && sizeof(QX::ContactAddress) == 40,
              "QX::ContactAddress field order");

namespace {

using namespace propbuild;

// Run under LeakSanitizer: everything a contact holds goes with it, null slots included.
TEST(ContactRecords, DestructorReleasesEverythingItOwns) {
  auto* contact = new QX::Contact();
  contact->reservedText1 = NewRecordText(std::string("r1"));
  contact->reservedText5 = NewRecordText(std::string("r5"));
  contact->reservedBlock = new QX::ContactReservedBlock();
  contact->reservedBlock->data = NewRecordText(std::string("block"));
  auto* field = new QX::ContactField(QX::kFieldPhone);
  field->label = NewRecordText(std::string("home"));
  contact->fields = {field, nullptr};
  auto* address = new QX::ContactAddressFields();
  address->address->country = NewRecordText(std::string("NZ"));
  contact->addresses = {nullptr, address};
  delete contact;
}

TEST(ContactRecords, TextsByTagCutAtTheirFirstNul) {
  const char* kNone = "<null>";
  const struct {
    prop value;
    const char* text;    // NewRecordText
    const char* orDate;  // NewRecordTextOrDate
  } table[] = {
      {Str("Zoë"), "Zoë", "Zoë"},
      {Wide("a😀"), "a😀", "a😀"},
      {prop(std::string("ab\0cd", 5)), "ab", "ab"},
      {prop(std::wstring(L"xy\0z", 4)), "xy", "xy"},
      {Str(""), "", ""},
      {Date(-1.5), kNone, "12-31-2000 23:59:59"},
      {Int(7), kNone, kNone},
      {prop::True, kNone, kNone},
      {prop::Null, kNone, kNone},
  };
  for (const auto& row : table) {
    char* text = NewRecordText(row.value);
    char* orDate = NewRecordTextOrDate(row.value);
    EXPECT_EQ(text ? std::string(text) : kNone, row.text);
    EXPECT_EQ(orDate ? std::string(orDate) : kNone, row.orDate);
    delete[] text;
    delete[] orDate;
  }
  // The array spans the whole text, zeroed behind the cut.
  char* cut = NewRecordText(std::string("ab\0cd", 5));
  EXPECT_EQ(std::memcmp(cut, "ab\0\0\0\0", 6), 0);
  delete[] cut;
}

}  // namespace
