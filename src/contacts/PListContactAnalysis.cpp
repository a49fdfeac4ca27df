// Contact batch analysis: checks one reply of the contact loop, reads each record
// dictionary in it as the analysis of a person or of a sub-record does, and makes the
// records.
#include "veldrake/PListContactAnalysis.h"

#include <cstring>  // memchr
#include <string_view>

#include "BPListReader/BPListReader.h"
#include "QX/Contact.h"
#include "RecordStaging.h"
#include "ReplyWalk.h"
#include "prop/prop.h"
#include "veldrake/Session.h"

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

}  // namespace

PListContactAnalysis::~PListContactAnalysis() {
  // Combinations leaves nothing behind; this releases what an export that never reached
  // delivery gathered.
  for (QX::Contact* contact : contacts) delete contact;
  for (PListField* entry : fields) {
    if (entry != nullptr) delete entry->field;
    delete entry;
  }
  for (PListAddress* entry : addresses) {
    if (entry != nullptr) delete entry->fields;
    delete entry;
  }
}

int PListContactAnalysis::Analysis(char* reply, int length) {
  if (reply == nullptr || length < 0) return 0;
  const size_t size = static_cast<size_t>(length);
  const bool namesMessage = NamesProcessChanges(reply, size);

  BPListReader reader;
  if (!reader.open(reply, size)) return 0;
  // A list that breaks a limit anywhere decodes to the null value as a whole.
  if (!reader.checkRootObject()) return -1;

  // The records are read from the bytes (see ReplyWalk) and staged; they are made once
  // the reader's copy of the reply is gone, in the order the walk met them.
  RecordStaging staging;
  staging.Reserve(size / 64, size / 2);
  const int result = StageReplyRecords(reader, namesMessage, staging);
  reader.close();
  staging.Deliver(*this);
  return result;
}
