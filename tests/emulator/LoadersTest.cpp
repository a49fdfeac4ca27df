// The vCard and notes loaders on the third-party sample files and on small inputs.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "devicesim/AddressBook.h"
#include "devicesim/NoteStore.h"

using namespace devicesim;
namespace fs = std::filesystem;

namespace {

std::string SourceDir() {
  const char* dir = std::getenv("VELDRAKE_SOURCE_DIR");
  return dir ? dir : ".";
}

AddressBook Load(const std::string& file) {
  AddressBook book;
  std::string error;
  EXPECT_TRUE(LoadVCardFiles({SourceDir() + "/samples/vcards/" + file}, &book, &error)) << error;
  return book;
}

AddressBook Parse(const std::string& text, std::string* error = nullptr) {
  AddressBook book;
  std::string e;
  bool ok = ParseVCardText(text, "t.vcf", &book, &e);
  if (error) *error = ok ? "" : e;
  return book;
}

const Item* Find(const Person& p, int property, size_t nth = 0) {
  for (const Item& item : p.items)
    if (item.property == property && nth-- == 0) return &item;
  return nullptr;
}

}  // namespace

TEST(VCardSamples, EveryThirdPartyFileLoads) {
  const std::string dir = std::string("/work/shared/samples/vcards");
  std::vector<fs::path> files;
  for (const std::string& where : {dir, SourceDir() + "/samples/vcards"})
    if (fs::is_directory(where))
      for (const auto& entry : fs::directory_iterator(where))
        if (entry.path().extension() == ".vcf") files.push_back(entry.path());
  ASSERT_GE(files.size(), 10u);
  for (const fs::path& file : files) {
    AddressBook book;
    std::string error;
    EXPECT_TRUE(LoadVCardFiles({file.string()}, &book, &error)) << error;
    EXPECT_FALSE(book.people.empty()) << file;
  }
  AddressBook all;
  std::string error;
  ASSERT_TRUE(LoadVCardFiles({SourceDir() + "/samples/addressbook.vcf"}, &all, &error)) << error;
  EXPECT_EQ(17u, all.people.size());
  for (size_t i = 0; i < all.people.size(); ++i)
    EXPECT_EQ(static_cast<int>(i + 1), all.people[i].id);
}

TEST(VCardSamples, FieldsOfSeveralCards) {
  // 2.1 quoted-printable in UTF-8 with a soft break, and bare 2.1 types.
  const Person v21 = Load("folkerkinzel_v2_1.vcf").people.at(0);
  EXPECT_EQ("Max", v21.firstName);
  EXPECT_EQ("Führungsetage", v21.department);
  EXPECT_EQ("_$!<Mobile>!$_", Find(v21, kPhone, 2)->label);
  // Shift_JIS names and a phonetic reading from SOUND;X-IRMC-N.
  const Person jp = Load("aosp_v21_japanese_2.vcf").people.at(0);
  EXPECT_EQ("安藤", jp.lastName);
  EXPECT_EQ("ｱﾝﾄﾞｳ", jp.lastNameYomi);
  EXPECT_NE(std::string::npos, Find(jp, kAddress)->street.find("東京都渋谷区"));
  // itemN custom labels, phonetic names, a birthday before 1970, X-ABDATE, related names.
  const Person g = Load("ezvcard_gmail-single2.vcf").people.at(0);
  EXPECT_EQ("ThePhoneticFirstName", g.firstNameYomi);
  EXPECT_EQ("CustomEmailCategory", Find(g, kEmail, 4)->label);
  EXPECT_TRUE(g.hasBirthday);
  EXPECT_DOUBLE_EQ(-2793657600.0, g.birthday);  // 1912-06-23
  EXPECT_EQ("_$!<Anniversary>!$_", Find(g, kDate)->label);
  EXPECT_TRUE(Find(g, kDate)->hasDate);
  EXPECT_EQ("_$!<Spouse>!$_", Find(g, kRelatedName, 1)->label);
  EXPECT_EQ("GoogleTalk", Find(g, kInstantMessage)->service);
  // A yearless birthday and an address street with escapes.
  const Person v = Load("vobject_simple_3_0_test.vcf").people.at(0);
  EXPECT_TRUE(v.hasBirthday);
  const Item* adr = Find(v, kAddress);
  EXPECT_EQ("Haight Street 512;\nEscape, Test", adr->street);
  EXPECT_EQ("Novosibirsk", adr->city);
  EXPECT_EQ("80214", adr->postalCode);
  // Emoji, a social profile and a folded custom label in the project's own demo card.
  const Person demo = Load("veldrake_demo.vcf").people.at(0);
  EXPECT_EQ("Hana 🌸", demo.nickname);
  EXPECT_EQ("Studio 🎨", Find(demo, kPhone, 2)->label);
  EXPECT_EQ("twitter", Find(demo, kSocialProfile)->service);
  EXPECT_EQ("hanako_example", Find(demo, kSocialProfile)->user);
}

