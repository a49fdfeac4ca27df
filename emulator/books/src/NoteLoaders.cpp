// Notes from a JSON file or from a folder of text files.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "Calendar.h"
#include "devicesim/NoteStore.h"

namespace devicesim {
namespace {

bool ReadFile(const std::string& path, std::string* data, std::string* error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    *error = path + ":0: cannot be read: " + std::strerror(errno);
    return false;
  }
  std::ostringstream out;
  out << in.rdbuf();
  *data = out.str();
  return true;
}

int LineAt(const std::string& text, size_t offset) {
  offset = std::min(offset, text.size());
  return 1 + static_cast<int>(std::count(text.begin(),
                                         text.begin() + static_cast<std::ptrdiff_t>(offset), '\n'));
}

// The line on which each element of the top-level array begins, so that a bad element
// can be reported by line; nlohmann::json keeps no positions of its own.
std::vector<int> ElementLines(const std::string& text) {
  std::vector<int> lines;
  int depth = 0, line = 1;
  bool inString = false, expectElement = false;
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '\n') ++line;
    if (inString) {
      if (c == '\\') {
        ++i;
      } else if (c == '"') {
        inString = false;
      }
      continue;
    }
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') continue;
    if (expectElement && depth == 1 && c != ']') lines.push_back(line);
    expectElement = false;
    if (c == '"') inString = true;
    if (c == '[' || c == '{') ++depth;
    if (c == ']' || c == '}') --depth;
    if ((c == '[' && depth == 1) || (c == ',' && depth == 1)) expectElement = true;
  }
  return lines;
}

}  // namespace

bool LoadNotesJson(const std::string& path, NoteStore* store, std::string* error) {
  std::string text;
  if (!ReadFile(path, &text, error)) return false;
  nlohmann::json doc;
  try {
    doc = nlohmann::json::parse(text);
  } catch (const nlohmann::json::parse_error& e) {
    *error = path + ":" + std::to_string(LineAt(text, e.byte == 0 ? 0 : e.byte - 1)) +
             ": not valid JSON (" + e.what() + ")";
    return false;
  }
  if (!doc.is_array()) {
    *error = path + ":1: expected an array of notes";
    return false;
  }
  const std::vector<int> lines = ElementLines(text);
  std::vector<Note> loaded;
  for (size_t i = 0; i < doc.size(); ++i) {
    const std::string where = path + ":" + std::to_string(i < lines.size() ? lines[i] : 1) +
                              ": note " + std::to_string(i + 1) + ": ";
    const nlohmann::json& item = doc[i];
    if (!item.is_object()) {
      *error = where + "expected an object with \"subject\", \"content\" and \"modified\"";
      return false;
    }
    Note note;
    for (const char* key : {"subject", "content"}) {
      auto found = item.find(key);
      // null is how `veldrake notes` writes a text the device did not send.
      if (found == item.end() || found->is_null()) continue;
      if (!found->is_string()) {
        *error = where + "\"" + key + "\" must be a string or null";
        return false;
      }
      (std::string(key) == "subject" ? note.subject : note.content) = found->get<std::string>();
    }
    auto modified = item.find("modified");
    // null: the note has no date, as for a missing key.
    if (modified != item.end() && !modified->is_null()) {
      if (modified->is_number()) {
        note.modified = modified->get<double>();
      } else if (!modified->is_string() ||
                 !ParseIsoDate(modified->get<std::string>(), &note.modified)) {
        *error = where +
                 "\"modified\" must be an ISO 8601 UTC time (2023-04-05T06:07:08Z), "
                 "seconds since 2001-01-01 or null";
        return false;
      }
    }
    loaded.push_back(std::move(note));
  }
  store->notes.insert(store->notes.end(), loaded.begin(), loaded.end());
  return true;
}

bool LoadNotesDir(const std::string& path, NoteStore* store, std::string* error) {
  namespace fs = std::filesystem;
  std::error_code ec;
  if (!fs::is_directory(path, ec)) {
    *error = path + ":0: not a readable folder";
    return false;
  }
  std::vector<fs::path> files;
  for (fs::directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec)) {
    const std::string name = it->path().filename().string();
    if (!name.empty() && name[0] != '.' && it->is_regular_file(ec)) files.push_back(it->path());
  }
  if (ec) {
    *error = path + ":0: cannot list the folder: " + ec.message();
    return false;
  }
  std::sort(files.begin(), files.end());
  std::vector<Note> loaded;
  for (const fs::path& file : files) {
    Note note;
    if (!ReadFile(file.string(), &note.content, error)) return false;
    note.subject = file.stem().string();
    struct stat st;
    if (::stat(file.c_str(), &st) == 0)
      note.modified = static_cast<double>(st.st_mtime) - 978307200.0;
    loaded.push_back(std::move(note));
  }
  store->notes.insert(store->notes.end(), loaded.begin(), loaded.end());
  return true;
}

}  // namespace devicesim
