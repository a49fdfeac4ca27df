// The reader against an independent writer: Python's plistlib wrote random lists, and
// for each the text form of its tree (make_random_plists.py, run at build time).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "ListBytes.h"

namespace {

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST(BPListDifferential, DecodesEveryListThatPlistlibWrote) {
  int lists = 0;
  for (const auto& entry : std::filesystem::directory_iterator(VELDRAKE_RANDOM_PLIST_DIR)) {
    if (entry.path().extension() != ".bplist") continue;
    ++lists;
    std::filesystem::path described = entry.path();
    EXPECT_EQ(listbytes::Outcome(ReadFile(entry.path())),
              ReadFile(described.replace_extension(".txt")))
        << entry.path();
  }
  EXPECT_GE(lists, 100) << VELDRAKE_RANDOM_PLIST_DIR;
}

}  // namespace
