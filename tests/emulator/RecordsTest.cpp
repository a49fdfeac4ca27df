// The writer's layout and the record shapes, read back through the library's reader.
#include <gtest/gtest.h>

#include <string>

#include "BPListReader/BPListReader.h"
#include "devicesim/BPListWriter.h"
#include "devicesim/Records.h"

using namespace devicesim;

namespace {

prop RoundTrip(const prop& value) {
  std::string bytes = WriteBinaryPlist(value);
  BPListReader reader;
  EXPECT_TRUE(reader.open(bytes.data(), bytes.size()));
  return reader.getRootObject();
}

const prop& At(const prop& dict, const std::wstring& key) {
  static const prop missing;
  auto found = dict._value->dict->find(key);
  return found == dict._value->dict->end() ? missing : found->second;
}

std::string Text(const prop& p) {
  if (p.hasTag(prop::object::TagAscii)) return p.toUTF8String();
  if (p.hasTag(prop::object::TagUnicode)) return prop::toUtf8(p.toString());
  return "<not text>";
}

}  // namespace

TEST(PlistWriter, StringsChooseAsciiOrUtf16WithSurrogatePairs) {
  setlocale(LC_ALL, "C.UTF-8");
  EXPECT_TRUE(MakeString("plain").hasTag(prop::object::TagAscii));
  prop wide = MakeString("a😀");
  ASSERT_TRUE(wide.hasTag(prop::object::TagUnicode));
  EXPECT_EQ((std::wstring{L'a', 0xD83D, 0xDE00}), wide.toString());
  EXPECT_EQ("a😀", Text(RoundTrip(wide)));
  // Invalid UTF-8 never reaches the wire as such.
  EXPECT_EQ((std::wstring{L'x', 0xFFFD}), MakeString("x\xC3").toString());
}

TEST(PlistWriter, RootFirstAndNarrowestWidths) {
  prop root;
  auto& array = root.initArray();
  array.push_back(prop(std::string("SDMessageProcessChanges")));
  array.push_back(prop(70000LL));
  array.push_back(prop(-2LL));
  std::string bytes = WriteBinaryPlist(root);
  EXPECT_EQ(std::string("bplist00\xA3\x01\x02\x03\x5F\x10\x17SDMessageProcessChanges", 38),
            bytes.substr(0, 38));
  EXPECT_EQ(std::string("\x12\x00\x01\x11\x70", 5), bytes.substr(38, 5));  // 4-byte integer
  EXPECT_EQ('\x13', bytes[43]);                                            // negative: 8 bytes
  EXPECT_EQ(1, bytes[bytes.size() - 26]);                                  // offset width
  EXPECT_EQ(1, bytes[bytes.size() - 25]);                                  // reference width
  for (int i = 0; i < 300; ++i) array.push_back(prop(static_cast<long long>(1000 + i)));
  bytes = WriteBinaryPlist(root);
  EXPECT_EQ(2, bytes[bytes.size() - 25]);
  EXPECT_EQ(303u, RoundTrip(root)._value->array->size());
}

