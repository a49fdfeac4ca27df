// Batch analysis on encoded replies: results, the end marker in the raw bytes, the walk
// and the split of keys.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ContactTestSupport.h"
#include "ValueBuild.h"
#include "devicesim/BPListWriter.h"

namespace {

using namespace contacttest;
using namespace valuebuild;

const std::string kName = "SDMessageProcessChanges";

class PListContactAnalysisTest : public ::testing::Test {
 protected:
  // Analyses `root` from an exact-size heap copy, so reads past the end are caught.
  int Analyse(const Value& root) { return AnalyseBytes(devicesim::WriteBinaryPlist(root)); }
  int AnalyseBytes(const std::string& bytes) {
    std::vector<char> copy(bytes.begin(), bytes.end());
    const int result = analysis.Analysis(copy.data(), static_cast<int>(copy.size()));
    EXPECT_EQ(pTemp, nullptr);
    return result;
  }
  PListContactAnalysis analysis;
};

Value Person(const std::string& first) {
  return Dict({{"first name", Str(first)}});
}
Value Phone(const std::string& value) {
  return Dict({{"value", Str(value)}});
}

// The end marker counts only as one-byte text ahead of any NUL, and only in a reply
// without an outer dictionary.
TEST_F(PListContactAnalysisTest, ResultTellsTheConversationWhetherToGoOn) {
  char junk[] = "not a property list";
  EXPECT_EQ(analysis.Analysis(nullptr, 10), 0);
  EXPECT_EQ(analysis.Analysis(junk, sizeof junk - 1), 0);
  EXPECT_EQ(analysis.Analysis(junk, -1), 0);
  // Unterminated bytes that end inside the name: the search stays within the reply.
  EXPECT_EQ(AnalyseBytes(kName.substr(0, 20)), 0);
  const struct {
    Value root;
    int result;
  } table[] = {
      {Null, -1},
      {Dict({{"1", Person("a")}}), -1},
      {Array({}), -2},
      {Array({Str(kName), Str("com.apple.Contacts"), Dict({}), False}), -3},
      {Array({Str(kName), Int(0)}), -3},
      {Array({Str("other"), Dict({}), Int(3)}), 0},
      {Array({Int(0), Str(kName)}), 0},  // the integer 0 brings a zero byte ahead of the name
      {Array({Wide(kName), Int(1)}), 0},
      {Array({Str(kName), Dict({{"x", Int(1)}})}), 0},
  };
  for (const auto& row : table) EXPECT_EQ(Analyse(row.root), row.result);
  EXPECT_TRUE(analysis.contacts.empty());
  EXPECT_EQ(Analyse(Array({Str(kName), Dict({{"4", Person("Ann")}})})), 0);
  EXPECT_EQ(analysis.contacts.size(), 1u);
}

TEST_F(PListContactAnalysisTest, KeysSplitOnTheirFirstAndLastSlash) {
  EXPECT_EQ(Analyse(Array({Dict({{"17", Person("p")},
                                 {"3/17", Phone("one slash")},
                                 {"3/17/0", Phone("a")},
                                 {"4/17/0/2", Phone("b")},
                                 {"22//0", Phone("c")},
                                 {"//0", Phone("d")},
                                 {"", Person("empty key")}})})),
            0);
  ASSERT_EQ(analysis.contacts.size(), 2u);
  EXPECT_EQ(analysis.contacts[0]->id, 0);  // "" sorts first
  EXPECT_STREQ(analysis.contacts[0]->firstName, "empty key");
  EXPECT_EQ(analysis.contacts[1]->id, 17);
  std::vector<std::string> fields;
  for (const PListField* f : analysis.fields) {
    fields.push_back(std::to_string(f->id) + ":" + std::to_string(f->field->kind) + ":" +
                     f->field->value);
  }
  EXPECT_EQ(fields, (std::vector<std::string>{"0:0:d", "0:3:c", "17:1:a", "17:2:b"}));
}

TEST_F(PListContactAnalysisTest, WalksOnlyNonEmptyDictionariesOfTheRootArray) {
  const Value nested = Array({Dict({{"1", Person("nested")}})});
  EXPECT_EQ(Analyse(Array({Str(kName), nested, Null, Dict({}),
                           Dict({{"2", Null},
                                 {"3", Dict({})},
                                 {"4", Str("x")},
                                 {"10", Person("ten")},
                                 {"9", Person("nine")}}),
                           Dict({{"10", Person("again")}})})),
            0);
  std::vector<std::string> names;
  for (const QX::Contact* c : analysis.contacts) names.push_back(c->firstName);
  EXPECT_EQ(names, (std::vector<std::string>{"ten", "nine", "again"}));
}

}  // namespace
