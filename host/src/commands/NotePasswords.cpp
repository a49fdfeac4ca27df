// Locked notes' passwords from a file, overwritten before they are freed.
#include "NotePasswords.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <fstream>

#include "Password.h"

namespace host {

NotePasswords::~NotePasswords() {
  pointers_.clear();
  for (std::string& password : passwords_) Forget(&password);
}

bool NotePasswords::Read(const std::string& file, std::string* error) {
  if (file.empty()) return true;
  std::ifstream in(file);
  if (!in) {
    *error = file + ": " + std::strerror(errno);
    return false;
  }
  std::string line;
  while (std::getline(in, line) && passwords_.size() < static_cast<size_t>(INT_MAX)) {
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) line.pop_back();
    if (!line.empty()) passwords_.push_back(line);
    Forget(&line);
  }
  if (in.bad()) {
    *error = file + ": cannot be read";
    return false;
  }
  for (const std::string& password : passwords_) pointers_.push_back(password.c_str());
  return true;
}

}  // namespace host
