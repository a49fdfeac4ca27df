// Unfolding in two passes: folding first (a parameter list or a name may be folded too),
// then the run-ons of older writers.
#include "VCardUnfold.h"

#include <cctype>

#include "VCardText.h"

namespace devicesim {
namespace {

const size_t kQuotedLength = 40;  // how much of an offending line an error message quotes

bool IsNameChar(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_';
}

bool IsQuotedPrintable(const std::string& line, size_t colon) {
  return Upper(line.substr(0, colon)).find("QUOTED-PRINTABLE") != std::string::npos;
}

std::string Located(const std::string& name, int line, const std::string& what) {
  return name + ":" + std::to_string(line) + ": " + what;
}

// Physical lines with folded continuations (a leading blank or tab) joined.
std::vector<LogicalLine> JoinFolded(const std::string& data) {
  std::vector<LogicalLine> lines;
  int count = 0;
  size_t start = 0;
  while (start <= data.size()) {
    size_t end = data.find('\n', start);
    if (end == std::string::npos) end = data.size();
    std::string line = data.substr(start, end - start);
    while (!line.empty() && line.back() == '\r') line.pop_back();
    const int number = ++count;
    start = end + 1;
    if (!line.empty() && (line[0] == ' ' || line[0] == '\t') && !lines.empty()) {
      lines.back().text += line.substr(1);
    } else {
      lines.push_back({number, line});
    }
  }
  return lines;
}

// A quoted-printable value whose text so far ends in a soft break.
bool EndsInSoftBreak(const LogicalLine& last) {
  const size_t colon = PropertyColon(last.text);
  return colon != std::string::npos && IsQuotedPrintable(last.text, colon) &&
         last.text.back() == '=';
}

// Such a value takes the next line, unless that line ends the card.
bool JoinsSoftBreak(const LogicalLine& last, const std::string& line) {
  return EndsInSoftBreak(last) && Upper(line).rfind("END:VCARD", 0) != 0;
}

// A line that starts no property continues the one before it, unless that one opens or
// closes a card.
bool JoinRunOn(LogicalLine& last, const std::string& line, int number, const std::string& name,
               std::string* error) {
  const std::string previous = Upper(Trim(last.text));
  if (previous == "BEGIN:VCARD" || previous == "END:VCARD") {
    *error = Located(name, number,
                     std::string("expected ") +
                         (previous == "END:VCARD" ? "BEGIN:VCARD" : "NAME:VALUE") + ", got \"" +
                         line.substr(0, kQuotedLength) + "\"");
    return false;
  }
  // 2.1 writers run a value on over a raw line break, with or without a trailing backslash.
  if (last.text.back() == '\\') last.text.pop_back();
  last.text += "\n" + line;
  return true;
}

}  // namespace

size_t PropertyColon(const std::string& line) {
  size_t i = 0;
  while (i < line.size() && (IsNameChar(line[i]) || line[i] == '.')) ++i;
  if (i == 0 || i == line.size() || (line[i] != ':' && line[i] != ';')) return std::string::npos;
  bool quoted = false;
  for (; i < line.size(); ++i) {
    if (line[i] == '"') quoted = !quoted;
    if (line[i] == ':' && !quoted) return i;
  }
  return std::string::npos;
}

bool Unfold(const std::string& data, const std::string& name, std::vector<LogicalLine>* out,
            std::string* error) {
  for (const LogicalLine& folded : JoinFolded(data)) {
    const std::string& line = folded.text;
    if (Trim(line).empty()) {
      // Android ends a quoted-printable value with a soft break and a blank line: the blank
      // line closes the value, so the next property stays a property of its own.
      if (!out->empty() && EndsInSoftBreak(out->back())) out->back().text.pop_back();
      continue;
    }
    const bool startsProperty = PropertyColon(line) != std::string::npos;
    if (out->empty() && !startsProperty) {
      *error = Located(name, folded.line,
                       "expected BEGIN:VCARD, got \"" + line.substr(0, kQuotedLength) + "\"");
      return false;
    }
    if (!out->empty() && JoinsSoftBreak(out->back(), line)) {
      out->back().text.pop_back();
      out->back().text += line;
    } else if (!startsProperty) {
      if (!JoinRunOn(out->back(), line, folded.line, name, error)) return false;
    } else {
      out->push_back(folded);
    }
  }
  return true;
}

}  // namespace devicesim