TEST(Records, ContactBatchHasPersonsAndItemsUnderTheirKeys) {
  setlocale(LC_ALL, "C.UTF-8");
  AddressBook book;
  Person p;
  p.id = 17;
  p.firstName = "Zoë";
  p.lastName = "Smith";
  p.hasBirthday = true;
  p.birthday = 86400;
  Item phone;
  phone.property = kPhone;
  phone.label = "_$!<Mobile>!$_";
  phone.value = "+1 555";
  Item im;
  im.property = kInstantMessage;
  im.service = "Jabber";
  im.user = "zoe@example.org";
  Item date;
  date.property = kDate;
  date.label = "_$!<Anniversary>!$_";
  date.hasDate = true;
  date.date = -86400;
  Item address;
  address.property = kAddress;
  address.label = "_$!<Home>!$_";
  address.street = "Hauptstraße 1";
  address.city = "München";
  address.postalCode = "80331";
  p.items = {phone, im, date, address};
  book.people.push_back(p);
  book.people.push_back(Person{});  // outside the range below

  prop batch = RoundTrip(ContactBatch(book, 0, 1));
  ASSERT_TRUE(batch.isNonEmptyDict());
  EXPECT_EQ(5u, batch._value->dict->size());
  const prop& person = At(batch, L"17");
  EXPECT_EQ("Zoë", Text(At(person, L"first name")));
  EXPECT_EQ("Smith", Text(At(person, L"last name")));
  EXPECT_EQ("01-02-2001 00:00:00", At(person, L"birthday").toDate());
  EXPECT_TRUE(At(person, L"notes") == prop::Null);  // empty texts are left out
  EXPECT_EQ("+1 555", Text(At(At(batch, L"3/17/0"), L"value")));
  EXPECT_EQ("_$!<Mobile>!$_", Text(At(At(batch, L"3/17/0"), L"label")));
  EXPECT_EQ("Jabber", Text(At(At(batch, L"13/17/1"), L"service")));
  EXPECT_EQ("zoe@example.org", Text(At(At(batch, L"13/17/1"), L"user")));
  EXPECT_TRUE(At(At(batch, L"13/17/1"), L"label") == prop::Null);
  EXPECT_EQ("12-31-2000 00:00:00", At(At(batch, L"12/17/2"), L"value").toDate());
  const prop& adr = At(batch, L"5/17/3");
  EXPECT_EQ("_$!<Home>!$_", Text(At(adr, L"type")));
  EXPECT_EQ("Hauptstraße 1", Text(At(adr, L"street")));
  EXPECT_EQ("München", Text(At(adr, L"city")));
  EXPECT_EQ("80331", Text(At(adr, L"postal code")));
  // A person with nothing to say is still a non-empty record.
  EXPECT_TRUE(RoundTrip(PersonRecord(Person{})).isNonEmptyDict());
}

TEST(Records, NoteBatchCarriesSubjectContentAndDate) {
  setlocale(LC_ALL, "C.UTF-8");
  NoteStore store;
  store.notes = {{"One", "ascii", 10.0}, {"Two", "naïve 😀", -5.0}, {"Three", "", 0}};
  prop batch = RoundTrip(NoteBatch(store, 1, 10));
  ASSERT_EQ(2u, batch._value->dict->size());
  const prop& two = At(batch, L"1");
  EXPECT_EQ("Two", Text(At(two, L"subject")));
  EXPECT_TRUE(At(two, L"content").hasTag(prop::object::TagUnicode));
  EXPECT_EQ("naïve 😀", Text(At(two, L"content")));
  ASSERT_TRUE(At(two, L"dateModified").hasTag(prop::object::TagDate));
  EXPECT_DOUBLE_EQ(-5.0, At(two, L"dateModified")._value->date);
  EXPECT_EQ("", Text(At(At(batch, L"2"), L"content")));
}

TEST(Generators, SameSeedSameBookAndTheAdvertisedShape) {
  AddressBook a = GenerateAddressBook(200, 7), b = GenerateAddressBook(200, 7);
  ASSERT_EQ(200u, a.people.size());
  bool nonAscii = false, emoji = false, differs = false;
  AddressBook c = GenerateAddressBook(200, 8);
  for (size_t i = 0; i < a.people.size(); ++i) {
    const Person& p = a.people[i];
    EXPECT_EQ(b.people[i].firstName + b.people[i].items[0].value, p.firstName + p.items[0].value);
    differs = differs || c.people[i].firstName + c.people[i].lastName != p.firstName + p.lastName;
    ASSERT_EQ(4u, p.items.size());
    for (int k = 0; k < 3; ++k)
      EXPECT_TRUE(p.items[k].property == kPhone || p.items[k].property == kEmail);
    EXPECT_EQ(kAddress, p.items[3].property);
    for (unsigned char ch : p.firstName + p.lastName) nonAscii = nonAscii || ch >= 0x80;
    emoji = emoji || p.nickname.find("\xF0\x9F") != std::string::npos;
  }
  EXPECT_TRUE(nonAscii);
  EXPECT_TRUE(emoji);
  EXPECT_TRUE(differs);
  NoteStore n = GenerateNotes(50, 3);
  ASSERT_EQ(50u, n.notes.size());
  EXPECT_EQ(GenerateNotes(50, 3).notes[49].content, n.notes[49].content);
}
