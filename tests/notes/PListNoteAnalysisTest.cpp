// PListNoteAnalysis on hand-made replies: results, the walk, the record's texts and date.
#include "veldrake/PListNoteAnalysis.h"

#include <clocale>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "QX/Notes.h"
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

// What one callback saw; texts copied, since the record dies after the call.
struct Seen {
  bool hasSubject = false, hasContent = false;
  std::string subject, content;
  int64_t date = 0;
  int8_t flag = 0;
  bool reservedTextNull = true;
};

std::vector<Seen> gSeen;
int gStopAt = -1;      // 0-based call that returns -1
int gOtherResult = 0;  // what every other call returns

// The callback as a host declares it; the record is a QX::Notes.
int Record(void* record) {
  const QX::Notes* note = static_cast<const QX::Notes*>(record);
  Seen s;
  s.hasSubject = note->subject != nullptr;
  s.hasContent = note->content != nullptr;
  if (s.hasSubject) s.subject = note->subject;
  if (s.hasContent) s.content = note->content;
  s.date = note->dateModified;
  s.flag = note->reservedFlag;
  s.reservedTextNull = note->reservedText == nullptr;
  gSeen.push_back(s);
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
  static void SetUpTestSuite() { ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr); }
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

TEST_F(PListNoteAnalysisTest, UnreadableRepliesGoOnWithoutDelivering) {
  const std::string good = devicesim::WriteBinaryPlist(Reply(Dict({{"1", Note("a")}})));
  PListNoteAnalysis analysis;
  void* cb = reinterpret_cast<void*>(&Record);
  EXPECT_EQ(analysis.Analysis(nullptr, 100, cb), 0);
  std::string copy = good;
  EXPECT_EQ(analysis.Analysis(&copy[0], -1, cb), 0);
  EXPECT_EQ(analysis.Analysis(&copy[0], std::numeric_limits<int>::min(), cb), 0);
  EXPECT_EQ(Analyse(good.substr(0, 33)), 0);
  EXPECT_EQ(Analyse(good.substr(0, good.size() - 1)), 0);
  EXPECT_EQ(Analyse("this is no property list at all, not even close"), 0);
  EXPECT_TRUE(gSeen.empty());
  EXPECT_EQ(Analyse(good), 0);  // the same bytes whole do deliver
  EXPECT_EQ(gSeen.size(), 1u);
}

TEST_F(PListNoteAnalysisTest, RootDecidesTheStopResults) {
  EXPECT_EQ(Analyse(Null), -1);
  EXPECT_EQ(Analyse(Dict({{"1", Note("root dict")}})), -1);  // no array: unusable
  EXPECT_EQ(Analyse(Str("a string root")), -1);
  EXPECT_EQ(Analyse(Array({})), -2);
  EXPECT_EQ(Analyse(Array({Str("a"), Str("b")})), 1);
  EXPECT_EQ(Analyse(Array({Str("SDMessageProcessChanges"), Dict({})})), 1);
  EXPECT_EQ(Analyse(Array({Null, Null})), 1);
  EXPECT_TRUE(gSeen.empty());
}

TEST_F(PListNoteAnalysisTest, NoteWithoutKnownKeysHasInitialValues) {
  // A dictionary without note records still asks for more.
  EXPECT_EQ(Analyse(Reply(Dict({{"1", Str("x")}, {"2", Dict({})}, {"3", Null}}))), 0);
  EXPECT_TRUE(gSeen.empty());
  EXPECT_EQ(Analyse(Reply(Dict({{"1", Dict({{"title", Str("not a key of ours")}})}}))), 0);
  ASSERT_EQ(gSeen.size(), 1u);
  EXPECT_FALSE(gSeen[0].hasSubject);
  EXPECT_FALSE(gSeen[0].hasContent);
  EXPECT_EQ(gSeen[0].date, -1);
  EXPECT_EQ(gSeen[0].flag, 0);
  EXPECT_TRUE(gSeen[0].reservedTextNull);
}

TEST_F(PListNoteAnalysisTest, FieldsOfUnexpectedTagsOrNullAreSkipped) {
  const Value odd = Dict({{"content", Date(5.0)},
                          {"subject", Int(7)},
                          {"dateModified", Str("yesterday")},
                          {"Content", Str("case matters")}});
  const Value nulls = Dict({{"content", Null}, {"subject", Null}, {"dateModified", Null}});
  EXPECT_EQ(Analyse(Reply(Dict({{"1", odd}, {"2", nulls}}))), 0);
  ASSERT_EQ(gSeen.size(), 2u);
  for (const Seen& s : gSeen) {
    EXPECT_FALSE(s.hasSubject);
    EXPECT_FALSE(s.hasContent);
    EXPECT_EQ(s.date, -1);
  }
}

TEST_F(PListNoteAnalysisTest, DatesAreCutTowardZeroAndGuarded) {
  // 2^63-1 rounds to 2^63 as a double; NaN counts as no date.
  const double dates[] = {
      1.9,    -1.9,     0.0,       700000000.75, std::nan(""),          1e300,
      -1e300, HUGE_VAL, -HUGE_VAL, -0.5,         9223372036854775807.0, -9223372036854775808.0};
  const int64_t expected[] = {1,         -1,        0,         700000000, -1,        INT64_MAX,
                              INT64_MIN, INT64_MAX, INT64_MIN, 0,         INT64_MAX, INT64_MIN};
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

TEST_F(PListNoteAnalysisTest, TextsArriveAsNarrowUtf8CutAtNul) {
  // é as one unit, U+1F600 as a surrogate pair.
  const Value wide = Value::Utf16(u"caf\u00e9 \xD83D\xDE00 ok");
  const Value cut = Value::Utf16(std::u16string(u"ab\0cd", 5));
  const Value asciiCut = Value::Ascii(std::string("xy\0z", 4));
  EXPECT_EQ(Analyse(Reply(Dict({
                {"1", Dict({{"subject", Str("plain ascii")}, {"content", wide}})},
                {"2", Dict({{"subject", asciiCut}, {"content", cut}})},
                {"3", Dict({{"subject", Str("")}})},
            }))),
            0);
  ASSERT_EQ(gSeen.size(), 3u);
  EXPECT_EQ(gSeen[0].subject, "plain ascii");
  EXPECT_EQ(gSeen[0].content, "caf\xC3\xA9 \xF0\x9F\x98\x80 ok");
  EXPECT_EQ(gSeen[1].subject, "xy");
  EXPECT_EQ(gSeen[1].content, "ab");
  EXPECT_TRUE(gSeen[2].hasSubject);  // an empty text is a text, not an absent one
  EXPECT_EQ(gSeen[2].subject, "");
}

TEST_F(PListNoteAnalysisTest, NotesComeInKeyOrderFromEveryDictionaryOfTheArray) {
  const Value first = Dict({{"10", Note("ten")}, {"2", Note("two")}, {"1", Note("one")}});
  const Value second = Dict({{"b", Note("bee")}, {"B", Note("Bee")}});
  EXPECT_EQ(Analyse(Array({Null, first, Str("between"), second})), 0);
  std::vector<std::string> order;
  for (const Seen& s : gSeen) order.push_back(s.subject);
  EXPECT_EQ(order, (std::vector<std::string>{"one", "ten", "two", "Bee", "bee"}));
}

TEST_F(PListNoteAnalysisTest, OnlyMinusOneFromTheCallbackStops) {
  const Value three = Reply(Dict({{"1", Note("a")}, {"2", Note("b")}, {"3", Note("c")}}));
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
