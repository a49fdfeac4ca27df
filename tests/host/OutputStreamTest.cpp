// Output fed by the Exporter one record at a time: the export-wide limits end an export
// with exit 28 and nothing written, and the heap never holds more than about one record,
// however many the source lends (the live heap is counted by the allocator, CountingAllocator.h).
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "CountingAllocator.h"
#include "Exporter.h"
#include "Output.h"
#include "QX/Contact.h"
#include "QX/Notes.h"
#include "TempFolder.h"

namespace host {
namespace {

namespace fs = std::filesystem;

const int kRecords = 8;
const size_t kBody = size_t{4} << 20;  // every note lends the same body, as the bomb does
const char* g_body = nullptr;
int64_t g_date = -1;     // the notes' dateModified
std::string g_watched;   // the output's folder, looked into while records are lent
bool g_exposed = false;  // a file there was readable by others before the export ended

// Whether others can reach `path` below `folder`: every folder on the way lets them in.
bool Reachable(const std::filesystem::path& path, const std::filesystem::path& folder) {
  for (auto up = path.parent_path(); up != folder && up.has_relative_path();
       up = up.parent_path()) {
    struct stat st;
    if (::lstat(up.c_str(), &st) != 0 || (st.st_mode & 011) == 0) return false;
  }
  return true;
}

// Whether any file under `folder` (made by the export, not yet whole) is open to others.
bool Exposed(const std::string& folder) {
  std::error_code ignored;
  for (auto it = std::filesystem::recursive_directory_iterator(folder, ignored);
       it != std::filesystem::recursive_directory_iterator(); it.increment(ignored)) {
    struct stat st;
    if (::lstat(it->path().c_str(), &st) == 0 && S_ISREG(st.st_mode) && (st.st_mode & 077) != 0 &&
        Reachable(it->path(), folder))
      return true;
  }
  return false;
}

// Lends kRecords records of `kind`, as the library does, until the host says stop.
int Lend(int kind, void*, void*, void* callback) {
  auto deliver = reinterpret_cast<VeldrakeRecordCallback>(callback);
  char first[] = "Ann", subject[] = "Note";
  QX::Contact contact;
  contact.firstName = first;
  QX::Notes note;
  note.subject = subject;
  note.content = const_cast<char*>(g_body);
  note.dateModified = g_date;
  int result = kVeldrakeOk;
  for (int i = 0; i < kRecords && result == kVeldrakeOk; ++i) {
    if (deliver(kind == kVeldrakeContacts ? static_cast<void*>(&contact) : &note) == kStopDelivery)
      result = kind == kVeldrakeContacts ? kVeldrakeConversationFailed : kVeldrakeOk;
    g_exposed = g_exposed || Exposed(g_watched);
  }
  contact.firstName = nullptr;
  note.subject = note.content = nullptr;
  return result;
}

int Close() {
  return kVeldrakeOk;
}

struct StreamCase {
  const char* what;
  VeldrakeDataKind kind;
  Format format;
  const char* output;  // in the test's folder; "dir/" a folder
  ExportLimits limits;
  int status;
  const char* read;    // what holds the records afterwards
  size_t count;        // how many it holds
  int64_t date = -1;   // the notes' date (seconds since 2001)
  int64_t mtime = -1;  // their files' modification time; -1: the time of writing
};

const ExportLimits kDefaults;
const ExportLimits kFewRecords{3, kDefaultMaxRendered, kDefaultMaxWritten};
const ExportLimits kLittleText{kDefaultMaxRecords, 3 * kBody, kDefaultMaxWritten};
const ExportLimits kLittleWritten{kDefaultMaxRecords, kDefaultMaxRendered, 2 * kBody};

const StreamCase kCases[] = {
    {"json to a file", kVeldrakeNotes, Format::kNotesJson, "notes.json", kDefaults, kExitOk,
     "notes.json", kRecords},
    {"markdown to a file", kVeldrakeNotes, Format::kMarkdown, "notes.md", kDefaults, kExitOk,
     "notes.md", kRecords},
    {"one file per note", kVeldrakeNotes, Format::kText, "dir/", kDefaults, kExitOk, "dir",
     kRecords},
    {"files dated as their notes", kVeldrakeNotes, Format::kText, "dir/", kDefaults, kExitOk, "dir",
     kRecords, 700000000, 700000000 + 978307200},
    {"a date no file can hold", kVeldrakeNotes, Format::kText, "dir/", kDefaults, kExitOk, "dir",
     kRecords, INT64_MAX, -1},
    {"json into a folder", kVeldrakeNotes, Format::kNotesJson, "dir/", kDefaults, kExitOk,
     "dir/notes.json", kRecords},
    {"records limit", kVeldrakeNotes, Format::kNotesJson, "notes.json", kFewRecords,
     kExitLimitReached, "", 0},
    {"text limit", kVeldrakeNotes, Format::kMarkdown, "notes.md", kLittleText, kExitLimitReached,
     "", 0},
    {"text limit, files", kVeldrakeNotes, Format::kMarkdown, "dir/", kLittleText, kExitLimitReached,
     "", 0},
    {"written limit, files", kVeldrakeNotes, Format::kText, "dir/", kLittleWritten,
     kExitLimitReached, "", 0},
    {"contacts records limit", kVeldrakeContacts, Format::kCsv, "book.csv", kFewRecords,
     kExitLimitReached, "", 0},
    {"contacts", kVeldrakeContacts, Format::kContactsJson, "book.json", kDefaults, kExitOk,
     "book.json", kRecords},
};

// How many records the finished output holds, read back as a person's tool would.
size_t RecordsIn(const fs::path& path, Format format) {
  if (fs::is_directory(path))
    return static_cast<size_t>(std::distance(fs::directory_iterator(path), {}));
  std::ifstream in(path);
  if (format == Format::kNotesJson || format == Format::kContactsJson) {
    const nlohmann::json all = nlohmann::json::parse(in);
    for (const auto& item : all)
      if (item.contains("content")) {
        EXPECT_EQ(item["content"].get<std::string>().size(), kBody);
      }
    return all.size();
  }
  size_t headings = 0;
  for (std::string line; std::getline(in, line);) headings += line == "# Note";
  return headings;
}

TEST(OutputStream, LimitsEndTheExportAndTheHeapHoldsOneRecord) {
  const std::string body(kBody, 'x');
  g_body = body.c_str();
  Library library;
  library.getData = Lend;
  library.disconnect = Close;
  for (const StreamCase& test : kCases) {
    SCOPED_TRACE(test.what);
    TempFolder temp;
    Options options;
    options.kind = test.kind;
    options.format = test.format;
    options.output = temp.path() + "/" + test.output;
    options.limits = test.limits;
    g_date = test.date;
    g_watched = temp.path();
    g_exposed = false;
    const time_t started = std::time(nullptr);
    const size_t before = heaptest::Live();
    heaptest::ResetPeak();
    int status = kExitOk;
    {
      Output output(options);
      ASSERT_EQ(output.Open(), kExitOk);
      ExportSettings settings;
      settings.kind = test.kind;
      settings.sink = &output;
      Exporter exporter(library, settings);
      exporter.Run(nullptr);
      status = output.Write();
    }
    EXPECT_EQ(status, test.status);
    EXPECT_FALSE(g_exposed) << "a file of the export was open to others before it was whole";
    // One note's copy, and the stream's buffers.
    EXPECT_LT(heaptest::Peak() - before, kBody + kBody / 4) << "more than one record held at once";
    if (test.status != kExitOk) {
      EXPECT_TRUE(fs::is_empty(temp.path())) << "something was left";
      continue;
    }
    EXPECT_EQ(RecordsIn(temp.path() + "/" + test.read, test.format), test.count);
    if (!fs::is_directory(temp.path() + "/" + test.read)) continue;
    for (const auto& file : fs::directory_iterator(temp.path() + "/" + test.read)) {
      struct stat st;
      ASSERT_EQ(::stat(file.path().c_str(), &st), 0);
      if (test.mtime >= 0)
        EXPECT_EQ(st.st_mtime, test.mtime);
      else
        EXPECT_GE(st.st_mtime, started);
    }
  }
}

}  // namespace
}  // namespace host
