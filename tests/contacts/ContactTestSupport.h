// Helpers shared by the contact tests: record analysis through `pTemp`, and a record
// callback that copies what it is lent (tests/common/RecordCopy.h).
#ifndef VELDRAKE_TESTS_CONTACTS_CONTACTTESTSUPPORT_H_
#define VELDRAKE_TESTS_CONTACTS_CONTACTTESTSUPPORT_H_

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "PListContactAnalysis.h"
#include "PropBuild.h"
#include "QX/Contact.h"
#include "RecordCopy.h"
#include "veldrake/Session.h"

namespace contacttest {

// Runs one record analysis the way the batch walk does.
inline void AnalyseContact(PListContactAnalysis& analysis, const std::string& key, prop record) {
  pTemp = &record;
  analysis.AnalysisContact(propbuild::Units(key));
  pTemp = nullptr;
}

inline void AnalyseField(PListContactAnalysis& analysis, const std::string& owner,
                         const std::string& property, prop record) {
  pTemp = &record;
  analysis.AnalysisContactField(propbuild::Units(owner), propbuild::Units(property));
  pTemp = nullptr;
}

using recordcopy::CopyContact;
using recordcopy::SeenContact;
using recordcopy::Text;

// The record callback: copies each contact and answers from `answers` by call number
// (0 once the list runs out).
struct Recorder {
  std::vector<SeenContact> seen;
  std::vector<int> answers;
};
inline Recorder* gRecorder = nullptr;

inline int RecordContact(void* record) {
  gRecorder->seen.push_back(CopyContact(*static_cast<QX::Contact*>(record)));
  const size_t call = gRecorder->seen.size() - 1;
  return call < gRecorder->answers.size() ? gRecorder->answers[call] : 0;
}

inline void* Callback() {
  return reinterpret_cast<void*>(&RecordContact);
}

}  // namespace contacttest

#endif  // VELDRAKE_TESTS_CONTACTS_CONTACTTESTSUPPORT_H_
