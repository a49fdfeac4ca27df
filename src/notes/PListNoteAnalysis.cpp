// Walks one decoded note reply and delivers its notes one at a time.
#include "PListNoteAnalysis.h"

#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "BPListReader/BPListReader.h"
#include "QX/Notes.h"
#include "prop/prop.h"

namespace {

// A record text: an array of the text's length plus one, zeroed, filled up to the text's
// first NUL, so an embedded NUL cuts the text for the host.
char* CopyText(const std::string& text) {
  char* copy = new char[text.size() + 1]();
  std::memcpy(copy, text.c_str(), std::strlen(text.c_str()));
  return copy;
}

// A text field's value as a new record text, or null for a value of any other tag (the
// null value included), which leaves the member as it was.
char* TextOf(const prop& value) {
  if (value.hasTag(prop::object::TagUnicode)) return CopyText(prop::toUtf8(value.toString()));
  if (value.hasTag(prop::object::TagAscii)) return CopyText(value.toUTF8String());
  return nullptr;
}

void ReplaceText(char*& member, char* text) {
  if (text == nullptr) return;
  delete[] member;  // a key appears once per dictionary; this only guards the invariant
  member = text;
}

void FillNote(const std::map<std::wstring, prop>& fields, QX::Notes& note) {
  for (const auto& field : fields) {
    const std::wstring& key = field.first;
    const prop& value = field.second;
    if (key == L"content") {
      ReplaceText(note.content, TextOf(value));
    } else if (key == L"subject") {
      ReplaceText(note.subject, TextOf(value));
    } else if (key == L"dateModified") {
      if (value.hasTag(prop::object::TagDate)) {
        note.dateModified = PListNoteAnalysis::TruncateDate(value._value->date);
      }
    }
  }
}

}  // namespace

int64_t PListNoteAnalysis::TruncateDate(double seconds) {
  if (std::isnan(seconds)) return -1;
  // 2^63 is exactly representable; everything at or beyond it does not fit.
  const double kLimit = 9223372036854775808.0;
  if (seconds >= kLimit) return INT64_MAX;
  if (seconds <= -kLimit) return INT64_MIN;
  return static_cast<int64_t>(seconds);
}

int PListNoteAnalysis::Analysis(char* reply, int length, void* callback) {
  BPListReader reader;
  if (reply == nullptr || length < 0) return 0;
  if (!reader.open(reply, static_cast<unsigned long>(length))) return 0;
  const prop root = reader.getRootObject();
  // The reader's copy of the bytes is no longer needed once the tree is decoded.
  reader.close();
  if (root == prop::Null) return -1;
  // The device's replies are arrays; any other root is as unusable as a null one.
  if (!root.hasTag(prop::object::TagArray)) return -1;
  const std::vector<prop>& elements = *root._value->array;
  if (elements.empty()) return -2;

  Callback deliver = reinterpret_cast<Callback>(callback);
  bool noRecords = true;
  for (const prop& element : elements) {
    if (!element.isNonEmptyDict()) continue;
    noRecords = false;
    for (const auto& entry : *element._value->dict) {
      if (!entry.second.isNonEmptyDict()) continue;
      std::unique_ptr<QX::Notes> note(new QX::Notes());
      FillNote(*entry.second._value->dict, *note);
      const int verdict = deliver(note.get());
      note.reset();
      if (verdict == -1) return -1;
    }
  }
  return noRecords ? 1 : 0;
}
