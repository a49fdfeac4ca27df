// Small text helpers shared by the vCard reader's stages.
#ifndef DEVICESIM_SRC_VCARDTEXT_H_
#define DEVICESIM_SRC_VCARDTEXT_H_

#include <string>
#include <vector>

namespace devicesim {

std::string Upper(std::string s);
std::string Lower(std::string s);
// Without leading and trailing blanks and line breaks.
std::string Trim(const std::string& s);
// Resolves a value's backslash escapes (\n, \\, \, \; \: \").
std::string Unescape(const std::string& s);
// Splits on `sep` where it is not escaped by a backslash; the pieces keep their escapes.
std::vector<std::string> SplitEscaped(const std::string& s, char sep);

// Bytes in `charset` to UTF-8. Without a usable charset, valid UTF-8 stays as it is and
// anything else is read as Windows-1252, the usual encoding of older desktop exports.
std::string ToUtf8(const std::string& bytes, std::string charset);
// Resolves =XX escapes; a soft break ("=" at the very end) is dropped.
std::string DecodeQuotedPrintable(const std::string& s);

}  // namespace devicesim

#endif  // DEVICESIM_SRC_VCARDTEXT_H_
