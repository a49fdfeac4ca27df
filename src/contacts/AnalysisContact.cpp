// Contact record analysis: one person's dictionary into one QX::Contact.
#include "QX/Contact.h"
#include "RecordStaging.h"
#include "prop/prop.h"
#include "veldrake/PListContactAnalysis.h"
#include "veldrake/Session.h"

void PListContactAnalysis::AnalysisContact(std::wstring key) {
  if (pTemp == nullptr) return;
  // The same reading Analysis does for a whole reply, here for one record.
  RecordStaging staging;
  staging.StageContact(RecordStaging::KeyNumber(key.data(), key.size()), *pTemp->_value->dict);
  staging.Deliver(*this);
}
