// What only a backup gives a contact (photo, groups, account, dates) through every writer:
// vCards read back by Python's vobject, the two import tables by Python's csv module, base64
// and the crop's digest against published values, and the account filter and the details
// callback against a fake backup library.
#include <gtest/gtest.h>
#include <stdio.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <functional>
#include <new>
#include <nlohmann/json.hpp>
#include <sstream>

#include "Accounts.h"
#include "BackgroundTask.h"
#include "ContactDocument.h"
#include "Dates.h"
#include "Exporter.h"
#include "GoogleCsvWriter.h"
#include "OutlookCsvWriter.h"
#include "Photos.h"
#include "QX/Contact.h"
#include "Records.h"
#include "TempFolder.h"
#include "VCardWriter.h"
#include "veldrake/BackupContacts.h"

namespace host {
namespace {

using Json = nlohmann::json;

// What Python reads from `text` (read_export.py MODE), as JSON.
Json ReadBack(const std::string& mode, const std::string& text) {
  TempFolder folder;
  const std::string file = folder.path() + "/export";
  std::ofstream(file, std::ios::binary) << text;
  const std::string command = "/usr/bin/python3 " VELDRAKE_SOURCE_DIR_DEFAULT
                              "/tests/host/read_export.py " +
                              mode + " " + file;
  FILE* pipe = ::popen(command.c_str(), "r");
  std::string out;
  char buffer[65536];
  for (size_t n; pipe && (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
    out.append(buffer, n);
  const int status = pipe ? ::pclose(pipe) : -1;
  EXPECT_EQ(status, 0) << command;
  return status == 0 ? Json::parse(out) : Json();
}

std::string Hex(const std::string& bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string out;
  for (char byte : bytes) {
    const unsigned c = static_cast<unsigned char>(byte);
    out += {kDigits[c >> 4], kDigits[c & 15]};
  }
  return out;
}

// Image bytes of `size` that are not all alike, so that a wrong offset shows.
std::string Bytes(size_t size, unsigned seed) {
  std::string out(size, '\0');
  for (size_t i = 0; i < size; ++i) out[i] = static_cast<char>((i * 131 + seed) % 251);
  return out;
}

Contact Person(const char* first, std::optional<Photo> photo, std::vector<std::string> groups,
               int64_t created, int64_t modified) {
  Contact c;
  c.firstName = first;
  c.photo = std::move(photo);
  c.groups = std::move(groups);
  c.created = created;
  c.modified = modified;
  return c;
}

TEST(Photos, Base64IsTheStandardAlphabetWithPadding) {
  const std::pair<const char*, const char*> kVectors[] = {{"", ""},
                                                          {"f", "Zg=="},
                                                          {"fo", "Zm8="},
                                                          {"foo", "Zm9v"},
                                                          {"foob", "Zm9vYg=="},
                                                          {"fooba", "Zm9vYmE="},
                                                          {"foobar", "Zm9vYmFy"},
                                                          {"\xff\xfe", "//4="}};
  for (const auto& v : kVectors) EXPECT_EQ(Base64(v.first), v.second) << v.first;
}

TEST(Photos, TheCropIsWrittenAsThePhoneWritesIt) {
  Photo photo{"image/png", "abc", true, 10, 20, 300};
  // The digest is MD5("abc"), 900150983cd24fb0d6963f7d28e17f72, in base64.
  EXPECT_EQ(CropRectangle(photo), "ABClipRect_1&10&20&300&300&kAFQmDzST7DWlj99KOF/cg==");
  EXPECT_EQ(PhotoExtension(photo), "png");
  photo.hasCrop = false;
  EXPECT_EQ(CropRectangle(photo), "");
}

TEST(Dates, UnixTimesAreIsoInUtc) {
  const std::pair<int64_t, const char*> kCases[] = {{0, "1970-01-01T00:00:00Z"},
                                                    {1700000000, "2023-11-14T22:13:20Z"},
                                                    {-1, "1969-12-31T23:59:59Z"},
                                                    {951782400, "2000-02-29T00:00:00Z"}};
  for (const auto& c : kCases) EXPECT_EQ(UnixTimeToIso(c.first), c.second) << c.first;
  EXPECT_FALSE(UnixTimeToIso(kUnknownDate));
  EXPECT_EQ(UnixTimeToIso(INT64_MAX)->substr(0, 1), "+");
}

TEST(Records, DetailsAreCopiedAndAPhotoOfNoKnownTypeIsLeftOut) {
  const unsigned char bytes[] = {0xFF, 0xD8, 0xFF, 0x00, 0x01};
  const char* groups[] = {"Friends", nullptr, "", "Bad \xC3\x28"};
  const struct {
    const char* mime;
    const unsigned char* data;
    uint64_t size;
    bool kept;
  } kPhotos[] = {{"image/jpeg", bytes, sizeof bytes, true}, {"image/heic", bytes, 1, true},
                 {"image/gif", bytes, sizeof bytes, false}, {nullptr, bytes, sizeof bytes, false},
                 {"image/png", nullptr, 4, false},          {"image/png", bytes, 0, false}};
  for (const auto& p : kPhotos) {
    const VeldrakeContactPhoto photo{p.data, p.size, p.mime, 1, 1, 2, 3};
    const VeldrakeContactDetails details{5, "iCloud", "icloud", groups, 4, 100, 200, &photo};
    Contact c;
    CopyDetails(details, &c);
    EXPECT_EQ(c.account, "iCloud");
    EXPECT_EQ(c.accountType, "icloud");
    EXPECT_EQ(c.groups, (std::vector<std::string>{"Friends", "Bad \xEF\xBF\xBD("}));
    EXPECT_EQ((std::pair<int64_t, int64_t>(c.created, c.modified)),
              (std::pair<int64_t, int64_t>(100, 200)));
    ASSERT_EQ(c.photo.has_value(), p.kept) << (p.mime ? p.mime : "null");
    if (!p.kept) continue;
    EXPECT_EQ(c.photo->data, std::string(reinterpret_cast<const char*>(bytes), p.size));
    EXPECT_EQ((std::vector<int32_t>{c.photo->cropX, c.photo->cropY, c.photo->cropWidth}),
              (std::vector<int32_t>{1, 2, 3}));
  }
}

TEST(Accounts, OneAccountByNameOrTypeAndTheOthersCounted) {
  auto person = [](Text account, Text type) {
    Contact c;
    c.account = account;
    c.accountType = type;
    return c;
  };
  const std::vector<Contact> people = {person("iCloud", "icloud"), person("iCloud", "icloud"),
                                       person("Work", "exchange"), person(std::nullopt, "local"),
                                       person(std::nullopt, std::nullopt)};
  const struct {
    const char* wanted;
    size_t admitted;
  } kCases[] = {{"", 5},         {"icloud", 2}, {"ICLOUD", 2}, {"work", 1},
                {"exchange", 1}, {"local", 1},  {"Google", 0}, {"iCloud ", 0}};
  for (const auto& c : kCases) {
    AccountFilter filter(c.wanted);
    for (const Contact& p : people) filter.Admit(p);
    EXPECT_EQ(filter.admitted(), c.admitted) << c.wanted;
    EXPECT_EQ(filter.Listing(), "the accounts are Work (1), iCloud (2), local (1)");
  }
  AccountFilter none("x");
  none.Admit(Contact());
  EXPECT_NE(none.Listing().find("no account is known"), std::string::npos);
}

// Cards with photos of each type and size around the fold, groups needing escapes, and
// every kind of date, as vobject reads them.
TEST(VCardWriter, PhotosGroupsAndDatesAreReadBackByVobject) {
  const std::vector<Contact> people = {
      Person("Ann", Photo{"image/jpeg", Bytes(40, 1), true, -22, 0, 344},
             {"Friends, close", "Work"}, 1000, 1700000000),
      Person("Bo", Photo{"image/png", Bytes(3000, 2), false, 0, 0, 0}, {"a;b\\c", "line\nbreak"},
             1700000000, kUnknownDate),
      Person("Cy", Photo{"image/heic", Bytes(1, 3), true, 0, 5, 7}, {}, kUnknownDate, kUnknownDate),
      Person("Di", std::nullopt, {"Solo"}, kUnknownDate, 0)};
  for (const VCardWriter::Version version : {VCardWriter::kVCard3, VCardWriter::kVCard4}) {
    const bool v4 = version == VCardWriter::kVCard4;
    std::ostringstream out;
    for (const Contact& c : people) VCardWriter(out, version).Write(c);
    std::istringstream lines(out.str());
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 76u) << line;
    const Json cards = ReadBack("vcard", out.str());
    ASSERT_EQ(cards.size(), people.size());
    for (size_t i = 0; i < people.size(); ++i) {
      const Contact& c = people[i];
      const Json& card = cards[i];
      SCOPED_TRACE(*c.firstName + (v4 ? " 4.0" : " 3.0"));
      EXPECT_EQ(card["categories"].get<std::vector<std::string>>(), c.groups);
      const std::optional<std::string> rev =
          UnixTimeToIso(c.modified != kUnknownDate ? c.modified : c.created);
      // 4.0's form is the same instant without the separators: 20231114T221320Z.
      std::string expected = rev.value_or("");
      if (v4)
        expected.erase(std::remove_if(expected.begin(), expected.end(),
                                      [](char ch) { return ch == '-' || ch == ':'; }),
                       expected.end());
      EXPECT_EQ(card["rev"].is_null() ? "" : card["rev"].get<std::string>(), expected);
      ASSERT_EQ(card["photo"].is_null(), !c.photo);
      if (!c.photo) continue;
      EXPECT_EQ(card["photo"]["hex"], Hex(c.photo->data));
      EXPECT_EQ(card["photo"]["type"], v4 ? c.photo->mimeType : PhotoTypeName(*c.photo));
      EXPECT_EQ(card["photo"]["crop"], CropRectangle(*c.photo));
    }
  }
}

// A document's vCards, whose pictures' lines are partly made on a second thread with the
// cards after them held back, against the same cards written one by one on this thread.
// People by letter: C a cropped JPEG, S a cropped one-byte PNG, U an uncropped PNG, n no
// photo and a long note (a few of them pass what is held back), - no photo.
TEST(VCardWriter, HeldBackCardsComeOutAsWrittenOneByOne) {
  const std::string kNotes(40, 'n');
  const std::string kSequences[] = {"",   "---",   "C",    "U",
                                    "S-", "-C-U-", "CCUU", "C" + kNotes + "U" + kNotes + "S"};
  auto person = [](char kind, unsigned i) {
    const bool crop = kind == 'C' || kind == 'S';
    const size_t size = kind == 'S' ? 1 : 4000 + i % 3;  // every base64 padding
    std::optional<Photo> photo;
    if (kind == 'C' || kind == 'S' || kind == 'U')
      photo = Photo{kind == 'C' ? "image/jpeg" : "image/png", Bytes(size, i), crop, 1, 2, 30};
    Contact c = Person("Ann", photo, {}, 1000, kUnknownDate);
    if (kind == 'n') c.notes = std::string(2000, 'x');
    return c;
  };
  for (const Format format : {Format::kVCard3, Format::kVCard4})
    for (const std::string& sequence : kSequences) {
      SCOPED_TRACE(sequence + (format == Format::kVCard4 ? " 4.0" : " 3.0"));
      const VCardWriter::Version version =
          format == Format::kVCard4 ? VCardWriter::kVCard4 : VCardWriter::kVCard3;
      std::ostringstream expected, out;
      std::string error;
      {
        ContactDocument document(out, format, false, nullptr);
        for (unsigned i = 0; i < sequence.size(); ++i) {
          const Contact c = person(sequence[i], i);
          VCardWriter(expected, version).Write(c);
          ASSERT_TRUE(document.Add(c, nullptr, &error)) << error;
        }
        ASSERT_TRUE(document.End(&error)) << error;
      }
      EXPECT_EQ(out.str(), expected.str());
    }
}

// The second thread's jobs run in turn, and what one throws reaches the waiting thread.
TEST(BackgroundTask, JobsRunInTurnAndTheirFailuresReachTheWaiter) {
  std::vector<int> done;  // before the task: its last job outlives the test's body
  BackgroundTask task;
  for (int i = 0; i < 3; ++i) task.Start([&done, i] { done.push_back(i); });
  task.Wait();
  EXPECT_EQ(done, (std::vector<int>{0, 1, 2}));
  task.Start([] { throw std::bad_alloc(); });
  EXPECT_THROW(task.Wait(), std::bad_alloc);
  EXPECT_NO_THROW(task.Wait());
  task.Start([&done] { done.push_back(3); });  // waited for by the destructor
}

// Google's and Outlook's tables as the csv module reads them: each cell where the
// importer looks for it.
TEST(ImportTables, EachValueIsInTheColumnItsImporterReads) {
  Contact c;
  c.firstName = "Ann";
  c.lastName = "Lee";
  c.companyName = "Acme, Inc";
  c.birthday = "05-17-1980 00:00:00";
  c.notes = "note";
  c.groups = {"Friends", "Work"};
  c.fields = {{QX::kFieldPhone, "_$!<Mobile>!$_", "111"},
              {QX::kFieldPhone, "_$!<Mobile>!$_", "222"},
              {QX::kFieldPhone, "_$!<WorkFAX>!$_", "333"},
              {QX::kFieldPhone, "Boat", "444"},
              {QX::kFieldPhone, "Car", "555"},
              {QX::kFieldEmail, "_$!<Work>!$_", "a@x"},
              {QX::kFieldDate, "_$!<Anniversary>!$_", "06-20-1604 00:00:00"},
              {QX::kFieldInstantMessage, "Skype", "ann.lee"}};
  c.addresses = {{"_$!<Home>!$_", "1 Main St\nFlat 2", "Dublin", std::nullopt, "D01", "Ireland"}};
  const std::map<std::string, std::string> kGoogle = {
      {"First Name", "Ann"},
      {"Organization Name", "Acme, Inc"},
      {"Birthday", "1980-05-17"},
      {"Labels", "* myContacts ::: Friends ::: Work"},
      {"Phone 1 - Label", "Mobile"},
      {"Phone 1 - Value", "111 ::: 222"},
      {"Phone 2 - Label", "Work Fax"},
      {"Phone 4 - Label", "Car"},
      {"E-mail 1 - Value", "a@x"},
      {"Event 1 - Value", "--06-20"},
      {"Address 1 - Label", "Home"},
      {"Address 1 - Street", "1 Main St\nFlat 2"},
      {"Address 1 - Formatted", "1 Main St\nFlat 2\nDublin D01\nIreland"},
      {"Custom Field 1 - Label", "Skype"},
      {"Custom Field 1 - Value", "ann.lee"}};
  const std::map<std::string, std::string> kOutlook = {
      {"First Name", "Ann"},
      {"Company", "Acme, Inc"},
      {"Birthday", "5/17/1980"},
      {"Mobile Phone", "111"},
      {"Other Phone", "444"},
      {"Business Fax", "333"},
      {"Callback", "555"},
      {"E-mail Address", "a@x"},
      {"E-mail Type", "SMTP"},
      {"Home Street", "1 Main St"},
      {"Home Street 2", "Flat 2"},
      {"Home City", "Dublin"},
      {"Categories", "Friends;Work"},
      {"Notes", "note\nMobile: 222\nAnniversary: --06-20\nSkype: ann.lee"}};
  const std::pair<std::function<void(std::ostream&)>, const std::map<std::string, std::string>*>
      kTables[] = {{[&](std::ostream& o) { GoogleCsvWriter::Write(o, {c}); }, &kGoogle},
                   {[&](std::ostream& o) { OutlookCsvWriter::Write(o, {c}); }, &kOutlook}};
  for (const auto& table : kTables) {
    std::ostringstream out;
    table.first(out);
    const Json rows = ReadBack("csv", out.str());
    ASSERT_EQ(rows.size(), 1u);
    for (const auto& cell : *table.second)
      EXPECT_EQ(rows[0].value(cell.first, std::string("(no column)")), cell.second) << cell.first;
  }
  std::ostringstream outlook;
  OutlookCsvWriter::Write(outlook, {});
  EXPECT_EQ(outlook.str().substr(0, 40), "Title,First Name,Middle Name,Last Name,S");
  EXPECT_EQ(OutlookCsvWriter::Header().size(), 92u);
}

// A stand-in for VeldrakeBackupGetContacts: each person of `g_people` with details.
std::vector<std::pair<const char*, const char*>> g_people;  // account, group
int FakeGetContacts(int, void*, void*, void*) {
  for (size_t i = 0; i < g_people.size(); ++i) {
    QX::Contact record;
    record.id = static_cast<int32_t>(i + 1);
    const char* groups[] = {g_people[i].second};
    const VeldrakeContactDetails details{record.id, g_people[i].first, "carddav", groups,
                                         1,         kUnknownDate,      7,         nullptr};
    if (Exporter::OnContact(&record, &details, nullptr) == kStopDelivery) return -1;
  }
  return 0;
}
int NoClose() {
  return 0;
}

TEST(Exporter, TheBackupsDetailsReachTheCopiesAndOnlyTheAccountsPeopleCount) {
  g_people = {{"A", "g1"}, {"B", "g2"}, {"A", "g3"}, {"A", "g4"}, {"B", "g5"}};
  const struct {
    const char* account;
    size_t limit;
    std::vector<std::string> groups;  // of the people kept
  } kCases[] = {{"", 0, {"g1", "g2", "g3", "g4", "g5"}},
                {"a", 0, {"g1", "g3", "g4"}},
                {"B", 0, {"g2", "g5"}},
                {"A", 2, {"g1", "g3"}},
                {"C", 0, {}}};
  Library library;
  library.getData = FakeGetContacts;
  library.disconnect = NoClose;
  for (const auto& c : kCases) {
    ExportSettings settings;
    settings.account = c.account;
    settings.limit = c.limit;
    settings.platformDevice = false;
    Exporter exporter(library, settings);
    exporter.Run(nullptr);
    std::vector<std::string> groups;
    for (const Contact& kept : exporter.contacts()) {
      groups.insert(groups.end(), kept.groups.begin(), kept.groups.end());
      EXPECT_EQ(kept.modified, 7);
    }
    EXPECT_EQ(groups, c.groups) << c.account;
    EXPECT_EQ(exporter.count(), c.groups.size());
  }
}

}  // namespace
}  // namespace host
