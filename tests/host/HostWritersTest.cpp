// The command-line host's own logic: vCard folding and escaping, the date texts, the
// copies of lent records, CSV cells, note file names, whole-or-nothing output files, and
// the calling order of GetData and DisContectDeviceAndProtocol against a fake library.
#include <gtest/gtest.h>
#include <unistd.h>
#include <utf8.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>

#include "CsvWriter.h"
#include "Dates.h"
#include "Exporter.h"
#include "NotesWriter.h"
#include "OutputFile.h"
#include "QX/Contact.h"
#include "QX/Notes.h"
#include "Records.h"
#include "VCardWriter.h"

namespace host {
namespace {

std::vector<std::string> PhysicalLines(const std::string& folded) {
  std::vector<std::string> lines;
  size_t pos = 0, end;
  while ((end = folded.find("\r\n", pos)) != std::string::npos) {
    lines.push_back(folded.substr(pos, end - pos));
    pos = end + 2;
  }
  EXPECT_EQ(pos, folded.size()) << "every line ends in CRLF";
  return lines;
}

TEST(VCardFold, KeepsLinesWithin75OctetsWithoutSplittingUtf8) {
  // Two- and four-byte characters at every offset against the 75-octet boundary.
  for (const std::string unit : {"ä", "🎨", "ab"}) {
    std::string line = "NOTE:";
    for (int i = 0; i < 80; ++i) line += unit;
    std::string unfolded;
    for (const std::string& physical : PhysicalLines(VCardWriter::Fold(line))) {
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
  c.fields = {{kPhone, "_$!<Mobile>!$_", "1"},
              {kPhone, "Boat", "2"},
              {kEmail, "_$!<Work>!$_", "e@x"},
              {kOther, "Shoe size", "44"},
              {kPhone, "_$!<Home>!$_", std::nullopt},
              {kDate, "_$!<Anniversary>!$_", "06-20-2015 00:00:00"}};
  std::ostringstream out;
  VCardWriter(out, VCardWriter::kVCard3).Write(c);
  const std::string card = out.str();
  EXPECT_NE(card.find("\r\nFN:Acme\\; Inc\r\nX-ABShowAs:COMPANY\r\n"), std::string::npos);
  EXPECT_NE(card.find("\r\nBDAY;X-APPLE-OMIT-YEAR=1604:1604-05-17\r\n"), std::string::npos);
  EXPECT_NE(card.find("\r\nTEL;TYPE=CELL:1\r\n"), std::string::npos);
  EXPECT_NE(card.find("\r\nitem1.TEL:2\r\nitem1.X-ABLabel:Boat\r\n"), std::string::npos);
  EXPECT_NE(card.find("\r\nEMAIL;TYPE=INTERNET,WORK:e@x\r\n"), std::string::npos);
  EXPECT_NE(card.find(".X-VELDRAKE-OTHER:44\r\n"), std::string::npos);
  EXPECT_NE(card.find(".X-ABDATE:2015-06-20\r\n"), std::string::npos);
  EXPECT_EQ(card.find("_$!<Home>!$_"), std::string::npos);

  std::ostringstream four;
  VCardWriter(four, VCardWriter::kVCard4).Write(c);
  EXPECT_NE(four.str().find("\r\nBDAY:--0517\r\n"), std::string::npos);
  EXPECT_NE(four.str().find("\r\nTEL;TYPE=cell:1\r\n"), std::string::npos);
}

TEST(Dates, ReadsTheDeviceFormAndRejectsOthers) {
  ASSERT_TRUE(ParseDeviceDate("05-17-1980 13:14:15"));
  EXPECT_EQ(IsoDate(*ParseDeviceDate("05-17-1980 13:14:15")), "1980-05-17");
  EXPECT_EQ(DeviceDateToIso("03-03-1604 00:00:00"), "--03-03");
  for (const char* bad : {"1980-05-17", "13-01-2000 00:00:00", "05-17-1980", "05-17- 00:00:00",
                          "05-17-1980 00:00:00x", ""})
    EXPECT_FALSE(ParseDeviceDate(bad)) << bad;
  EXPECT_EQ(DeviceDateToIso("not a date"), "not a date");
}

TEST(Dates, NoteSecondsAreOnThe2001ReferenceAndMinusOneIsNoDate) {
  EXPECT_EQ(NoteDateToIso(0), "2001-01-01T00:00:00Z");
  EXPECT_EQ(NoteDateToIso(-2), "2000-12-31T23:59:58Z");
  EXPECT_EQ(NoteDateToIso(702367628), "2023-04-05T06:07:08Z");  // from Python's datetime
  EXPECT_FALSE(NoteDateToIso(-1));
  // Any 64-bit value gives a text, far years with their sign.
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

TEST(NotesWriter, FileNamesAreSafeUniqueAndShort) {
  NotesWriter writer(NotesWriter::kMarkdown);
  std::set<std::string> used;
  auto name = [&](Text subject, size_t index) {
    Note note;
    note.subject = subject;
    return writer.FileName(note, index, &used);
  };
  EXPECT_EQ(name("../etc/passwd", 0), "_etc_passwd.md");
  EXPECT_EQ(name("a:b*c?\"<>|", 1), "a_b_c_____.md");
  EXPECT_EQ(name("Same", 2), "Same.md");
  EXPECT_EQ(name("Same", 3), "Same (2).md");
  EXPECT_EQ(name(std::nullopt, 4), "Note 5.md");
  EXPECT_EQ(name(" .. ", 5), "Note 6.md");
  std::string longest;
  for (int i = 0; i < 60; ++i) longest += "ä";  // 120 bytes
  const std::string cut = name(longest, 6);
  EXPECT_LE(cut.size(), 100u + 3);
  EXPECT_TRUE(utf8::is_valid(cut.begin(), cut.end()));
}

class OutputFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/veldrake-output-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    folder_ = pattern;
  }
  void TearDown() override {
    std::remove((folder_ + "/out.txt").c_str());
    EXPECT_EQ(rmdir(folder_.c_str()), 0) << "a temporary file was left behind";
  }
  std::string folder_;
};

TEST_F(OutputFileTest, CommitReplacesTheTargetWhole) {
  std::string error;
  OutputFile file;
  ASSERT_TRUE(file.Open(folder_ + "/out.txt", &error)) << error;
  ASSERT_TRUE(file.Commit("hello\n", &error)) << error;
  std::ifstream in(folder_ + "/out.txt");
  std::string line;
  std::getline(in, line);
  EXPECT_EQ(line, "hello");
}

TEST_F(OutputFileTest, AnUncommittedFileLeavesNothing) {
  std::string error;
  {
    OutputFile file;
    ASSERT_TRUE(file.Open(folder_ + "/out.txt", &error));
  }
  EXPECT_NE(access((folder_ + "/out.txt").c_str(), F_OK), 0);
  OutputFile missing;
  EXPECT_FALSE(missing.Open(folder_ + "/no/such/out.txt", &error));
  EXPECT_NE(error.find("No such file or directory"), std::string::npos) << error;
}

// A stand-in for the library: delivers three records, then behaves as the library does
// when the host stops (contacts: -1, session closed; notes: 0, session open).
int g_result = 0;
int g_disconnects = 0;
int FakeGetData(int kind, void*, void*, void* callback) {
  auto deliver = reinterpret_cast<int (*)(void*)>(callback);
  for (int i = 0; i < 3 && g_result == 0; ++i) {
    QX::Contact contact;
    QX::Notes note;
    if (deliver(kind == 1 ? static_cast<void*>(&contact) : static_cast<void*>(&note)) == -1)
      return kind == 1 ? -1 : 0;
  }
  return g_result;
}
int FakeDisconnect() {
  ++g_disconnects;
  return 0;
}

ExportOutcome RunFake(DataKind kind, int result, size_t limit, size_t* count) {
  Library library;
  library.getData = FakeGetData;
  library.disconnect = FakeDisconnect;
  g_result = result;
  g_disconnects = 0;
  Exporter exporter(library, kind, limit, false);
  ExportOutcome outcome = exporter.Run(nullptr);
  *count = exporter.count();
  EXPECT_EQ(outcome.closed, g_disconnects == 1);
  return outcome;
}

TEST(Exporter, ClosesAfterEveryResultButAFailedConversation) {
  size_t count;
  EXPECT_TRUE(RunFake(DataKind::kContacts, 0, 0, &count).closed);
  EXPECT_EQ(count, 3u);
  for (int startFailure : {-5, -6, static_cast<int>(0xE8000065)})
    EXPECT_TRUE(RunFake(DataKind::kNotes, startFailure, 0, &count).closed) << startFailure;
  EXPECT_FALSE(RunFake(DataKind::kNotes, -1, 0, &count).closed);
  EXPECT_EQ(Exporter::ExitStatus(static_cast<int>(0xE8000065)), kExitPlatform);
}

TEST(Exporter, AStoppedContactExportIsClosedByTheLibraryAStoppedNoteExportIsNot) {
  size_t count;
  ExportOutcome contacts = RunFake(DataKind::kContacts, 0, 2, &count);
  EXPECT_EQ(count, 2u);
  EXPECT_TRUE(contacts.stoppedByHost);
  EXPECT_FALSE(contacts.closed);
  ExportOutcome notes = RunFake(DataKind::kNotes, 0, 2, &count);
  EXPECT_EQ(count, 2u);
  EXPECT_TRUE(notes.stoppedByHost);
  EXPECT_TRUE(notes.closed);
}

}  // namespace
}  // namespace host
