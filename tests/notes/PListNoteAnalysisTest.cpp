// PListNoteAnalysis on hand-made replies: results, the walk, the record's texts and date.
#include "PListNoteAnalysis.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "QX/Notes.h"
#include "RecordCopy.h"
#include "ValueBuild.h"
#include "devicesim/BPListWriter.h"

// The host reads the record directly: order and widths are fixed.
static_assert(std::is_standard_layout<QX::Notes>::value, "host reads the record as a C struct");
static_assert(offsetof(QX::Notes, reservedFlag) == 0 && sizeof(int8_t) == 1, "reservedFlag");
static_assert(offsetof(QX::Notes, subject) == 8, "subject");
static_assert(offsetof(QX::Notes, dateModified) == 16, "dateModified");
static_assert(sizeof(QX::Notes::dateModified) == 8, "dateModified is 64-bit");
static_assert(offsetof(QX::Notes, content) == 24, "content");
static_assert(offsetof(QX::Notes, reservedText) == 32, "reservedText");
static_assert(sizeof(QX::Notes) == 40, "no trailing members");

namespace {

using recordcopy::SeenNote;

std::vector<SeenNote> gSeen;
int gStopAt = -1;      // 0-based call that returns -1
int gOtherResult = 0;  // what every other call returns

// The callback as a host declares it; the record is a QX::Notes.
int Record(void* record) {
  gSeen.push_back(recordcopy::CopyNote(*static_cast<const QX::Notes*>(record)));
  return static_cast<int>(gSeen.size()) - 1 == gStopAt ? -1 : gOtherResult;
}

using namespace valuebuild;

Value Note(const std::string& subject) {
  return Dict({{"subject", Str(subject)}});
}

// A reply shaped like the device's: name, data class, the batch, more.
Value Reply(Value batch) {
  return Array({Str("SDMessageProcessChanges"), Str("com.apple.Notes"), batch, False});
}

class PListNoteAnalysisTest : public ::testing::Test {
 protected:
  void SetUp() override {
    gSeen.clear();
    gStopAt = -1;
    gOtherResult = 0;
  }
  int Analyse(const Value& root) { return Analyse(devicesim::WriteBinaryPlist(root)); }
  int Analyse(std::string bytes) {
    return PListNoteAnalysis().Analysis(&bytes[0], static_cast<int>(bytes.size()),
                                        reinterpret_cast<void*>(&Record));
  }
};

TEST_F(PListNoteAnalysisTest, ResultsTellTheConversationWhetherToGoOn) {
  const std::string good = devicesim::WriteBinaryPlist(Reply(Dict({{"1", Note("a")}})));
  std::string copy = good;
  void* cb = reinterpret_cast<void*>(&Record);
  EXPECT_EQ(PListNoteAnalysis().Analysis(nullptr, 100, cb), 0);
  EXPECT_EQ(PListNoteAnalysis().Analysis(&copy[0], -1, cb), 0);
  EXPECT_EQ(PListNoteAnalysis().Analysis(&copy[0], std::numeric_limits<int>::min(), cb), 0);
  const struct {
    std::string bytes;
    int result;
  } table[] = {
      {good.substr(0, 33), 0},
      {good.substr(0, good.size() - 1), 0},
      {"this is no property list at all, not even close", 0},
      {devicesim::WriteBinaryPlist(Null), -1},
      {devicesim::WriteBinaryPlist(Dict({{"1", Note("root dict")}})), -1},
      {devicesim::WriteBinaryPlist(Str("a string root")), -1},
      {devicesim::WriteBinaryPlist(Array({})), -2},
      {devicesim::WriteBinaryPlist(Array({Str("a"), Str("b")})), 1},
      {devicesim::WriteBinaryPlist(Array({Str("SDMessageProcessChanges"), Dict({})})), 1},
      {devicesim::WriteBinaryPlist(Array({Null, Null})), 1},
      // A dictionary without note records still asks for more.
      {devicesim::WriteBinaryPlist(Reply(Dict({{"1", Str("x")}, {"2", Dict({})}}))), 0},
  };
  for (const auto& row : table) EXPECT_EQ(Analyse(row.bytes), row.result);
  EXPECT_TRUE(gSeen.empty());
  EXPECT_EQ(Analyse(good), 0);  // the same bytes whole do deliver
  EXPECT_EQ(gSeen.size(), 1u);
}

TEST_F(PListNoteAnalysisTest, FieldsOfUnknownKeysOrUnexpectedTagsLeaveInitialValues) {
  Value odd = Dict({{"content", Date(5.0)},
                    {"subject", Int(7)},
                    {"dateModified", Str("yesterday")},
                    {"Content", Str("case matters")}});
  Value nulls = Dict({{"content", Null}, {"subject", Null}, {"dateModified", Null}});
  Value unknown = Dict({{"title", Str("not a key of ours")}});
  EXPECT_EQ(Analyse(Reply(Dict({{"1", odd}, {"2", nulls}, {"3", unknown}}))), 0);
  ASSERT_EQ(gSeen.size(), 3u);
  for (const SeenNote& s : gSeen) {
    EXPECT_EQ(s.subject, "<null>");
    EXPECT_EQ(s.content, "<null>");
    EXPECT_EQ(s.date, -1);
    EXPECT_EQ(s.flag, 0);
    EXPECT_TRUE(s.reservedTextNull);
  }
}

TEST_F(PListNoteAnalysisTest, DatesAreCutTowardZeroAndSaturateBeyondInt64) {
  // NaN counts as no date; a value no int64 holds takes the nearer end; every other value,
  // however far from 2001, is cut exactly.
  const double dates[] = {1.9,
                          -1.9,
                          0.0,
                          700000000.75,
                          std::nan(""),
                          1e300,
                          -1e300,
                          HUGE_VAL,
                          -HUGE_VAL,
                          -0.5,
                          9e15 + 2,
                          1e17,
                          9223372036854775807.0,
                          -9223372036854775808.0};
  const int64_t expected[] = {1,
                              -1,
                              0,
                              700000000,
                              -1,
                              INT64_MAX,
                              INT64_MIN,
                              INT64_MAX,
                              INT64_MIN,
                              0,
                              9000000000000002,
                              100000000000000000,
                              INT64_MAX,
                              INT64_MIN};
  const size_t count = sizeof dates / sizeof dates[0];
  std::vector<std::pair<std::string, Value>> notes;
  for (size_t i = 0; i < count; ++i) {
    notes.push_back(
        {std::string(1, static_cast<char>('a' + i)), Dict({{"dateModified", Date(dates[i])}})});
  }
  EXPECT_EQ(Analyse(Reply(Dict(notes))), 0);
  ASSERT_EQ(gSeen.size(), count);
  for (size_t i = 0; i < count; ++i) EXPECT_EQ(gSeen[i].date, expected[i]) << "date " << dates[i];
}

TEST_F(PListNoteAnalysisTest, NotesComeFromEveryDictionaryOfTheArray) {
  Value first = Dict({{"1", Note("one")}, {"2", Note("two")}});
  EXPECT_EQ(Analyse(Array({Null, first, Str("between"), Dict({{"b", Note("bee")}})})), 0);
  std::vector<std::string> order;
  for (const SeenNote& s : gSeen) order.push_back(s.subject);
  EXPECT_EQ(order, (std::vector<std::string>{"one", "two", "bee"}));
}

TEST_F(PListNoteAnalysisTest, OnlyMinusOneFromTheCallbackStops) {
  Value three = Reply(Dict({{"1", Note("a")}, {"2", Note("b")}, {"3", Note("c")}}));
  gStopAt = 1;
  EXPECT_EQ(Analyse(Array({Dict({{"1", Note("a")}, {"2", Note("b")}, {"3", Note("c")}}),
                           Dict({{"4", Note("d")}})})),
            -1);
  EXPECT_EQ(gSeen.size(), 2u);
  for (int other : {1, -2}) {
    SetUp();
    gOtherResult = other;
    EXPECT_EQ(Analyse(three), 0);
    EXPECT_EQ(gSeen.size(), 3u);
  }
}

}  // namespace
