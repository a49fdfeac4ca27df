// Walks one decoded note reply and delivers its notes one at a time.
#include "PListNoteAnalysis.h"

#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "BPListReader/BPListReader.h"
#include "QX/Notes.h"
#include "prop/prop.h"

using veldrake::NewRecordText;
using veldrake::StoreRecordText;

namespace {

void FillNote(const std::map<std::wstring, prop>& fields, QX::Notes& note) {
  for (const auto& field : fields) {
    const std::wstring& key = field.first;
    const prop& value = field.second;
    if (key == L"content") {
      StoreRecordText(note.content, NewRecordText(value));
    } else if (key == L"subject") {
      StoreRecordText(note.subject, NewRecordText(value));
    } else if (key == L"dateModified") {
      if (const double* date = value.date()) {
        note.dateModified = PListNoteAnalysis::TruncateDate(*date);
      }
    }
  }
}

}  // namespace

int64_t PListNoteAnalysis::TruncateDate(double seconds) {
  if (std::isnan(seconds)) return kNoDate;
  // A note keeps the device's number itself, not a calendar date, so every value that
  // fits the member is cut exactly; only what no int64 holds saturates (2^63 is exact in
  // a double, so both comparisons are exact).
  constexpr double kBeyondInt64 = 9223372036854775808.0;
  if (seconds >= kBeyondInt64) return INT64_MAX;
  if (seconds <= -kBeyondInt64) return INT64_MIN;
  return static_cast<int64_t>(seconds);
}

int PListNoteAnalysis::Analysis(char* reply, int length, void* callback) {
  BPListReader reader;
  if (reply == nullptr || length < 0) return kGoOn;
  if (!reader.open(reply, static_cast<unsigned long>(length))) return kGoOn;
  const prop root = reader.getRootObject();
  // The reader's copy of the bytes is no longer needed once the tree is decoded.
  reader.close();
  // The device's replies are arrays; any other root is as unusable as a null one.
  const std::vector<prop>* elements = root.array();
  if (elements == nullptr) return kStop;
  if (elements->empty()) return kEmptyRoot;

  VeldrakeRecordCallback deliver = reinterpret_cast<VeldrakeRecordCallback>(callback);
  bool noRecords = true;
  for (const prop& element : *elements) {
    if (!element.isNonEmptyDict()) continue;
    noRecords = false;
    for (const auto& entry : *element.dict()) {
      if (!entry.second.isNonEmptyDict()) continue;
      std::unique_ptr<QX::Notes> note(new QX::Notes());
      FillNote(*entry.second.dict(), *note);
      const int verdict = deliver(note.get());
      note.reset();
      if (verdict == kHostStops) return kStop;
    }
  }
  return noRecords ? kNoRecords : kGoOn;
}
