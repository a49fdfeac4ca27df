// Contact batch analysis: decodes one reply of the contact loop and hands each record
// dictionary in it to the analysis of a person or of a sub-record.
#include "PListContactAnalysis.h"

#include <cstring>  // memchr
#include <string_view>

#include "BPListReader/BPListReader.h"
#include "QX/Contact.h"
#include "prop/prop.h"
#include "veldrake/RecordUnderAnalysis.h"

namespace {

constexpr std::string_view kProcessChanges = "SDMessageProcessChanges";

// The reply counts as naming the message only when its bytes stand, one per character,
// ahead of the first NUL: a zero byte anywhere in front hides them. The reply has no
// terminator of its own, so the search is bounded by its length as well.
bool NamesProcessChanges(const char* reply, size_t length) {
  const void* nul = std::memchr(reply, 0, length);
  const size_t limit = nul ? static_cast<size_t>(static_cast<const char*>(nul) - reply) : length;
  return std::string_view(reply, limit).find(kProcessChanges) != std::string_view::npos;
}

// Keeps `pTemp` on one record for exactly the time of one analysis call, also when an
// allocation failure leaves the call early.
class RecordInAnalysis {
 public:
  explicit RecordInAnalysis(prop* record) { pTemp = record; }
  ~RecordInAnalysis() { pTemp = nullptr; }
  RecordInAnalysis(const RecordInAnalysis&) = delete;
  RecordInAnalysis& operator=(const RecordInAnalysis&) = delete;
};

}  // namespace

PListContactAnalysis::~PListContactAnalysis() {
  // Combinations leaves nothing behind; this releases what an export that never reached
  // delivery gathered.
  for (QX::Contact* contact : contacts) delete contact;
  ReleaseItems();
}

void PListContactAnalysis::ReleaseItems() {
  for (PListField*& entry : fields) {
    if (entry != nullptr) delete entry->field;
    delete entry;
    entry = nullptr;
  }
  fields.clear();
  for (PListAddress*& entry : addresses) {
    if (entry != nullptr) delete entry->fields;
    delete entry;
    entry = nullptr;
  }
  addresses.clear();
}

int PListContactAnalysis::Analysis(char* reply, int length) {
  if (reply == nullptr || length < 0) return kGoOn;
  const size_t size = static_cast<size_t>(length);
  const bool namesMessage = NamesProcessChanges(reply, size);

  BPListReader reader;
  if (!reader.open(reply, size)) return kGoOn;
  const prop root = reader.getRootObject();
  const std::vector<prop>* elements = root.array();
  if (elements == nullptr) return kNoRoot;  // the null value or no array
  if (elements->empty()) return kEmptyRoot;

  bool outerSeen = false;
  for (const prop& element : *elements) {
    if (!element.isNonEmptyDict()) continue;  // the null value included
    outerSeen = true;
    for (const auto& entry : *element.dict()) {
      if (!entry.second.isNonEmptyDict()) continue;
      const std::wstring& key = entry.first;
      const size_t first = key.find(L'/');
      // A private handle, so the record outlives the call whatever becomes of the tree.
      prop record = entry.second;
      if (first == std::wstring::npos) {
        RecordInAnalysis scope(&record);
        AnalysisContact(key);
        continue;
      }
      const size_t last = key.rfind(L'/');
      if (last <= first) continue;  // one "/" names no record
      RecordInAnalysis scope(&record);
      AnalysisContactField(key.substr(first + 1, last - first - 1), key.substr(0, first));
    }
  }
  return (namesMessage && !outerSeen) ? kEndOfChanges : kGoOn;
}
