// Safe, unique attachment file names.
#include "NoteFileName.h"

#include "NoteText.h"

namespace veldrake::backup {
namespace {

const std::string kRefused = "/\\:*?\"<>|";

std::string Folded(const std::string& name) {
  std::string folded = name;
  for (char& c : folded)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return folded;
}

// Cuts `name` to `bytes` at a character boundary.
std::string Cut(const std::string& name, size_t bytes) {
  if (name.size() <= bytes) return name;
  size_t at = bytes;
  while (at > 0 && (static_cast<unsigned char>(name[at]) & 0xC0) == 0x80) --at;
  return name.substr(0, at);
}

// Splits "name.ext" at its last dot (a leading dot is no extension).
void Split(const std::string& name, std::string* stem, std::string* extension) {
  const size_t dot = name.rfind('.');
  const bool has = dot != std::string::npos && dot != 0 && name.size() - dot <= 16;
  *stem = has ? name.substr(0, dot) : name;
  *extension = has ? name.substr(dot) : "";
}

}  // namespace

std::string SafeFileName(const std::string& recorded, const std::string& fallback) {
  const size_t slash = recorded.find_last_of("/\\");
  const std::string last = slash == std::string::npos ? recorded : recorded.substr(slash + 1);
  std::string name;
  for (size_t at = 0; at < last.size();) {
    const DecodedChar c = DecodeUtf8(last, at);
    at += c.bytes;
    if (c.point < 0x20 || c.point == 0x7F || c.point == kReplacementChar) continue;
    if (c.point < 0x80 && kRefused.find(static_cast<char>(c.point)) != std::string::npos) {
      name += '_';
      continue;
    }
    AppendUtf8(c.point, &name);
  }
  const size_t first = name.find_first_not_of(" .");
  const size_t lastKept = name.find_last_not_of(" .");
  // Leading dots would hide the file; trailing dots and spaces some systems drop.
  name = first == std::string::npos ? "" : name.substr(first, lastKept + 1 - first);
  if (name.empty()) return fallback;
  std::string stem, extension;
  Split(name, &stem, &extension);
  return Cut(stem, kMaxFileNameBytes - extension.size()) + extension;
}

std::string UniqueFileName(const std::string& name, std::set<std::string>* taken) {
  std::string stem, extension, candidate = name;
  Split(name, &stem, &extension);
  for (int n = 2; !taken->insert(Folded(candidate)).second; ++n) {
    const std::string suffix = " (" + std::to_string(n) + ")";
    candidate =
        Cut(stem, kMaxFileNameBytes - extension.size() - suffix.size()) + suffix + extension;
  }
  return candidate;
}

}  // namespace veldrake::backup
