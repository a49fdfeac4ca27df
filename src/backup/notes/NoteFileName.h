// NoteFileName: an attachment's file name as the phone recorded it, made safe to create
// in a folder and unique within its note: no folder part, no "." or "..", no control
// characters or NUL, no characters a file system refuses, at most kMaxFileNameBytes of
// UTF-8, and a clash (ignoring ASCII case) numbered "name (2).ext".
#ifndef VELDRAKE_BACKUP_NOTEFILENAME_H_
#define VELDRAKE_BACKUP_NOTEFILENAME_H_

#include <cstddef>
#include <set>
#include <string>

namespace veldrake::backup {

constexpr size_t kMaxFileNameBytes = 200;

// `recorded` made safe; `fallback` (a safe name) when nothing of it is left.
std::string SafeFileName(const std::string& recorded, const std::string& fallback);

// `name` made unique among `taken` (which it joins).
std::string UniqueFileName(const std::string& name, std::set<std::string>* taken);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_NOTEFILENAME_H_
