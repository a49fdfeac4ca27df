// OutputFolder: the names it gives, the folders it refuses, and what is visible when.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FileNames.h"
#include "OutputFolder.h"
#include "TempFolder.h"

namespace {

namespace fs = std::filesystem;

const int64_t kNow = INT64_MIN;

struct Wanted {
  std::vector<std::string> folders;
  std::string stem;
  std::string extension;
  std::string path;  // what Reserve must give
};

struct NameCase {
  const char* what;
  std::vector<Wanted> files;
};

const std::string kLong(300, 'x');
const std::string kEAcuteNfc = "\xC3\x89";   // É composed
const std::string kEAcuteNfd = "E\xCC\x81";  // E and a combining acute
const std::string kLongAccents = [] {
  std::string text;
  for (int i = 0; i < 150; ++i) text += "\xC3\xA9";  // é, two bytes each
  return text;
}();

const std::vector<NameCase> kNames = {
    {"a slash stays inside the name", {{{}, "a/b", ".md", "a_b.md"}}},
    {"dot-dot is no way up", {{{".."}, "..", ".md", "Untitled/Untitled.md"}}},
    {"leading dots do not hide", {{{".git"}, ".profile", "", "git/profile"}}},
    {"NUL and controls", {{{}, std::string("a\0b\tc\x7f", 6), ".md", "a_b_c_.md"}}},
    {"C1 control and direction override", {{{}, "x\xC2\x85y\xE2\x80\xAEz", ".txt", "x_y_z.txt"}}},
    {"invalid UTF-8", {{{}, "bad\xFF\xFE", ".md", "bad__.md"}}},
    {"empty and blank", {{{}, "", ".md", "Untitled.md"}, {{}, "  ", ".md", "Untitled 2.md"}}},
    {"case clash numbered", {{{}, "a", ".md", "a.md"}, {{}, "A", ".md", "A 2.md"}}},
    {"NFC and NFD clash, NFD made NFC",
     {{{}, kEAcuteNfc, ".md", kEAcuteNfc + ".md"}, {{}, kEAcuteNfd, ".md", kEAcuteNfc + " 2.md"}}},
    {"folded case clash of accents",
     {{{}, "\xC3\xA9t\xC3\xA9", ".md", "\xC3\xA9t\xC3\xA9.md"},
      {{}, "\xC3\x89T\xC3\x89", ".md", "\xC3\x89T\xC3\x89 2.md"}}},
    {"third clash", {{{}, "T", "", "T"}, {{}, "t", "", "t 2"}, {{}, "T", "", "T 3"}}},
    {"other extension no clash", {{{}, "T", ".md", "T.md"}, {{}, "T", ".txt", "T.txt"}}},
    {"same folder twice, case-folded",
     {{{"Work"}, "a", ".md", "Work/a.md"}, {{"WORK"}, "b", ".md", "Work/b.md"}}},
    {"folder and file of one name",
     {{{}, "Work", "", "Work"}, {{"work"}, "a", ".md", "work 2/a.md"}}},
    {"same name in two folders", {{{"x"}, "a", ".md", "x/a.md"}, {{"y"}, "a", ".md", "y/a.md"}}},
    {"overlong cut", {{{}, kLong, ".md", std::string(185, 'x') + ".md"}}},
    {"overlong cut at a character",
     {{{}, kLongAccents, ".md", kLongAccents.substr(0, 184) + ".md"}}},
};

// Independent of the cases: what no name given out may ever be.
void ExpectSafeComponents(const std::string& path) {
  std::stringstream parts(path);
  std::string part;
  while (std::getline(parts, part, '/')) {
    EXPECT_FALSE(part.empty()) << path;
    EXPECT_NE(part[0], '.') << path;
    EXPECT_LE(part.size(), host::kMaxNameBytes) << path;
    for (char c : part) EXPECT_TRUE(static_cast<unsigned char>(c) >= 0x20 && c != 0x7f) << path;
  }
}

TEST(OutputFolderTest, NamesAreSafeAndUnique) {
  for (const NameCase& test : kNames) {
    SCOPED_TRACE(test.what);
    TempFolder temp;
    host::OutputFolder folder;
    std::string error;
    ASSERT_TRUE(folder.Open(temp.path() + "/out/", &error)) << error;
    std::set<std::string> keys;
    for (const Wanted& file : test.files) {
      const std::string path = folder.Reserve(file.folders, file.stem, file.extension);
      EXPECT_EQ(path, file.path);
      ExpectSafeComponents(path);
      EXPECT_TRUE(keys.insert(host::FoldedKey(path)).second) << path;
      ASSERT_TRUE(folder.Write(path, "content of " + path, kNow, &error)) << error;
    }
    ASSERT_TRUE(folder.Commit(&error)) << error;
    for (const Wanted& file : test.files) {
      std::ifstream in(temp.path() + "/out/" + file.path);
      std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
      EXPECT_EQ(text, "content of " + file.path);
    }
  }
}

// Every entry below `root` (relative, with "/" after folders), links not followed.
std::set<std::string> Tree(const std::string& root) {
  std::set<std::string> entries;
  std::error_code ignored;
  if (!fs::exists(fs::symlink_status(root))) return entries;
  for (auto it = fs::recursive_directory_iterator(root, ignored);
       it != fs::recursive_directory_iterator(); it.increment(ignored)) {
    const std::string relative = it->path().lexically_relative(root).string();
    entries.insert(it->is_directory() && !it->is_symlink() ? relative + "/" : relative);
  }
  return entries;
}

std::string Slurp(const std::string& path) {
  std::ifstream in(path);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

enum class Stage { kOpen, kWrite, kCommit, kNone };  // where the export must fail

struct FolderCase {
  const char* what;
  std::function<void(const std::string& out)> before;  // plants something at or in `out`
  Stage fails;
  std::set<std::string> after;  // the tree of `out` at the end
  bool abandon = false;         // the export ends without Commit
};

const std::string kSecret = ".outside";  // beside `out`: a file a link points at

const std::vector<FolderCase> kFolders = {
    {"made when missing", [](const std::string&) {}, Stage::kNone, {"a.md", "sub/", "sub/b.md"}},
    {"existing own folder",
     [](const std::string& out) { fs::create_directory(out); },
     Stage::kNone,
     {"a.md", "sub/", "sub/b.md"}},
    {"earlier export replaced",
     [](const std::string& out) {
       fs::create_directories(out + "/sub");
       std::ofstream(out + "/a.md") << "old";
     },
     Stage::kNone,
     {"a.md", "sub/", "sub/b.md"}},
    {"folder is a link",
     [](const std::string& out) {
       fs::create_directory(out + ".real");
       fs::create_directory_symlink(out + ".real", out);
     },
     Stage::kOpen,
     {}},
    {"folder of another user",
     [](const std::string& out) {
       fs::create_directory(out);
       ASSERT_EQ(::chown(out.c_str(), 12345, 12345), 0);
     },
     Stage::kOpen,
     {}},
    {"folder writable by the group",
     [](const std::string& out) {
       fs::create_directory(out);
       ::chmod(out.c_str(), 0775);
     },
     Stage::kOpen,
     {}},
    {"folder writable by all",
     [](const std::string& out) {
       fs::create_directory(out);
       ::chmod(out.c_str(), 01777);
     },
     Stage::kOpen,
     {}},
    {"planted file link refused, its target untouched",
     [](const std::string& out) {
       fs::create_directory(out);
       fs::create_symlink(out + kSecret, out + "/a.md");
     },
     Stage::kCommit,
     {"a.md"}},
    {"planted folder link refused",
     [](const std::string& out) {
       fs::create_directory(out);
       fs::create_directory_symlink(out + ".real", out + "/sub");
       fs::create_directory(out + ".real");
     },
     Stage::kWrite,
     {"sub"}},
    {"a folder where a file goes",
     [](const std::string& out) { fs::create_directories(out + "/a.md"); },
     Stage::kCommit,
     {"a.md/"}},
    {"subfolder of another user",
     [](const std::string& out) {
       fs::create_directories(out + "/sub");
       ASSERT_EQ(::chown((out + "/sub").c_str(), 12345, 12345), 0);
     },
     Stage::kWrite,
     {"sub/"}},
};

// One export of a.md and sub/b.md; the stage it failed at.
Stage Export(const std::string& out, bool abandon, std::set<std::string>* beforeCommit) {
  host::OutputFolder folder;
  std::string error;
  if (!folder.Open(out + "/", &error)) return Stage::kOpen;
  const std::string a = folder.Reserve({}, "a", ".md");
  const std::string b = folder.Reserve({"sub"}, "b", ".md");
  if (!folder.Write(a, "new a", 0, &error) || !folder.Write(b, "new b", kNow, &error))
    return Stage::kWrite;
  for (const std::string& entry : Tree(out))
    if (entry.find(".veldrake-") == std::string::npos) beforeCommit->insert(entry);
  if (abandon || !folder.Commit(&error)) return Stage::kCommit;
  EXPECT_EQ(error, "");
  return Stage::kNone;
}

TEST(OutputFolderTest, FoldersRefusedAndFilesVisibleOnlyOnCommit) {
  for (const FolderCase& test : kFolders) {
    SCOPED_TRACE(test.what);
    TempFolder temp;
    const std::string out = temp.path() + "/out";
    std::ofstream(out + kSecret) << "secret";
    test.before(out);
    const std::set<std::string> planted = Tree(out);
    const bool existed = fs::exists(fs::symlink_status(out));
    std::set<std::string> beforeCommit;
    const Stage failed = Export(out, test.abandon, &beforeCommit);
    EXPECT_EQ(failed, test.fails);
    EXPECT_EQ(Tree(out), test.after);
    EXPECT_EQ(Slurp(out + kSecret), "secret");
    if (failed != Stage::kNone) {
      EXPECT_EQ(fs::exists(fs::symlink_status(out)), existed);
      continue;
    }
    // Before Commit: only the folders, nothing of the files.
    for (const std::string& entry : beforeCommit)
      EXPECT_TRUE(entry.back() == '/' || planted.count(entry)) << entry;
    EXPECT_EQ(Slurp(out + "/a.md"), "new a");
    EXPECT_EQ(Slurp(out + "/sub/b.md"), "new b");
    struct stat st;
    ASSERT_EQ(::stat((out + "/a.md").c_str(), &st), 0);
    EXPECT_EQ(st.st_mtime, 0);
    EXPECT_EQ(st.st_mode & 0777, 0644u);
  }
}

// An export of more folders than the process may hold descriptors, written and then
// written again over (the merge into an earlier export's folders): every file arrives.
TEST(OutputFolderTest, ManyFoldersNeedFewDescriptors) {
  constexpr int kManyFolders = 200;
  struct rlimit saved;
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &saved), 0);
  struct rlimit low = saved;
  low.rlim_cur = 48;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
  TempFolder temp;
  bool written = true;
  for (const std::string round : {"first", "second"}) {
    host::OutputFolder folder;
    std::string error;
    written = written && folder.Open(temp.path() + "/out/", &error);
    for (int i = 0; i < kManyFolders && written; ++i) {
      const std::string path = folder.Reserve({"Notes", "n" + std::to_string(i)}, "f", ".bin");
      written = folder.Write(path, round + std::to_string(i), kNow, &error);
    }
    written = written && folder.Commit(&error);
    EXPECT_TRUE(written) << round << ": " << error;
  }
  ::setrlimit(RLIMIT_NOFILE, &saved);
  for (int i = 0; i < kManyFolders; ++i)
    EXPECT_EQ(Slurp(temp.path() + "/out/Notes/n" + std::to_string(i) + "/f.bin"),
              "second" + std::to_string(i));
  EXPECT_EQ(Tree(temp.path() + "/out").size(), 1u + 2u * kManyFolders);
}

}  // namespace
