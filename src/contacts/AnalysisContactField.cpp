// Contact field analysis: one sub-record (a phone number, an e-mail address, an address
// and the like) into one PListField or PListAddress, keyed by its owner's number.
#include <memory>
#include <string_view>

#include "PListContactAnalysis.h"
#include "QX/ContactAddressFields.h"
#include "QX/ContactField.h"
#include "prop/prop.h"
#include "veldrake/RecordUnderAnalysis.h"
#include "veldrake/wstrtoi.h"

namespace {

constexpr int kPostalAddress = 5;

// The device's address-book property numbers of multi-valued items, and the kind each
// becomes for the host. Every other number is kind 0.
int KindOfProperty(int property) {
  switch (property) {
    case 3:
      return 1;  // phone number
    case 4:
      return 2;  // e-mail address
    case 22:
      return 3;  // URL
    case 23:
      return 4;  // related name
    case 13:
      return 5;  // instant-messaging account
    case 12:
      return 6;  // date
    case 46:
      return 7;  // social profile
    default:
      return 0;
  }
}

// A later text takes the place of an earlier one; a value of an unaccepted tag leaves the
// member as it was.
void Store(char*& member, const prop& value, bool dateAccepted) {
  char* text = NewRecordText(value, dateAccepted);
  if (text == nullptr) return;
  delete[] member;
  member = text;
}

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
      Store(address.type, entry.second, false);
      continue;
    }
    for (const AddressKey& row : kAddressKeys) {
      if (name != row.key) continue;
      Store(address.address->*row.member, entry.second, false);
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
      Store(field.value, entry.second, true);
    } else if (name == L"label" || name == L"service" || name == L"type") {
      if (labelSeen) continue;
      if (name == L"label") labelSeen = true;
      Store(field.label, entry.second, false);
    }
  }
}

}  // namespace

void PListContactAnalysis::AnalysisContactField(std::wstring ownerText, std::wstring propertyText) {
  if (pTemp == nullptr) return;
  const int owner = wstrtoi(std::move(ownerText));
  const int property = wstrtoi(std::move(propertyText));
  const std::map<std::wstring, prop>& record = *pTemp->_value->dict;

  // The new record joins its vector only once it is complete; a failed allocation on the
  // way leaves at most a null slot, which every reader of the vectors skips.
  if (property == kPostalAddress) {
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
