// NotePasswords: the passwords of locked notes, from the file --note-password-file names,
// one a line (never from argv). Each is tried on each locked note by the library.
//
// Thread contract: one thread; the texts are secrets: Forget them when done.
#ifndef VELDRAKE_HOST_NOTEPASSWORDS_H_
#define VELDRAKE_HOST_NOTEPASSWORDS_H_

#include <deque>
#include <string>
#include <vector>

namespace host {

class NotePasswords {
 public:
  NotePasswords() = default;
  ~NotePasswords();
  NotePasswords(const NotePasswords&) = delete;
  NotePasswords& operator=(const NotePasswords&) = delete;

  // Every non-empty line of `file` (line ends stripped); "" reads nothing. False with
  // *error ("FILE: reason") when the file cannot be read.
  bool Read(const std::string& file, std::string* error);

  // The passwords as the library takes them; valid while this object lives.
  const char* const* data() const { return pointers_.empty() ? nullptr : pointers_.data(); }
  int count() const { return static_cast<int>(pointers_.size()); }

 private:
  std::deque<std::string> passwords_;  // never moved, so no copy lingers
  std::vector<const char*> pointers_;
};

}  // namespace host

#endif  // VELDRAKE_HOST_NOTEPASSWORDS_H_
