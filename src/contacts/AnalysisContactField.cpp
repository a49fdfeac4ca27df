// Contact field analysis: one sub-record (a phone number, an e-mail address, an address
// and the like) into one PListField or PListAddress, keyed by its owner's number.
#include <memory>
#include <string_view>

#include "ContactProperties.h"
#include "PListContactAnalysis.h"
#include "QX/ContactAddressFields.h"
#include "QX/ContactField.h"
#include "prop/prop.h"
#include "veldrake/RecordUnderAnalysis.h"
#include "veldrake/wstrtoi.h"

using veldrake::KindOfProperty;
using veldrake::kPropertyPostalAddress;
using veldrake::NewRecordText;
using veldrake::NewRecordTextOrDate;
using veldrake::StoreRecordText;

namespace {

void FillAddress(QX::ContactAddressFields& address, const std::map<std::wstring, prop>& record) {
  struct AddressKey {
    std::wstring_view key;
    char* QX::ContactAddress::*member;
  };
  static constexpr AddressKey kAddressKeys[] = {
      {L"street", &QX::ContactAddress::street},   {L"city", &QX::ContactAddress::city},
      {L"state", &QX::ContactAddress::state},     {L"postal code", &QX::ContactAddress::postalCode},
      {L"country", &QX::ContactAddress::country},
  };
  for (const auto& entry : record) {
    const std::wstring_view name = entry.first;
    if (name == L"type") {
      StoreRecordText(address.type, NewRecordText(entry.second));
      continue;
    }
    for (const AddressKey& row : kAddressKeys) {
      if (name != row.key) continue;
      StoreRecordText(address.address->*row.member, NewRecordText(entry.second));
      break;
    }
  }
}

void FillField(QX::ContactField& field, const std::map<std::wstring, prop>& record) {
  // Map order puts "label" ahead of "service" and "type", so a "label" key, whatever it
  // holds, shuts the other two out; and "user" ahead of "value", so "value" wins.
  bool labelSeen = false;
  for (const auto& entry : record) {
    const std::wstring_view name = entry.first;
    if (name == L"value" || name == L"user") {
      StoreRecordText(field.value, NewRecordTextOrDate(entry.second));
    } else if (name == L"label" || name == L"service" || name == L"type") {
      if (labelSeen) continue;
      if (name == L"label") labelSeen = true;
      StoreRecordText(field.label, NewRecordText(entry.second));
    }
  }
}

}  // namespace

void PListContactAnalysis::AnalysisContactField(std::wstring ownerText, std::wstring propertyText) {
  if (pTemp == nullptr || pTemp->dict() == nullptr) return;
  const int owner = wstrtoi(std::move(ownerText));
  const int property = wstrtoi(std::move(propertyText));
  const std::map<std::wstring, prop>& record = *pTemp->dict();

  // The new record joins its vector only once it is complete; a failed allocation on the
  // way leaves at most a null slot, which every reader of the vectors skips.
  if (property == kPropertyPostalAddress) {
    auto entry = std::make_unique<PListAddress>();
    entry->id = owner;
    auto address = std::make_unique<QX::ContactAddressFields>();
    FillAddress(*address, record);
    addresses.push_back(nullptr);
    entry->fields = address.release();
    addresses.back() = entry.release();
    return;
  }
  auto entry = std::make_unique<PListField>();
  entry->id = owner;
  auto field = std::make_unique<QX::ContactField>(KindOfProperty(property));
  FillField(*field, record);
  fields.push_back(nullptr);
  entry->field = field.release();
  fields.back() = entry.release();
}
