// Analysis reads a reply's records from its bytes without building the tree; the records
// must be exactly those the walk over the decoded tree gives through the record analyses,
// and the reader's check must refuse exactly the lists the decoder refuses.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../plist/ListBytes.h"
#include "BPListReader/BPListReader.h"
#include "ContactTestSupport.h"
#include "QX/ContactAddressFields.h"
#include "QX/ContactField.h"
#include "devicesim/AddressBook.h"
#include "devicesim/Device.h"
#include "devicesim/Records.h"

namespace {

using namespace contacttest;
using listbytes::Assemble;
using listbytes::Bytes;

// The walk over the decoded tree, each record through `pTemp` to its analysis.
void AnalyseTree(PListContactAnalysis& analysis, const std::string& bytes) {
  BPListReader reader;
  ASSERT_TRUE(reader.open(bytes.data(), bytes.size()));
  const prop root = reader.getRootObject();
  if (!root.hasTag(prop::object::TagArray)) return;
  for (const prop& element : *root._value->array) {
    if (!element.isNonEmptyDict()) continue;
    for (const auto& entry : *element._value->dict) {
      if (!entry.second.isNonEmptyDict()) continue;
      const std::wstring& key = entry.first;
      prop record = entry.second;
      const size_t first = key.find(L'/');
      const size_t last = key.rfind(L'/');
      pTemp = &record;
      if (first == std::wstring::npos) {
        analysis.AnalysisContact(key);
      } else if (last > first) {
        analysis.AnalysisContactField(key.substr(first + 1, last - first - 1),
                                      key.substr(0, first));
      }
      pTemp = nullptr;
    }
  }
}

std::string Dump(const PListContactAnalysis& analysis) {
  std::ostringstream out;
  for (const QX::Contact* c : analysis.contacts) {
    out << "contact " << c->id;
    for (const char* text :
         {c->firstName, c->firstNameYomi, c->middleName, c->lastName, c->lastNameYomi, c->suffix,
          c->nickname, c->jobTitle, c->department, c->companyName, c->notes, c->birthday})
      out << " [" << Text(text) << "]";
    out << "\n";
  }
  for (const PListField* f : analysis.fields) {
    out << "field " << f->id << " " << f->field->kind << " [" << Text(f->field->label) << "] ["
        << Text(f->field->value) << "]\n";
  }
  for (const PListAddress* a : analysis.addresses) {
    const QX::ContactAddress& at = *a->fields->address;
    out << "address " << a->id << " [" << Text(a->fields->type) << "]";
    for (const char* text : {at.street, at.city, at.state, at.postalCode, at.country})
      out << " [" << Text(text) << "]";
    out << "\n";
  }
  return out.str();
}

class ReplyWalkTest : public Utf8Test {
 protected:
  // Both walks over one reply; returns the dump of the records the bytes gave.
  std::string ExpectSameRecords(const std::string& bytes) {
    PListContactAnalysis byBytes;
    PListContactAnalysis byTree;
    std::vector<char> copy(bytes.begin(), bytes.end());
    byBytes.Analysis(copy.data(), static_cast<int>(copy.size()));
    AnalyseTree(byTree, bytes);
    const std::string dump = Dump(byBytes);
    EXPECT_EQ(dump, Dump(byTree));
    return dump;
  }
};

// A string object's marker and count, the count as an integer object from 15 on.
std::string Marker(int kind, size_t count) {
  if (count < 15) return std::string(1, static_cast<char>(kind | count));
  return Bytes({kind | 0x0F, 0x10, static_cast<int>(count)});
}
std::string Ascii(const std::string& text) {
  return Marker(0x50, text.size()) + text;
}
std::string Utf16(const std::u16string& text) {
  std::string out = Marker(0x60, text.size());
  for (char16_t unit : text) out += listbytes::BE(unit, 2);
  return out;
}

bool IsNullMarker(unsigned char marker) {
  const unsigned kind = marker & 0xF0;
  return (kind == 0x00 && marker != 0x08 && marker != 0x09) || kind == 0x70 || kind == 0x90 ||
         kind == 0xB0 || kind == 0xC0 || kind >= 0xE0;
}

TEST_F(ReplyWalkTest, GeneratedBookGivesTheRecordsOfTheTreeWalk) {
  const devicesim::AddressBook book = devicesim::GenerateAddressBook(250, 7);
  for (size_t begin = 0; begin < 250; begin += 100) {
    const prop batch = devicesim::ContactBatch(book, begin, begin + 100);
    const std::string dump =
        ExpectSameRecords(devicesim::BatchReply("com.apple.Contacts", batch, begin + 100 < 250));
    EXPECT_NE(dump.find("contact "), std::string::npos);
    EXPECT_NE(dump.find("field "), std::string::npos);
    EXPECT_NE(dump.find("address "), std::string::npos);
  }
}

TEST_F(ReplyWalkTest, KeysOutOfOrderAndRepeatedReadAsInADecodedDictionary) {
  // 0: root [1, 2]; 1: outer dictionary "9", "3/9/0", "9", "5/9/1" (the second "9"
  // wins); records: 3 person, 4 field, 5 person, 6 address; strings and a date after.
  const std::vector<std::string> objects = {
      Bytes({0xA2, 1, 2}),
      Bytes({0xD4, 7, 8, 7, 9, 3, 4, 5, 6}),
      Ascii("SDMessageProcessChanges"),
      Bytes({0xD2, 10, 11, 12, 13}),                  // last name, first name
      Bytes({0xD4, 14, 15, 14, 16, 17, 18, 19, 25}),  // value, label, value, type
      Bytes({0xD1, 11, 20}),
      Bytes({0xD3, 16, 21, 15, 22, 23, 24}),  // type, street, label
      Ascii("9"),
      Utf16(u"3/9/0"),
      Ascii("5/9/1"),
      Ascii("last name"),
      Utf16(u"first name"),
      Ascii("Zed"),
      Utf16(u"\u00C9mile \U0001F600"),
      Ascii("value"),
      Ascii("label"),
      Ascii("type"),
      Ascii("first value"),
      Utf16(u"Home"),
      Bytes({0x33, 0x41, 0xA0, 0, 0, 0, 0, 0, 0}),  // a date: the later "value" wins
      Ascii("Bea"),
      Utf16(u"street"),
      Utf16(u"Work"),
      Utf16(u"1 Main St"),
      Bytes({0x10, 5}),  // an integer under "label": no text
  };
  std::vector<std::string> withNull = objects;
  withNull.push_back(Bytes({0x00}));
  const std::string dump = ExpectSameRecords(Assemble(withNull));
  EXPECT_NE(dump.find("contact 9 [Bea]"), std::string::npos);  // the second "9"
  EXPECT_EQ(dump.find("Zed"), std::string::npos);
}

TEST_F(ReplyWalkTest, CheckRefusesExactlyWhatTheDecoderRefuses) {
  const char* dir = std::getenv("VELDRAKE_SOURCE_DIR");
  ASSERT_NE(dir, nullptr);
  std::vector<std::string> lists;
  for (const auto& file :
       std::filesystem::directory_iterator(std::filesystem::path(dir) / "fuzz/corpus/bplist")) {
    std::ifstream in(file.path(), std::ios::binary);
    lists.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  ASSERT_GT(lists.size(), 10u);
  const devicesim::AddressBook book = devicesim::GenerateAddressBook(20, 3);
  const std::string reply =
      devicesim::BatchReply("com.apple.Contacts", devicesim::ContactBatch(book, 0, 20), false);
  // Every cut of a real reply that still opens: most break a reference or a count.
  for (size_t cut = 40; cut < reply.size(); cut += 97) {
    std::string broken = reply;
    broken[cut] = static_cast<char>(0xDF);
    lists.push_back(broken);
  }
  lists.push_back(Assemble({Bytes({0x00})}));  // a null root is no broken list
  size_t refused = 0;
  for (const std::string& list : lists) {
    BPListReader reader;
    if (!reader.open(list.data(), list.size())) continue;
    const bool checked = reader.checkRootObject();
    const prop root = reader.getRootObject();
    if (!checked) {
      EXPECT_TRUE(root == prop::Null);
      ++refused;
    } else if (root == prop::Null) {
      // Checked, and still no root: then the root object itself is the null value.
      ASSERT_LT(reader._topObject, reader._offsets.size());
      ASSERT_LT(reader._offsets[reader._topObject], list.size());
      EXPECT_TRUE(
          IsNullMarker(static_cast<unsigned char>(list[reader._offsets[reader._topObject]])));
    }
    // Whatever the list, the analysis stays within it and agrees with the tree walk.
    ExpectSameRecords(list);
  }
  EXPECT_GT(refused, 5u);
}

}  // namespace
