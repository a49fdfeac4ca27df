// Sub-record analysis: one item dictionary into one PListField or PListAddress.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ContactTestSupport.h"

namespace {

using namespace contacttest;
using namespace propbuild;

class AnalysisContactFieldTest : public Utf8Test {
 protected:
  // The field made from `record` under property `property`, as "kind|label|value".
  std::string Field(const std::string& property, prop record) {
    AnalyseField(analysis, "17", property, record);
    EXPECT_TRUE(analysis.addresses.empty());
    const QX::ContactField& f = *analysis.fields.back()->field;
    return std::to_string(f.kind) + "|" + Text(f.label) + "|" + Text(f.value);
  }
  PListContactAnalysis analysis;
};

TEST_F(AnalysisContactFieldTest, PropertyNumberGivesTheKind) {
  const std::vector<std::pair<std::string, int>> table = {
      {"3", 1},  {"4", 2}, {"22", 3}, {"23", 4}, {"13", 5}, {"12", 6}, {"46", 7},
      {"99", 0}, {"0", 0}, {"-3", 0}, {"7", 0},  {"x", 0},  {"3x", 1},
  };
  for (const auto& row : table) {
    EXPECT_EQ(Field(row.first, Dict({{"value", Str("v")}, {"label", Str("l")}})),
              std::to_string(row.second) + "|l|v")
        << row.first;
  }
}

TEST_F(AnalysisContactFieldTest, LabelKeyShutsOutServiceAndType) {
  const std::vector<std::pair<std::vector<std::pair<std::string, prop>>, std::string>> table = {
      {{{"label", Str("L")}, {"service", Str("S")}, {"type", Str("T")}}, "L"},
      {{{"label", Str("L")}}, "L"},
      {{{"service", Str("S")}, {"type", Str("T")}}, "T"},
      {{{"type", Str("T")}}, "T"},
      {{{"service", Str("S")}}, "S"},
      {{}, "<null>"},
      {{{"label", Int(1)}, {"service", Str("S")}, {"type", Str("T")}}, "<null>"},
      {{{"label", prop::Null}, {"type", Str("T")}}, "<null>"},
      {{{"service", Str("S")}, {"type", Date(0)}}, "S"},
      {{{"Label", Str("L")}, {"type", Str("T")}}, "T"},
  };
  for (const auto& row : table) {
    auto entries = row.first;
    entries.push_back({"zz", Int(0)});  // a record is never empty
    AnalyseField(analysis, "1", "13", Dict(entries));
    EXPECT_EQ(Text(analysis.fields.back()->field->label), row.second);
  }
}

TEST_F(AnalysisContactFieldTest, ValueTakesUserThenValueAndDatesForEveryKind) {
  EXPECT_EQ(Field("13", Dict({{"service", Str("Jabber")}, {"user", Str("zoe")}})), "5|Jabber|zoe");
  EXPECT_EQ(Field("13", Dict({{"user", Str("u")}, {"value", Str("v")}})), "5|<null>|v");
  EXPECT_EQ(Field("3", Dict({{"user", Str("u")}, {"value", Int(5)}})), "1|<null>|u");
  EXPECT_EQ(Field("3", Dict({{"value", Str("+64 1")}, {"type", Str("mobile")}})), "1|mobile|+64 1");
  for (const char* property : {"3", "4", "22", "23", "13", "12", "46", "99"}) {
    const std::string got = Field(property, Dict({{"value", Date(0)}, {"label", Date(0)}}));
    EXPECT_EQ(got.substr(got.find('|')), "|<null>|01-01-2001 00:00:00") << property;
  }
}

TEST_F(AnalysisContactFieldTest, AddressTakesItsOwnKeysOnly) {
  AnalyseField(analysis, "17/0", "5",
               Dict({{"street", Str("1 Main St")},
                     {"city", Str("Zürich")},
                     {"state", Str("ZH")},
                     {"postal code", Str("8000")},
                     {"country", Str("CH")},
                     {"type", Str("home")},
                     {"label", Str("ignored")},
                     {"value", Str("ignored")}}));
  AnalyseField(analysis, "", "5", Dict({{"label", Str("x")}, {"City", Str("x")}}));
  ASSERT_EQ(analysis.addresses.size(), 2u);
  EXPECT_TRUE(analysis.fields.empty());
  const PListAddress& full = *analysis.addresses[0];
  EXPECT_EQ(full.id, 17);
  EXPECT_STREQ(full.fields->type, "home");
  const QX::ContactAddress& a = *full.fields->address;
  EXPECT_EQ(Text(a.street) + Text(a.city) + Text(a.state) + Text(a.postalCode) + Text(a.country),
            "1 Main StZürichZH8000CH");
  const PListAddress& empty = *analysis.addresses[1];
  EXPECT_EQ(empty.id, 0);
  EXPECT_EQ(empty.fields->type, nullptr);
  EXPECT_EQ(empty.fields->address->city, nullptr);
}

}  // namespace