TEST(VCardParsing, FoldingQuotedPrintableAndDates) {
  AddressBook book = Parse(
      "BEGIN:VCARD\r\nVERSION:2.1\r\nN;CHARSET=UTF-8;ENCODING=QUOTED-PRINTABLE:M=C3=BCller;J=\r\n"
      "=C3=B6rg\r\nNOTE:long\r\n  folded\r\nTEL;WORK;FAX:1\r\nBDAY:--0229\r\nEND:VCARD\r\n"
      "BEGIN:VCARD\nVERSION:4.0\nFN:Only FN\nBDAY:19723101\nX-ABDATE:not a date\nEND:VCARD\n");
  ASSERT_EQ(2u, book.people.size());
  EXPECT_EQ("Müller", book.people[0].lastName);
  EXPECT_EQ("Jörg", book.people[0].firstName);
  EXPECT_EQ("long folded", book.people[0].notes);
  EXPECT_EQ("_$!<WorkFAX>!$_", book.people[0].items.at(0).label);
  // 1604-02-29, by Python: (datetime(1604, 2, 29) - datetime(2001, 1, 1)).total_seconds()
  EXPECT_DOUBLE_EQ(-12523075200.0, book.people[0].birthday);
  // A card with FN alone is named from it: the last word is the last name.
  EXPECT_EQ("Only", book.people[1].firstName);
  EXPECT_EQ("FN", book.people[1].lastName);
  EXPECT_FALSE(book.people[1].hasBirthday);  // month 31 does not exist
  EXPECT_FALSE(book.people[1].items.at(0).hasDate);
  EXPECT_EQ("not a date", book.people[1].items.at(0).value);
}

TEST(VCardParsing, MalformedInputNamesFileAndLine) {
  std::string error;
  Parse("BEGIN:VCARD\nVERSION:3.0\nFN:x\n", &error);
  EXPECT_EQ("t.vcf:1: the card is not closed by END:VCARD", error);
  Parse("BEGIN:VCARD\nFN:x\nEND:VCARD\nhello there\n", &error);
  EXPECT_EQ("t.vcf:4: expected BEGIN:VCARD, got \"hello there\"", error);
  Parse("BEGIN:VCARD\nBEGIN:VCARD\n", &error);
  EXPECT_EQ("t.vcf:2: BEGIN:VCARD inside the card of line 1", error);
  Parse("\n\n", &error);
  EXPECT_EQ("t.vcf:1: no vCard in the file", error);
  AddressBook book;
  EXPECT_FALSE(LoadVCardFiles({"/nonexistent/x.vcf"}, &book, &error));
  EXPECT_EQ(0u, error.find("/nonexistent/x.vcf:0: cannot be read"));
}

TEST(NotesLoading, JsonWithBothDateFormsAndTheSampleFile) {
  const std::string path = ::testing::TempDir() + "notes-" + std::to_string(::getpid()) + ".json";
  std::ofstream(path) << "[\n {\"subject\": \"a\", \"content\": \"é😀\", \"modified\": "
                         "\"2001-01-02T00:00:01Z\"},\n {\"subject\": \"b\", \"modified\": 5.5}\n]";
  NoteStore store;
  std::string error;
  ASSERT_TRUE(LoadNotesJson(path, &store, &error)) << error;
  ASSERT_EQ(2u, store.notes.size());
  EXPECT_EQ("é😀", store.notes[0].content);
  EXPECT_DOUBLE_EQ(86401.0, store.notes[0].modified);
  EXPECT_DOUBLE_EQ(5.5, store.notes[1].modified);
  std::ofstream(path) << "[\n {\"subject\": \"a\"},\n\n {\"modified\": \"yesterday\"}\n]";
  EXPECT_FALSE(LoadNotesJson(path, &store, &error));
  EXPECT_EQ(0u, error.find(path + ":4: note 2: \"modified\""));
  std::ofstream(path) << "[{\"subject\": \"a\"},\n oops]";
  EXPECT_FALSE(LoadNotesJson(path, &store, &error));
  EXPECT_EQ(0u, error.find(path + ":2: not valid JSON"));
  ::unlink(path.c_str());
  NoteStore samples;
  ASSERT_TRUE(LoadNotesJson(SourceDir() + "/samples/notes.json", &samples, &error)) << error;
  EXPECT_EQ(16u, samples.notes.size());
}

TEST(NotesLoading, FolderTakesNamesAsSubjectsAndMtimes) {
  const fs::path dir = fs::path(::testing::TempDir()) / ("notes-" + std::to_string(::getpid()));
  fs::create_directories(dir);
  std::ofstream(dir / "b.txt") << "second";
  std::ofstream(dir / "a note.md") << "first\nline";
  std::ofstream(dir / ".hidden") << "skipped";
  const fs::path touched = dir / "b.txt";
  struct timespec times[2] = {{1000000000, 0}, {1000000000, 0}};  // 2001-09-09T01:46:40Z
  ASSERT_EQ(0, ::utimensat(AT_FDCWD, touched.c_str(), times, 0));
  NoteStore store;
  std::string error;
  ASSERT_TRUE(LoadNotesDir(dir.string(), &store, &error)) << error;
  ASSERT_EQ(2u, store.notes.size());
  EXPECT_EQ("a note", store.notes[0].subject);
  EXPECT_EQ("first\nline", store.notes[0].content);
  EXPECT_EQ("b", store.notes[1].subject);
  EXPECT_DOUBLE_EQ(1000000000.0 - 978307200.0, store.notes[1].modified);
  fs::remove_all(dir);
  EXPECT_FALSE(LoadNotesDir(dir.string(), &store, &error));
}
