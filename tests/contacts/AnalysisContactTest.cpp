// Record analysis: one person's dictionary into one QX::Contact, one item's into one
// PListField or PListAddress. The export tests check every accepted key on real books;
// these tables hold the rules a book does not show: skipped values, key precedence, ids.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ContactTestSupport.h"

namespace {

using namespace contacttest;
using namespace propbuild;

using Entries = std::vector<std::pair<std::string, prop>>;

TEST(AnalysisContact, ValuesOfTheWrongKindOrKeyAreSkipped) {
  PListContactAnalysis analysis;
  AnalyseContact(analysis, "3",
                 Dict({{"first name", Int(7)},
                       {"birthday", Str("01-01-2001")},
                       {"notes", Date(0)},
                       {"nickname", Str("")},
                       {"last name", prop::Null},
                       {"Suffix", Str("case differs")},
                       {"first name yom", Str("a prefix")},
                       {"job title", Wide("Chief")}}));
  ASSERT_EQ(analysis.contacts.size(), 1u);
  const SeenContact seen = CopyContact(*analysis.contacts[0]);
  const std::string n = "<null>";
  EXPECT_EQ(seen.names, (std::vector<std::string>{n, n, n, n, n, n, "", "Chief", n, n, n, n}));
}

TEST(AnalysisContact, IdIsTheNumberTheKeyBeginsWith) {
  PListContactAnalysis analysis;
  for (const char* key : {"42", "12abc", "abc", "", "-4"}) {
    AnalyseContact(analysis, key, Dict({{"x", Int(1)}}));
  }
  std::vector<int> ids;
  for (const QX::Contact* c : analysis.contacts) ids.push_back(c->id);
  EXPECT_EQ(ids, (std::vector<int>{42, 12, 0, 0, -4}));
}

// Both analyses run only under a batch walk that has set the current record.
TEST(AnalysisContact, NothingWithoutARecord) {
  PListContactAnalysis analysis;
  analysis.AnalysisContact(L"5");
  analysis.AnalysisContactField(L"1", L"3");
  EXPECT_TRUE(analysis.contacts.empty() && analysis.fields.empty() && analysis.addresses.empty());
}

// One item per row, under its property number, as "kind|label|value".
TEST(AnalysisContactField, KindLabelAndValueFollowTheirRules) {
  const struct {
    const char* property;
    Entries entries;
    const char* expected;
  } table[] = {
      {"3", {{"value", Str("v")}}, "1|<null>|v"},
      {"4", {{"value", Str("v")}}, "2|<null>|v"},
      {"22", {{"value", Str("v")}}, "3|<null>|v"},
      {"23", {{"value", Str("v")}}, "4|<null>|v"},
      {"13", {{"value", Str("v")}}, "5|<null>|v"},
      {"12", {{"value", Str("v")}}, "6|<null>|v"},
      {"46", {{"value", Str("v")}}, "7|<null>|v"},
      {"99", {{"value", Str("v")}}, "0|<null>|v"},
      {"x", {{"value", Str("v")}}, "0|<null>|v"},
      {"3x", {{"value", Str("v")}}, "1|<null>|v"},
      // "label" shuts "service" and "type" out, whatever it holds; "type" beats "service".
      {"13", {{"label", Str("L")}, {"service", Str("S")}, {"type", Str("T")}}, "5|L|<null>"},
      {"13", {{"service", Str("S")}, {"type", Str("T")}}, "5|T|<null>"},
      {"13", {{"service", Str("S")}}, "5|S|<null>"},
      {"13", {{"label", Int(1)}, {"service", Str("S")}, {"type", Str("T")}}, "5|<null>|<null>"},
      {"13", {{"label", prop::Null}, {"type", Str("T")}}, "5|<null>|<null>"},
      {"13", {{"service", Str("S")}, {"type", Date(0)}}, "5|S|<null>"},
      {"13", {{"Label", Str("L")}, {"type", Str("T")}}, "5|T|<null>"},
      // "value" beats "user", unless it holds nothing usable; dates for every kind.
      {"13", {{"service", Str("Jabber")}, {"user", Str("zoe")}}, "5|Jabber|zoe"},
      {"13", {{"user", Str("u")}, {"value", Str("v")}}, "5|<null>|v"},
      {"3", {{"user", Str("u")}, {"value", Int(5)}}, "1|<null>|u"},
      {"3", {{"value", Date(0)}, {"label", Date(0)}}, "1|<null>|01-01-2001 00:00:00"},
      {"99", {{"value", Date(0)}}, "0|<null>|01-01-2001 00:00:00"},
  };
  for (const auto& row : table) {
    PListContactAnalysis analysis;
    Entries entries = row.entries;
    entries.push_back({"zz", Int(0)});  // a record is never empty
    AnalyseField(analysis, "17", row.property, Dict(entries));
    ASSERT_EQ(analysis.fields.size(), 1u);
    EXPECT_TRUE(analysis.addresses.empty());
    EXPECT_EQ(analysis.fields[0]->id, 17);
    const QX::ContactField& f = *analysis.fields[0]->field;
    EXPECT_EQ(std::to_string(f.kind) + "|" + Text(f.label) + "|" + Text(f.value), row.expected)
        << row.property << " " << row.expected;
  }
}

TEST(AnalysisContactField, AddressTakesItsOwnKeysOnly) {
  PListContactAnalysis analysis;
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
  EXPECT_EQ(analysis.addresses[0]->id, 17);
  EXPECT_EQ(analysis.addresses[1]->id, 0);
  std::vector<std::string> seen;
  for (const PListAddress* entry : analysis.addresses) {
    const QX::ContactAddress& a = *entry->fields->address;
    seen.push_back(Text(entry->fields->type) + "|" + Text(a.street) + "|" + Text(a.city) + "|" +
                   Text(a.state) + "|" + Text(a.postalCode) + "|" + Text(a.country));
  }
  EXPECT_EQ(seen, (std::vector<std::string>{"home|1 Main St|Zürich|ZH|8000|CH",
                                            "<null>|<null>|<null>|<null>|<null>|<null>"}));
}

}  // namespace
