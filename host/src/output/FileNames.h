// FileNames: what a name from a phone or a backup becomes before it names a file.
//
// A name is untrusted text: it may hold "/", NUL, control or direction-override
// characters, invalid UTF-8, a leading dot or be far too long. SafeFileName makes one path
// component of it that a person can still recognise; FoldedKey is how two names are
// compared, so that names a case-insensitive or normalising file system would take for the
// same file ("É" composed or not, "a" and "A") are found to clash.
//
// Thread contract: pure functions.
#ifndef VELDRAKE_HOST_FILENAMES_H_
#define VELDRAKE_HOST_FILENAMES_H_

#include <cstddef>
#include <string>

namespace host {

// The most bytes one path component may take (file systems allow 255; the rest is room
// for a number and an extension).
constexpr size_t kMaxNameBytes = 200;

// `text` as NFC UTF-8, every character that may not stand in a file name replaced by "_",
// leading dots and surrounding spaces removed, cut at a character boundary to at most
// `maxBytes` bytes; `fallback` when nothing is left.
std::string SafeFileName(const std::string& text, size_t maxBytes, const std::string& fallback);

// NFC and case folded: equal keys are one file on a case-insensitive file system.
std::string FoldedKey(const std::string& name);

// `text` cut to at most `maxBytes` bytes without splitting a UTF-8 character.
std::string CutAtCharacter(const std::string& text, size_t maxBytes);

}  // namespace host

#endif  // VELDRAKE_HOST_FILENAMES_H_
