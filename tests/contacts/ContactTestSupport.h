// Helpers shared by the contact tests: record analysis through `pTemp`, and a record
// callback that copies what it is lent.
#ifndef VELDRAKE_TESTS_CONTACTS_CONTACTTESTSUPPORT_H_
#define VELDRAKE_TESTS_CONTACTS_CONTACTTESTSUPPORT_H_

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "PListContactAnalysis.h"
#include "PropBuild.h"
#include "QX/Contact.h"
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

inline std::string Text(const char* text) {
  return text ? std::string(text) : "<null>";
}

// A contact as the host copies it during its callback.
struct SeenContact {
  int id = 0;
  std::vector<std::string> names;      // first, first yomi, middle, last, last yomi, suffix,
                                       // nickname, job, department, company, notes, birthday
  std::vector<std::string> fields;     // "kind|label|value"
  std::vector<std::string> addresses;  // "type|street|city|state|postal|country"
};

inline SeenContact Copy(const QX::Contact& c) {
  SeenContact seen;
  seen.id = c.id;
  for (const char* text :
       {c.firstName, c.firstNameYomi, c.middleName, c.lastName, c.lastNameYomi, c.suffix,
        c.nickname, c.jobTitle, c.department, c.companyName, c.notes, c.birthday}) {
    seen.names.push_back(Text(text));
  }
  for (const QX::ContactField* f : c.fields) {
    seen.fields.push_back(std::to_string(f->kind) + "|" + Text(f->label) + "|" + Text(f->value));
  }
  for (const QX::ContactAddressFields* a : c.addresses) {
    const QX::ContactAddress& d = *a->address;
    seen.addresses.push_back(Text(a->type) + "|" + Text(d.street) + "|" + Text(d.city) + "|" +
                             Text(d.state) + "|" + Text(d.postalCode) + "|" + Text(d.country));
  }
  return seen;
}

// The record callback: copies each contact and answers from `answers` by call number
// (0 once the list runs out).
struct Recorder {
  std::vector<SeenContact> seen;
  std::vector<int> answers;
};
inline Recorder* gRecorder = nullptr;

inline int RecordContact(void* record) {
  gRecorder->seen.push_back(Copy(*static_cast<QX::Contact*>(record)));
  const size_t call = gRecorder->seen.size() - 1;
  return call < gRecorder->answers.size() ? gRecorder->answers[call] : 0;
}

inline void* Callback() {
  return reinterpret_cast<void*>(&RecordContact);
}

}  // namespace contacttest

#endif  // VELDRAKE_TESTS_CONTACTS_CONTACTTESTSUPPORT_H_
