// Person analysis: one record dictionary into one QX::Contact.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ContactTestSupport.h"

namespace {

using namespace contacttest;
using namespace propbuild;

class AnalysisContactTest : public Utf8Test {
 protected:
  const QX::Contact& Only() {
    EXPECT_EQ(analysis.contacts.size(), 1u);
    return *analysis.contacts.back();
  }
  PListContactAnalysis analysis;
};

TEST_F(AnalysisContactTest, EveryKeyFillsItsOwnField) {
  AnalyseContact(analysis, "17",
                 Dict({{"first name", Str("Zoë")},
                       {"first name yomi", Str("ぞえ")},
                       {"middle name", Str("M")},
                       {"last name", Wide("Ng")},
                       {"last name yomi", Str("ん")},
                       {"suffix", Str("Jr.")},
                       {"nickname", Str("Zo")},
                       {"job title", Str("Chief")},
                       {"department", Str("R&D")},
                       {"company name", Str("Acme 😀")},
                       {"notes", Str("line1\nline2")},
                       {"birthday", Date(-1.5)}}));
  const SeenContact seen = Copy(Only());
  EXPECT_EQ(seen.id, 17);
  EXPECT_EQ(seen.names,
            (std::vector<std::string>{"Zoë", "ぞえ", "M", "Ng", "ん", "Jr.", "Zo", "Chief", "R&D",
                                      "Acme 😀", "line1\nline2", "12-31-2000 23:59:59"}));
  EXPECT_TRUE(Only().fields.empty() && Only().addresses.empty());
  EXPECT_EQ(Only().reservedText1, nullptr);
}

TEST_F(AnalysisContactTest, ValuesOfTheWrongKindAreSkipped) {
  AnalyseContact(analysis, "3",
                 Dict({{"first name", Int(7)},
                       {"birthday", Str("01-01-2001")},
                       {"notes", Date(0)},
                       {"nickname", Str("")},
                       {"last name", prop::Null},
                       {"Suffix", Str("case differs")},
                       {"first name yom", Str("a prefix")}}));
  const QX::Contact& c = Only();
  EXPECT_EQ(c.firstName, nullptr);
  EXPECT_EQ(c.birthday, nullptr);
  EXPECT_EQ(c.notes, nullptr);
  EXPECT_EQ(c.lastName, nullptr);
  EXPECT_EQ(c.suffix, nullptr);
  EXPECT_EQ(c.firstNameYomi, nullptr);
  ASSERT_NE(c.nickname, nullptr);
  EXPECT_STREQ(c.nickname, "");
  EXPECT_EQ(c.middleName, nullptr);
}

TEST_F(AnalysisContactTest, IdIsTheNumberTheKeyBeginsWith) {
  for (const char* key : {"42", "12abc", "abc", "", "-4"}) {
    AnalyseContact(analysis, key, Dict({{"x", Int(1)}}));
  }
  std::vector<int> ids;
  for (const QX::Contact* c : analysis.contacts) ids.push_back(c->id);
  EXPECT_EQ(ids, (std::vector<int>{42, 12, 0, 0, -4}));
  EXPECT_EQ(analysis.contacts[2]->firstName, nullptr);
}

// Both analyses run only under a batch walk that has set the current record.
TEST_F(AnalysisContactTest, NothingWithoutARecord) {
  analysis.AnalysisContact(L"5");
  analysis.AnalysisContactField(L"1", L"3");
  EXPECT_TRUE(analysis.contacts.empty() && analysis.fields.empty() && analysis.addresses.empty());
}

}  // namespace
