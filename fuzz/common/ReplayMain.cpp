// Runs a fuzz target over every file of the corpus folders (or files) given on the
// command line, so the corpus replays as an ordinary test without libFuzzer. Each input
// is copied into a heap buffer of its exact size so AddressSanitizer sees any over-read.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fs = std::filesystem;

static int RunFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "cannot read %s\n", path.c_str());
    return 1;
  }
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::unique_ptr<uint8_t[]> exact(new uint8_t[bytes.size() ? bytes.size() : 1]);
  if (!bytes.empty()) std::memcpy(exact.get(), bytes.data(), bytes.size());
  LLVMFuzzerTestOneInput(exact.get(), bytes.size());
  return 0;
}

int main(int argc, char** argv) {
  size_t count = 0;
  int failures = 0;
  for (int i = 1; i < argc; ++i) {
    fs::path arg(argv[i]);
    if (fs::is_directory(arg)) {
      std::vector<fs::path> files;
      for (const auto& entry : fs::recursive_directory_iterator(arg))
        if (entry.is_regular_file()) files.push_back(entry.path());
      std::sort(files.begin(), files.end());
      for (const auto& f : files) failures += RunFile(f), ++count;
    } else {
      failures += RunFile(arg), ++count;
    }
  }
  std::printf("replayed %zu inputs\n", count);
  if (count == 0) {
    std::fprintf(stderr, "no corpus inputs found\n");
    return 1;
  }
  return failures ? 1 : 0;
}
