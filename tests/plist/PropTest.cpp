// The value model: identity, conversions, the date text, init semantics.
#include <gtest/gtest.h>

#include <boost/weak_ptr.hpp>

#include <cmath>
#include <limits>
#include <string>

#include "prop/prop.h"

namespace {

TEST(Prop, EqualityIsIdentityNotContent) {
  EXPECT_TRUE(prop() == prop::Null);
  const prop copy = prop::True;
  EXPECT_TRUE(copy == prop::True);
  EXPECT_FALSE(prop::True == prop::False);
  EXPECT_FALSE(prop(5LL) == prop(5LL));
}

TEST(Prop, StringConversionsKeepEveryUnit) {
  EXPECT_EQ(prop(std::string("abc")).toString(), std::wstring({97, 98, 99}));
  EXPECT_EQ(prop(std::string()).toString(), std::wstring());
  const std::string withZero("a\0b", 3);
  EXPECT_EQ(prop(withZero).toUTF8String(), withZero);
  EXPECT_EQ(prop::fromAscii(std::string("\x7f\x01", 2)), std::wstring({0x7F, 0x01}));
}

TEST(Prop, ToUtf8JoinsSurrogatesAndReplacesLoneOnes) {
  const struct {
    std::wstring wide;
    const char* utf8;
  } cases[] = {{L"", ""},
               {L"plain", "plain"},
               {{0xE9, 0x20AC}, "\xC3\xA9\xE2\x82\xAC"},
               {{0xD83D, 0xDE00}, "\xF0\x9F\x98\x80"},
               {{'a', 0xD83D}, "a\xEF\xBF\xBD"},
               {{0xDE00, 'z'}, "\xEF\xBF\xBDz"},
               {{0xD83D, 'q'}, "\xEF\xBF\xBDq"},
               {{'x', 0, 'y'}, "x"}};
  for (const auto& c : cases) EXPECT_EQ(prop::toUtf8(c.wide), c.utf8);
  // Three bytes per unit at most: a string of only three-byte characters fits exactly.
  EXPECT_EQ(prop::toUtf8(std::wstring(50, 0xFFFD)).size(), 150u);
}

// The date text of well-formed dates is checked against Python in DifferentialTest.
TEST(Prop, ToDateGivesTextForDatesADeviceCannotMean) {
  const double inf = std::numeric_limits<double>::infinity();
  const double max = std::numeric_limits<double>::max();
  for (double nonsense : {std::nan(""), inf, -inf, 1e300, -1e300, 1e17, -1e17, max, -max})
    EXPECT_FALSE(prop::createDate(nonsense).toDate().empty()) << nonsense;
}

TEST(Prop, InitGivesOnlyThisHandleANewBodyAndReleasesTheOld) {
  prop first(std::string("old"));
  const prop earlier = first;
  first.initDict()[L"k"] = prop::True;
  EXPECT_EQ(earlier.toUTF8String(), "old");
  EXPECT_TRUE(first.hasTag(prop::object::TagDict));
  boost::weak_ptr<prop::object> dict = first._value;
  first.initData() = "bytes";
  EXPECT_TRUE(dict.expired());
  EXPECT_EQ(*first._value->bytes, "bytes");
}

}  // namespace
