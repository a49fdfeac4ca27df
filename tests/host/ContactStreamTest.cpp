// Contacts through Output, fed by the Exporter one person at a time with a large photo
// each: every format and target holds about one person on the heap however many arrive
// (counted by CountingAllocator.h), the finished output still holds every person, its
// tables as wide as the person with the most items needs, and a limit passed (exit 28)
// leaves nothing behind.
#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "CountingAllocator.h"
#include "Exporter.h"
#include "Output.h"
#include "QX/Contact.h"
#include "QX/ContactField.h"
#include "TempFolder.h"

namespace host {
namespace {

namespace fs = std::filesystem;

const int kPeople = 24;
const int kMostPhones = 3;              // person i has i % (kMostPhones + 1) phones
const size_t kPhoto = size_t{1} << 20;  // every person lends the same picture
const unsigned char* g_photo = nullptr;

// Lends kPeople people through the backup route's callback, each with its photo.
int Lend(int, void*, void*, void*) {
  char first[] = "Ann", mobile[] = "_$!<Mobile>!$_", jpeg[] = "image/jpeg";
  VeldrakeContactPhoto photo{g_photo, kPhoto, jpeg, 1, 0, 0, 512};
  for (int i = 0; i < kPeople; ++i) {
    std::string last = "Lee " + std::to_string(i), number = "+1 555 01" + std::to_string(i);
    QX::Contact contact;
    contact.id = i + 1;
    contact.firstName = first;
    contact.lastName = &last[0];
    for (int n = 0; n < i % (kMostPhones + 1); ++n) {
      contact.fields.push_back(new QX::ContactField(QX::kFieldPhone));
      contact.fields.back()->label = mobile;
      contact.fields.back()->value = &number[0];
    }
    VeldrakeContactDetails details{};
    details.id = contact.id;
    details.created = details.modified = INT64_MIN;
    details.photo = &photo;
    const int answer = Exporter::OnContact(&contact, &details, nullptr);
    for (QX::ContactField* field : contact.fields) field->label = field->value = nullptr;
    contact.firstName = contact.lastName = nullptr;
    if (answer != 0) return kVeldrakeConversationFailed;
  }
  return kVeldrakeOk;
}

int Close() {
  return kVeldrakeOk;
}

std::string Read(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

std::vector<std::string> Split(const std::string& text, const std::string& by) {
  std::vector<std::string> parts;
  size_t from = 0;
  for (size_t at = text.find(by); at != std::string::npos;
       from = at + by.size(), at = text.find(by, from))
    parts.push_back(text.substr(from, at - from));
  parts.push_back(text.substr(from));
  return parts;
}

// A table's rows (no cell here holds a comma or line break): one per person after the
// header, each as wide as the header, the header naming the widest person's phones.
void CheckTable(const std::string& table, const char* widest, const char* wider) {
  std::vector<std::string> rows = Split(table, "\r\n");
  ASSERT_EQ(rows.back(), "");
  rows.pop_back();
  ASSERT_EQ(rows.size(), size_t{kPeople} + 1);
  const size_t columns = Split(rows[0], ",").size();
  for (const std::string& row : rows) EXPECT_EQ(Split(row, ",").size(), columns) << row;
  if (widest == nullptr) return;
  EXPECT_NE(rows[0].find(widest), std::string::npos);
  EXPECT_EQ(rows[0].find(wider), std::string::npos);
}

// The JSON document as the whole array's dump writes it, every photo whole.
void CheckJson(const fs::path& path) {
  const std::string text = Read(path);
  const nlohmann::ordered_json all = nlohmann::ordered_json::parse(text);
  EXPECT_EQ(all.dump(2, ' ', false) + "\n", text);
  ASSERT_EQ(all.size(), size_t{kPeople});
  for (const auto& person : all) {
    const auto& photo = person["photo"];
    if (photo.contains("data"))
      EXPECT_EQ(photo["data"].get<std::string>().size(), (kPhoto + 2) / 3 * 4);
    else
      EXPECT_EQ(fs::file_size(path.parent_path() / photo["path"].get<std::string>()), kPhoto);
  }
}

size_t Count(const std::string& text, const std::string& what) {
  return Split(text, what).size() - 1;
}

struct StreamCase {
  const char* what;
  Format format;
  bool split;
  const char* output;  // in the test's folder; "dir/" a folder
  const char* read;    // what holds the people afterwards
  const char* widest;  // a table's header names this and not `wider`
  const char* wider;
  ExportLimits limits = {};
  int status = kExitOk;
};

// Room for a few people's photos, not for all of them.
const ExportLimits kLittleWritten{kDefaultMaxRecords, kDefaultMaxRendered, 4 * kPhoto};
const ExportLimits kLittleText{kDefaultMaxRecords, 4 * kPhoto, kDefaultMaxWritten};

const StreamCase kCases[] = {
    {"vCard 3.0", Format::kVCard3, false, "book.vcf", "book.vcf", nullptr, nullptr},
    {"vCard 4.0 into a folder", Format::kVCard4, false, "dir/", "dir/contacts.vcf", nullptr,
     nullptr},
    {"one vCard per person", Format::kVCard3, true, "dir/", "dir", nullptr, nullptr},
    {"JSON", Format::kContactsJson, false, "book.json", "book.json", nullptr, nullptr},
    {"JSON, photos as files", Format::kContactsJson, false, "dir/", "dir/contacts.json", nullptr,
     nullptr},
    {"our table", Format::kCsv, false, "book.csv", "book.csv", "Phone 3 Value", "Phone 4"},
    // Google's table gives items of one label one column group.
    {"Google's table", Format::kGoogleCsv, false, "book.csv", "book.csv", "Phone 1 - Value",
     "Phone 2"},
    {"Outlook's table", Format::kOutlookCsv, false, "book.csv", "book.csv", nullptr, nullptr},
    // Every file of a folder counts against the export's limits, the photos' too.
    {"one vCard per person, written limit", Format::kVCard3, true, "dir/", "", nullptr, nullptr,
     kLittleWritten, kExitLimitReached},
    {"one vCard per person, text limit", Format::kVCard4, true, "dir/", "", nullptr, nullptr,
     kLittleText, kExitLimitReached},
    {"JSON photos as files, written limit", Format::kContactsJson, false, "dir/", "", nullptr,
     nullptr, kLittleWritten, kExitLimitReached},
    {"vCard, text limit", Format::kVCard3, false, "book.vcf", "", nullptr, nullptr, kLittleText,
     kExitLimitReached},
};

void CheckOutput(const StreamCase& test, const fs::path& read) {
  if (test.split) {
    EXPECT_EQ(std::distance(fs::directory_iterator(read), {}), kPeople);
    return;
  }
  if (test.format == Format::kContactsJson) return CheckJson(read);
  const std::string text = Read(read);
  if (test.format == Format::kVCard3 || test.format == Format::kVCard4) {
    EXPECT_EQ(Count(text, "BEGIN:VCARD\r\n"), size_t{kPeople});
    EXPECT_EQ(Count(text, "\r\nPHOTO"), size_t{kPeople});
    return;
  }
  CheckTable(text, test.widest, test.wider);
}

TEST(ContactStream, TheHeapHoldsOnePersonAndTheOutputHoldsAll) {
  const std::vector<unsigned char> picture(kPhoto, 0x5A);
  g_photo = picture.data();
  Library library;
  library.getData = Lend;
  library.disconnect = Close;
  for (const StreamCase& test : kCases) {
    SCOPED_TRACE(test.what);
    TempFolder temp;
    Options options;
    options.kind = kVeldrakeContacts;
    options.format = test.format;
    options.split = test.split;
    options.output = temp.path() + "/" + test.output;
    options.limits = test.limits;
    const size_t before = heaptest::Live();
    heaptest::ResetPeak();
    int status = kExitOk;
    {
      Output output(options);
      ASSERT_EQ(output.Open(), kExitOk);
      ExportSettings settings;
      settings.kind = kVeldrakeContacts;
      settings.sink = &output;
      Exporter exporter(library, settings);
      exporter.Run(nullptr);
      status = output.Write();
    }
    ASSERT_EQ(status, test.status);
    const size_t peak = heaptest::Peak() - before;
    // One person: the photo, its base64, the card's line before and after folding, a file
    // of its own's copy of the card. The people together would be kPeople photos at least.
    EXPECT_LT(peak, 10 * kPhoto) << "more than one person held at once";
    if (test.status == kExitOk)
      CheckOutput(test, temp.path() + "/" + test.read);
    else
      EXPECT_TRUE(fs::is_empty(temp.path())) << "something was left";
  }
}

}  // namespace
}  // namespace host
