// Notes from a notes set: Markdown files with front matter, in folders.
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "Calendar.h"
#include "devicesim/NoteStore.h"

namespace devicesim {
namespace {

namespace fs = std::filesystem;
const char kFence[] = "---";
const double kUnixTo2001 = 978307200;

bool HasFrontMatter(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::string first;
  std::getline(in, first);
  return first == kFence;
}

// Splits "---\nkey: value\n---\nbody" into its keys and body; false when the block
// never closes or a line is not "key: value".
bool SplitFrontMatter(const std::string& text, std::map<std::string, std::string>* keys,
                      std::string* body, std::string* what) {
  std::istringstream in(text);
  std::string line;
  std::getline(in, line);
  int number = 1;
  while (std::getline(in, line)) {
    ++number;
    if (line == kFence) {
      const auto rest = in.tellg();
      *body = rest < 0 ? std::string() : text.substr(static_cast<size_t>(rest));
      return true;
    }
    const size_t colon = line.find(": ");
    if (colon == std::string::npos) {
      *what = std::to_string(number) + ": expected \"key: value\"";
      return false;
    }
    (*keys)[line.substr(0, colon)] = line.substr(colon + 2);
  }
  *what = "1: the front matter block has no closing ---";
  return false;
}

bool ApplyKey(const std::string& key, const std::string& value, Note* note, std::string* what) {
  if (key == "title")
    note->subject = value;
  else if (key == "account")
    note->account = value;
  else if (key == "password")
    note->password = value;
  else if (key == "hint")
    note->hint = value;
  else if (key == "pinned" || key == "passcode") {
    if (value != "true" && value != "false") {
      *what = key + " must be true or false";
      return false;
    }
    (key == "pinned" ? note->pinned : note->passcodeLocked) = value == "true";
  } else if (key == "created" || key == "modified") {
    if (!ParseIsoDate(value, key == "created" ? &note->created : &note->modified)) {
      *what = key + " must be an ISO 8601 UTC time (2023-04-05T06:07:08Z)";
      return false;
    }
  } else {
    *what = "unknown key " + key;
    return false;
  }
  return true;
}

bool LoadOne(const fs::path& root, const fs::path& file, Note* note, std::string* error) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  std::map<std::string, std::string> keys;
  std::string what;
  note->subject = file.stem().string();
  struct stat st {};
  if (::stat(file.c_str(), &st) == 0)
    note->modified = static_cast<double>(st.st_mtime) - kUnixTo2001;
  bool ok = in && SplitFrontMatter(text.str(), &keys, &note->markup, &what);
  for (auto it = keys.begin(); ok && it != keys.end(); ++it)
    ok = ApplyKey(it->first, it->second, note, &what);
  if (!ok) {
    *error = file.string() + ":" + (what.empty() ? "0: cannot be read" : what);
    return false;
  }
  for (const auto& part : fs::relative(file.parent_path(), root))
    if (part != ".") note->folder.push_back(part.string());
  note->content = note->markup;
  note->baseDir = file.parent_path().string();
  return true;
}

}  // namespace

bool IsNoteSet(const std::string& path) {
  std::error_code ec;
  for (fs::recursive_directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec))
    if (it->path().extension() == ".md" && it->is_regular_file(ec) && HasFrontMatter(it->path()))
      return true;
  return false;
}

bool LoadNoteSet(const std::string& path, NoteStore* store, std::string* error) {
  std::error_code ec;
  std::vector<fs::path> files;
  for (fs::recursive_directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec))
    if (it->path().extension() == ".md" && it->is_regular_file(ec) && HasFrontMatter(it->path()))
      files.push_back(it->path());
  if (ec) {
    *error = path + ":0: cannot list the folder: " + ec.message();
    return false;
  }
  std::sort(files.begin(), files.end());
  std::vector<Note> loaded(files.size());
  for (size_t i = 0; i < files.size(); ++i)
    if (!LoadOne(path, files[i], &loaded[i], error)) return false;
  store->notes.insert(store->notes.end(), loaded.begin(), loaded.end());
  return true;
}

}  // namespace devicesim
