// The reader on well-formed lists built byte by byte, including what common writers never
// produce: wide integers, UIDs, unusual widths, unassigned markers.
#include <gtest/gtest.h>

#include <cmath>

#include "ListBytes.h"

namespace {

using listbytes::Assemble;
using listbytes::BE;
using listbytes::Bytes;
using listbytes::Decode;
using listbytes::Trailer;

// The 42-byte list whose root is true.
std::string SmallestList(const std::string& unusedTrailerBytes = std::string(6, '\0')) {
  return "bplist00" + Bytes({0x09, 0x08}) + Trailer(1, 1, 1, 0, 9, unusedTrailerBytes);
}

TEST(BPListContainer, SmallestListHasTrueAsRoot) {
  ASSERT_EQ(SmallestList().size(), 42u);
  EXPECT_TRUE(Decode(SmallestList()) == prop::True);
  EXPECT_TRUE(Decode(SmallestList("\xff\x01\x02\x03\x04\x05")) == prop::True);
}

TEST(BPListContainer, OpenChecksLengthAndHeader) {
  BPListReader reader;
  const std::string good = SmallestList();
  std::string wrongVersion = good;
  wrongVersion[7] = '1';
  EXPECT_FALSE(reader.open(wrongVersion.data(), wrongVersion.size()));
  std::string wrongMagic = good;
  wrongMagic[0] = 'B';
  EXPECT_FALSE(reader.open(wrongMagic.data(), wrongMagic.size()));
  EXPECT_FALSE(reader.open(good.data(), 33));
  EXPECT_FALSE(reader.open(nullptr, 0));
  // 34 bytes: the trailer is read from position 8. Its one-entry table lies at 8, the
  // trailer's own first byte (1), which points at 'p' (0x70), an unassigned marker.
  const std::string tiny = "bplist00" + Trailer(1, 1, 1, 0, 8, "");
  ASSERT_EQ(tiny.size(), 34u);
  ASSERT_TRUE(reader.open(tiny.data(), tiny.size()));
  EXPECT_EQ(reader._offsets, std::vector<unsigned long long>{1});
  EXPECT_TRUE(reader.getRootObject() == prop::Null);
}

TEST(BPListContainer, OffsetWidthsDecodeTheSameTable) {
  const std::vector<std::string> objects = {Bytes({0xA2, 1, 2}), Bytes({0x51, 'x'}),
                                            Bytes({0x10, 7})};
  for (unsigned width = 1; width <= 8; ++width) {
    prop root = Decode(Assemble(objects, width));
    ASSERT_TRUE(root.hasTag(0xA0)) << width;
    EXPECT_EQ((*root._value->array)[0].toUTF8String(), "x");
    EXPECT_EQ((*root._value->array)[1].toInteger(), 7);
  }
  // Width 0: every entry is 0, so the root is read at "bplist00" itself: 0x62 is a
  // UTF-16 string of two units, "pl" and "is".
  prop atZero = Decode(Assemble({Bytes({0x09})}, 0));
  ASSERT_TRUE(atZero.hasTag(0x60));
  EXPECT_EQ(atZero.toString(), std::wstring({0x706C, 0x6973}));
}

TEST(BPListContainer, ReferenceWidthsDecodeTheSameTree) {
  for (unsigned width = 1; width <= 8; ++width) {
    prop root = Decode(Assemble(
        {Bytes({0xA2}) + BE(1, width) + BE(2, width), Bytes({0x08}), Bytes({0x09})}, 1, width));
    ASSERT_TRUE(root.hasTag(0xA0)) << width;
    EXPECT_TRUE((*root._value->array)[0] == prop::False);
    EXPECT_TRUE((*root._value->array)[1] == prop::True);
  }
  // Width 0 reads no bytes: every reference is object 0.
  prop zero = Decode(Assemble({Bytes({0x51, 'z'}), Bytes({0xA2})}, 1, 0, 1));
  ASSERT_TRUE(zero.hasTag(0xA0));
  ASSERT_EQ(zero._value->array->size(), 2u);
  EXPECT_EQ((*zero._value->array)[1].toUTF8String(), "z");
}

TEST(BPListContainer, LifecycleOfOneReader) {
  BPListReader reader;
  EXPECT_TRUE(reader.getRootObject() == prop::Null);
  const std::string list = Assemble({Bytes({0xA1, 1}), Bytes({0x51, 'q'})});
  ASSERT_TRUE(reader.open(list.data(), list.size()));
  const prop first = reader.getRootObject();
  const prop second = reader.getRootObject();
  ASSERT_TRUE(second.hasTag(0xA0));
  EXPECT_FALSE(first == second);
  EXPECT_FALSE((*first._value->array)[0] == (*second._value->array)[0]);
  EXPECT_EQ((*second._value->array)[0].toUTF8String(), "q");
  const std::string other = SmallestList();
  ASSERT_TRUE(reader.open(other.data(), other.size()));
  EXPECT_TRUE(reader.getRootObject() == prop::True);
  EXPECT_EQ((*first._value->array)[0].toUTF8String(), "q");
  reader.close();
  EXPECT_TRUE(reader.getRootObject() == prop::Null);
  // No objects: nothing to be the root.
  const std::string empty = Assemble({});
  ASSERT_TRUE(reader.open(empty.data(), empty.size()));
  EXPECT_TRUE(reader.getRootObject() == prop::Null);
}

prop One(const std::string& object) {
  return Decode(Assemble({object}));
}

TEST(BPListObjects, IntegersFoldIntoSixtyFourBits) {
  EXPECT_EQ(One(Bytes({0x10, 0xFF})).toInteger(), 255);
  EXPECT_EQ(One(Bytes({0x11, 0x01, 0x02})).toInteger(), 0x102);
  EXPECT_EQ(One(Bytes({0x12, 0xFF, 0xFF, 0xFF, 0xFF})).toInteger(), 4294967295LL);
  EXPECT_EQ(One(Bytes({0x13}) + std::string(8, '\xFF')).toInteger(), -1);
  EXPECT_EQ(One(Bytes({0x14}) + BE(0, 8) + BE(0x8000000000000001ULL, 8)).toInteger(),
            static_cast<long long>(0x8000000000000001ULL));
  EXPECT_EQ(One(Bytes({0x14}) + BE(0xF0, 8) + BE(0x0F, 8)).toInteger(), 0xFF);
  EXPECT_EQ(One(Bytes({0x15}) + BE(1, 8) + BE(2, 8) + BE(4, 8) + BE(8, 8)).toInteger(), 15);
  std::string widest = Bytes({0x1F}) + std::string(32768, '\0');
  widest[widest.size() - 1] = 3;
  widest[1] = 0x40;
  EXPECT_EQ(One(widest).toInteger(), 0x4000000000000003LL);
}

TEST(BPListObjects, UidsTakeTwoToTheNBytes) {
  EXPECT_EQ(One(Bytes({0x80, 0x2A}))._value->uid, 42u);
  EXPECT_EQ(One(Bytes({0x81, 0x01, 0x00}))._value->uid, 256u);
  EXPECT_EQ(One(Bytes({0x83}) + BE(0x0102030405060708ULL, 8))._value->uid, 0x0102030405060708ULL);
  prop widest = One(Bytes({0x8F, 0x10, 0x63}) + std::string(32767, '\0') + "\x05");
  ASSERT_TRUE(widest.hasTag(0x80));
  EXPECT_EQ(widest._value->uid, 5u);
}

TEST(BPListObjects, RealsAndDates) {
  EXPECT_EQ(One(Bytes({0x22, 0x3F, 0x80, 0, 0}))._value->real, 1.0);
  EXPECT_EQ(One(Bytes({0x23, 0xC0, 0x04, 0, 0, 0, 0, 0, 0}))._value->real, -2.5);
  EXPECT_EQ(One(Bytes({0x33}) + BE(0, 8)).toDate(), "01-01-2001 00:00:00");
  prop nanDate = One(Bytes({0x33, 0x7F, 0xF8, 0, 0, 0, 0, 0, 0}));
  ASSERT_TRUE(nanDate.hasTag(0x30));
  EXPECT_TRUE(std::isnan(nanDate._value->date));
  EXPECT_FALSE(nanDate.toDate().empty());
}

TEST(BPListObjects, StringsAndDataWithCounts) {
  const std::string twenty = "abcdefghijklmnopqrst";
  EXPECT_EQ(One(Bytes({0x5F, 0x10, 0x14}) + twenty).toUTF8String(), twenty);
  EXPECT_EQ(One(Bytes({0x5E}) + twenty.substr(0, 14)).toUTF8String(), twenty.substr(0, 14));
  EXPECT_EQ(One(Bytes({0x53, 'a', 0, 0xC8})).toUTF8String(), std::string("a\0\xC8", 3));
  prop data = One(Bytes({0x4F, 0x11, 0x00, 0x10}) + std::string(16, '\x07'));
  ASSERT_TRUE(data.hasTag(0x40));
  EXPECT_EQ(*data._value->bytes, std::string(16, '\x07'));
  prop pair = One(Bytes({0x63, 0xD8, 0x3D, 0xDE, 0x00, 0x00, 0x00}));
  EXPECT_EQ(pair.toString(), std::wstring({0xD83D, 0xDE00, 0}));
}

TEST(BPListObjects, EmptyObjectsAndUnassignedMarkersConsumeOnlyTheMarker) {
  const int empties[] = {0x40, 0x50, 0x60, 0xA0, 0xD0};
  const int unassigned[] = {0x00, 0x01, 0x07, 0x0F, 0x70, 0x90, 0xB3, 0xC2, 0xE5, 0xF0, 0xFF};
  std::vector<std::pair<int, bool>> markers;  // marker, whether it makes an (empty) object
  for (int marker : empties) markers.push_back({marker, true});
  for (int marker : unassigned) markers.push_back({marker, false});
  for (const auto& [marker, object] : markers) {
    BPListReader reader;
    const std::string list = Assemble({Bytes({marker, 0x10, 0x10})});
    ASSERT_TRUE(reader.open(list.data(), list.size()));
    reader.setpos(8);
    const prop read = reader.readObject();
    EXPECT_TRUE(object ? read.hasTag(marker) : read == prop::Null) << marker;
    EXPECT_EQ(reader._start, 9) << marker;
  }
}

TEST(BPListObjects, DictionaryKeysAreWideAndTheLastEqualKeyWins) {
  // Keys a, b, a (the second "a" written as UTF-16), values 1, 2, 3.
  prop root = Decode(
      Assemble({Bytes({0xD3, 1, 2, 3, 4, 5, 6}), Bytes({0x51, 'a'}), Bytes({0x51, 'b'}),
                Bytes({0x61, 0, 'a'}), Bytes({0x10, 1}), Bytes({0x10, 2}), Bytes({0x10, 3})}));
  ASSERT_TRUE(root.hasTag(0xD0));
  const std::map<std::wstring, prop>& dict = *root._value->dict;
  ASSERT_EQ(dict.size(), 2u);
  EXPECT_EQ(dict.at(L"a").toInteger(), 3);
  EXPECT_EQ(dict.at(L"b").toInteger(), 2);
}

TEST(BPListObjects, SharedReferencesGiveSeparateBodies) {
  prop root = Decode(Assemble({Bytes({0xA3, 1, 1, 2}), Bytes({0x52, 'h', 'i'}), Bytes({0x00})}));
  ASSERT_TRUE(root.hasTag(0xA0));
  const std::vector<prop>& items = *root._value->array;
  EXPECT_FALSE(items[0] == items[1]);
  EXPECT_EQ(items[1].toUTF8String(), "hi");
  EXPECT_TRUE(items[2] == prop::Null);
}

}  // namespace
