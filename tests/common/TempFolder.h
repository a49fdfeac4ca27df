// A private folder under the system's temporary folder, removed with all it holds.
#ifndef VELDRAKE_TESTS_TEMPFOLDER_H_
#define VELDRAKE_TESTS_TEMPFOLDER_H_

#include <stdlib.h>

#include <filesystem>
#include <string>

class TempFolder {
 public:
  TempFolder() {
    std::string pattern = std::filesystem::temp_directory_path().string() + "/vdt-XXXXXX";
    path_ = mkdtemp(&pattern[0]) ? pattern : "";
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

#endif  // VELDRAKE_TESTS_TEMPFOLDER_H_
