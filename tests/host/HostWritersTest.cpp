// The command-line host's own logic: vCard folding and escaping, the date texts, the
// copies of lent records, CSV cells, note file names, and the calling order of GetData
// and DisContectDeviceAndProtocol against a fake library.
#include <gtest/gtest.h>
#include <utf8.h>

#include <cstdint>
#include <set>
#include <sstream>

#include "CsvWriter.h"
#include "Dates.h"
#include "Exporter.h"
#include "NotesWriter.h"
#include "Phones.h"
#include "Progress.h"
#include "QX/Contact.h"
#include "QX/Notes.h"
#include "Records.h"
#include "VCardWriter.h"

namespace host {
namespace {

TEST(VCardFold, KeepsCrlfLinesWithin75OctetsWithoutSplittingUtf8) {
  // Two- and four-byte characters at every offset against the 75-octet boundary.
  for (const std::string unit : {"ä", "🎨", "ab"}) {
    std::string line = "NOTE:";
    for (int i = 0; i < 80; ++i) line += unit;
    std::istringstream folded(VCardWriter::Fold(line));
    std::string unfolded, physical;
    while (std::getline(folded, physical)) {
      ASSERT_EQ(physical.back(), '\r');
      physical.pop_back();
      EXPECT_LE(physical.size(), 75u);
      EXPECT_TRUE(utf8::is_valid(physical.begin(), physical.end())) << physical;
      unfolded += unfolded.empty() ? physical : physical.substr(1);
    }
    EXPECT_EQ(unfolded, line);
  }
  EXPECT_EQ(VCardWriter::Fold(std::string(75, 'x')), std::string(75, 'x') + "\r\n");
}

TEST(VCardEscape, EscapesSeparatorsAndLineBreaksAndDropsControls) {
  EXPECT_EQ(VCardWriter::Escape("a,b;c\\d\r\ne\nf\rg\x01h"), "a\\,b\\;c\\\\d\\ne\\nf\\ngh");
}

TEST(VCardWriter, LabelsBecomeTypesOrItemGroupsAndEmptyItemsAreLeftOut) {
  Contact c;
  c.companyName = "Acme; Inc";
  c.birthday = "05-17-1604 00:00:00";
  c.fields = {{QX::kFieldPhone, "_$!<Mobile>!$_", "1"},
              {QX::kFieldPhone, "Boat", "2"},
              {QX::kFieldEmail, "_$!<Work>!$_", "e@x"},
              {QX::kFieldOther, "Shoe size", "44"},
              {QX::kFieldPhone, "_$!<Home>!$_", std::nullopt},
              {QX::kFieldDate, "_$!<Anniversary>!$_", "06-20-2015 00:00:00"}};
  std::ostringstream three, four;
  VCardWriter(three, VCardWriter::kVCard3).Write(c);
  for (const char* lines :
       {"\r\nFN:Acme\\; Inc\r\nX-ABShowAs:COMPANY\r\n",
        "\r\nBDAY;X-APPLE-OMIT-YEAR=1604:1604-05-17\r\n", "\r\nTEL;TYPE=CELL:1\r\n",
        "\r\nitem1.TEL:2\r\nitem1.X-ABLabel:Boat\r\n", "\r\nEMAIL;TYPE=INTERNET,WORK:e@x\r\n",
        ".X-VELDRAKE-OTHER:44\r\n", ".X-ABDATE:2015-06-20\r\n"})
    EXPECT_NE(three.str().find(lines), std::string::npos) << lines;
  EXPECT_EQ(three.str().find("_$!<Home>!$_"), std::string::npos);
  VCardWriter(four, VCardWriter::kVCard4).Write(c);
  EXPECT_NE(four.str().find("\r\nTEL;TYPE=cell:1\r\n"), std::string::npos);
}

TEST(Dates, ReadTheDeviceFormOnlyAndPutNotesOnThe2001Reference) {
  ASSERT_TRUE(ParseDeviceDate("05-17-1980 13:14:15"));
  EXPECT_EQ(IsoDate(*ParseDeviceDate("05-17-1980 13:14:15")), "1980-05-17");
  for (const char* bad : {"1980-05-17", "13-01-2000 00:00:00", "05-17-1980", "05-17- 00:00:00",
                          "05-17-1980 00:00:00x", ""})
    EXPECT_FALSE(ParseDeviceDate(bad)) << bad;
  EXPECT_EQ(DeviceDateToIso("not a date"), "not a date");
  // The export tests compare the samples' dates with Python's; these are the far ends.
  EXPECT_EQ(NoteDateToIso(-2), "2000-12-31T23:59:58Z");
  EXPECT_FALSE(NoteDateToIso(-1));  // no date
  EXPECT_EQ(NoteDateToIso(INT64_MAX)->substr(0, 1), "+");
  EXPECT_EQ(NoteDateToIso(INT64_MIN)->substr(0, 1), "-");
}

TEST(Records, CopiesRepairInvalidUtf8AndKeepNullApart) {
  EXPECT_FALSE(CopyText(nullptr));
  EXPECT_EQ(*CopyText(""), "");
  EXPECT_EQ(*CopyText("a\xC3\x28z"), "a\xEF\xBF\xBD(z");

  QX::Contact record;
  record.id = 7;
  record.fields.push_back(nullptr);  // a null slot is skipped, not read
  const Contact copy = CopyContact(record);
  EXPECT_EQ(copy.id, 7);
  EXPECT_TRUE(copy.fields.empty());
  EXPECT_FALSE(copy.firstName);
}

TEST(CsvWriter, QuotesOnlyCellsThatNeedIt) {
  EXPECT_EQ(CsvWriter::Cell("plain text"), "plain text");
  EXPECT_EQ(CsvWriter::Cell("a,b"), "\"a,b\"");
  EXPECT_EQ(CsvWriter::Cell("say \"hi\"\nbye"), "\"say \"\"hi\"\"\nbye\"");
}

TEST(NotesWriter, FileNamesAreSafeAndShort) {
  NotesWriter writer(NotesWriter::kMarkdown);
  auto name = [&](Text subject, size_t index) {
    Note note;
    note.subject = subject;
    return writer.Stem(note, index);
  };
  EXPECT_EQ(name("../etc/passwd", 0), "_etc_passwd");
  EXPECT_EQ(name("a:b*c?\"<>|", 1), "a_b_c_____");
  EXPECT_EQ(name("Same", 2), "Same");
  EXPECT_EQ(name(std::nullopt, 4), "Note 5");
  EXPECT_EQ(name(" .. ", 5), "Note 6");
  std::string longest;
  for (int i = 0; i < 60; ++i) longest += "ä";  // 120 bytes
  const std::string cut = name(longest, 6);
  EXPECT_LE(cut.size(), 100u);
  EXPECT_TRUE(utf8::is_valid(cut.begin(), cut.end()));
}

TEST(Udid, OneRuleForEveryCommand) {
  const struct {
    const char* endpoint;
    bool malformed;
  } kCases[] = {
      {"usb", false},
      {"unix:/tmp/x", false},
      {"usb:00008110-000A1B2C3D4E5F60", false},
      {"usb:0123456789abcdef0123456789ABCDEF01234567", false},
      {"usb:1234", true},
      {"usb:", true},
      {"usb:00008110_000A1B2C3D4E5F60", true},
      {"usb:00008110-000A1B2C3D4E5F6G", true},
      {"usb:0123456789abcdef0123456789ABCDEF0123456", true},
  };
  for (const auto& c : kCases)
    EXPECT_EQ(!MalformedUdidMessage(c.endpoint).empty(), c.malformed) << c.endpoint;
}

TEST(Progress, ShowsWhatIsKnownWithRatesOverTheTimeTheyCover) {
  const struct {
    ProgressFigures figures;
    const char* line;
  } kCases[] = {
      {{0.2, -1, 0, 0}, "0.2 s"},
      {{0.2, 300, 0, 0}, "0.2 s  300 B received"},
      {{2.0, 3000000, 0, 0}, "2.0 s  3.0 MB received (1.5 MB/s)"},
      {{10.0, -1, 500, 0.1}, "10.0 s  500 contacts"},
      {{10.0, 1500, 500, 2.0}, "10.0 s  1.5 kB received (150 B/s)  500 contacts (250/s)"},
  };
  for (const auto& c : kCases) EXPECT_EQ(Progress::Line(c.figures, "contacts"), c.line);
}

// A stand-in for the library: delivers three records, then behaves as the library does
// when the host stops (contacts: the session closed; notes: done, the session open).
int g_result = kVeldrakeOk;
int g_disconnects = 0;
int FakeGetData(int kind, void*, void*, void* callback) {
  auto deliver = reinterpret_cast<VeldrakeRecordCallback>(callback);
  for (int i = 0; i < 3 && g_result == kVeldrakeOk; ++i) {
    QX::Contact contact;
    QX::Notes note;
    if (deliver(kind == kVeldrakeContacts ? static_cast<void*>(&contact) : &note) == kStopDelivery)
      return kind == kVeldrakeContacts ? kVeldrakeConversationFailed : kVeldrakeOk;
  }
  return g_result;
}
int FakeDisconnect() {
  ++g_disconnects;
  return kVeldrakeOk;
}

TEST(Exporter, ClosesAfterEveryResultButAFailedConversationAndTellsAStopFromAFailure) {
  const int platformCode = static_cast<int>(0xE8000065);
  const struct {
    VeldrakeDataKind kind;
    int result;
    size_t limit;
    size_t count;
    bool closed, failed;
    int status;
  } kCases[] = {
      {kVeldrakeContacts, kVeldrakeOk, 0, 3, true, false, kExitOk},
      {kVeldrakeContacts, kVeldrakeOk, 2, 2, false, false, kExitConversation},
      {kVeldrakeNotes, kVeldrakeOk, 2, 2, true, false, kExitOk},
      {kVeldrakeNotes, kVeldrakeNoDevice, 0, 0, true, true, kExitNoDevice},
      {kVeldrakeNotes, kVeldrakeServiceNotStarted, 0, 0, true, true, kExitService},
      {kVeldrakeNotes, platformCode, 0, 0, true, true, kExitPlatform},
      {kVeldrakeNotes, kVeldrakeConversationFailed, 0, 0, false, true, kExitConversation},
  };
  Library library;
  library.getData = FakeGetData;
  library.disconnect = FakeDisconnect;
  for (const auto& c : kCases) {
    g_result = c.result;
    g_disconnects = 0;
    ExportSettings settings;
    settings.kind = c.kind;
    settings.limit = c.limit;
    Exporter exporter(library, settings);
    const ExportOutcome outcome = exporter.Run(nullptr);
    SCOPED_TRACE(testing::Message() << "kind " << c.kind << " result " << c.result);
    EXPECT_EQ(exporter.count(), c.count);
    EXPECT_EQ(outcome.closed, c.closed);
    EXPECT_EQ(g_disconnects, c.closed ? 1 : 0);
    EXPECT_EQ(outcome.stoppedByHost, c.limit != 0);
    EXPECT_EQ(outcome.Failed(c.kind), c.failed);
    EXPECT_EQ(Exporter::ExitStatus(outcome.result), c.status);
  }
}

}  // namespace
}  // namespace host
