// The value model: identity, static values, conversions, init semantics, dictionary order.
#include <gtest/gtest.h>

#include <boost/weak_ptr.hpp>

#include <clocale>
#include <cmath>
#include <string>

#include "prop/prop.h"

namespace {

class PropTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr); }
};

TEST_F(PropTest, EqualityIsIdentityNotContent) {
  EXPECT_TRUE(prop() == prop::Null);
  const prop copy = prop::True;
  EXPECT_TRUE(copy == prop::True);
  EXPECT_FALSE(prop::True == prop::False);
  EXPECT_FALSE(prop(5LL) == prop(5LL));
  EXPECT_FALSE(prop::Null._value);
}

TEST_F(PropTest, ConstructorsSetTheirTags) {
  EXPECT_TRUE(prop(std::string("x")).hasTag(0x50));
  EXPECT_TRUE(prop(std::wstring(L"x")).hasTag(0x60));
  EXPECT_EQ(prop(-7LL).toInteger(), -7);
  EXPECT_TRUE(prop(1.5).hasTag(0x20));
  EXPECT_FALSE(prop::Null.hasTag(0x50));
}

TEST_F(PropTest, StringConversionsKeepEveryUnit) {
  EXPECT_EQ(prop(std::string("abc")).toString(), std::wstring({97, 98, 99}));
  EXPECT_EQ(prop(std::string()).toString(), std::wstring());
  const std::string withZero("a\0b", 3);
  EXPECT_EQ(prop(withZero).toUTF8String(), withZero);
  EXPECT_EQ(prop::fromAscii(std::string("\x7f\x01", 2)), std::wstring({0x7F, 0x01}));
}

TEST_F(PropTest, ToUtf8EncodesUtf16UnitsUnderAUtf8Locale) {
  EXPECT_EQ(prop::toUtf8(L""), "");
  EXPECT_EQ(prop::toUtf8(L"plain"), "plain");
  EXPECT_EQ(prop::toUtf8(std::wstring({0xE9, 0x20AC})), "\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(prop::toUtf8(std::wstring({0xD83D, 0xDE00})), "\xF0\x9F\x98\x80");
  EXPECT_EQ(prop::toUtf8(std::wstring({'a', 0xD83D})), "a\xEF\xBF\xBD");
  EXPECT_EQ(prop::toUtf8(std::wstring({0xDE00, 'b'})),
            "\xEF\xBF\xBD"
            "b");
  EXPECT_EQ(prop::toUtf8(std::wstring({0xD83D, 'c'})),
            "\xEF\xBF\xBD"
            "c");
  EXPECT_EQ(prop::toUtf8(std::wstring({'x', 0, 'y'})), "x");
  // Three bytes per unit at most: a string of only three-byte characters fits exactly.
  EXPECT_EQ(prop::toUtf8(std::wstring(50, 0xFFFD)).size(), 150u);
}

TEST_F(PropTest, ToDateDropsTheFractionTowardTheReferenceInstant) {
  const struct {
    double date;
    const char* text;
  } cases[] = {{0.0, "01-01-2001 00:00:00"},          {1.9, "01-01-2001 00:00:01"},
               {-0.5, "01-01-2001 00:00:00"},         {-1.5, "12-31-2000 23:59:59"},
               {-978307200.0, "01-01-1970 00:00:00"}, {-978307201.0, "12-31-1969 23:59:59"},
               {-3124224000.0, "01-01-1902 00:00:00"}};
  for (const auto& c : cases) EXPECT_EQ(prop::createDate(c.date).toDate(), c.text) << c.date;
  // Dates a device cannot mean still give text.
  EXPECT_FALSE(prop::createDate(std::nan("")).toDate().empty());
  EXPECT_FALSE(prop::createDate(1e300).toDate().empty());
  EXPECT_FALSE(prop::createDate(-1e300).toDate().empty());
}

TEST_F(PropTest, InitGivesOnlyThisHandleANewBodyAndReleasesTheOld) {
  prop first(std::string("old"));
  const prop earlier = first;
  first.initDict()[L"k"] = prop::True;
  EXPECT_TRUE(earlier.hasTag(0x50));
  EXPECT_EQ(earlier.toUTF8String(), "old");
  EXPECT_TRUE(first.hasTag(0xD0));

  boost::weak_ptr<prop::object> dict = first._value;
  first.initArray().push_back(prop::False);
  EXPECT_TRUE(dict.expired());
  boost::weak_ptr<prop::object> array = first._value;
  first.initData() = "bytes";
  EXPECT_TRUE(array.expired());
  EXPECT_EQ(*first._value->bytes, "bytes");
  first.initUID(42);
  EXPECT_EQ(first._value->uid, 42u);
}

TEST_F(PropTest, DictionaryIteratesInWideStringOrderAndKeepsTheLastValue) {
  prop d;
  std::map<std::wstring, prop>& m = d.initDict();
  for (const wchar_t* key : {L"b", L"a", L"ab", L"first name yomi", L"first name", L"Z"})
    m[key] = prop::True;
  m[L"a"] = prop::False;
  std::wstring order;
  for (const auto& entry : m) order += entry.first + L"|";
  EXPECT_EQ(order, L"Z|a|ab|b|first name|first name yomi|");
  EXPECT_TRUE(m[L"a"] == prop::False);
}

}  // namespace
