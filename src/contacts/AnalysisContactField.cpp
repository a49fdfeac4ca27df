// Contact field analysis: one sub-record (a phone number, an e-mail address, an address
// and the like) into one PListField or PListAddress, keyed by its owner's number.
#include "RecordStaging.h"
#include "prop/prop.h"
#include "veldrake/PListContactAnalysis.h"
#include "veldrake/Session.h"

void PListContactAnalysis::AnalysisContactField(std::wstring ownerText, std::wstring propertyText) {
  if (pTemp == nullptr) return;
  const int32_t owner = RecordStaging::KeyNumber(ownerText.data(), ownerText.size());
  const int32_t property = RecordStaging::KeyNumber(propertyText.data(), propertyText.size());
  // The same reading Analysis does for a whole reply, here for one record.
  RecordStaging staging;
  staging.StageItem(owner, property, *pTemp->_value->dict);
  staging.Deliver(*this);
}
