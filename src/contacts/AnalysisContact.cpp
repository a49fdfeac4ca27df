// Contact record analysis: one person's dictionary into one QX::Contact.
#include <string_view>

#include "PListContactAnalysis.h"
#include "QX/Contact.h"
#include "prop/prop.h"
#include "veldrake/RecordUnderAnalysis.h"
#include "veldrake/wstrtoi.h"

using veldrake::NewRecordText;
using veldrake::NewRecordTextOrDate;

namespace {

struct PersonKey {
  std::wstring_view key;
  char* QX::Contact::*field;
};

// Compared whole and exactly; a prefix ("first name" of "first name yomi") is no match.
constexpr PersonKey kPersonKeys[] = {
    {L"first name", &QX::Contact::firstName},
    {L"last name", &QX::Contact::lastName},
    {L"middle name", &QX::Contact::middleName},
    {L"notes", &QX::Contact::notes},
    {L"company name", &QX::Contact::companyName},
    {L"department", &QX::Contact::department},
    {L"job title", &QX::Contact::jobTitle},
    {L"first name yomi", &QX::Contact::firstNameYomi},
    {L"last name yomi", &QX::Contact::lastNameYomi},
    {L"nickname", &QX::Contact::nickname},
    {L"suffix", &QX::Contact::suffix},
};

constexpr std::wstring_view kBirthday = L"birthday";

}  // namespace

void PListContactAnalysis::AnalysisContact(std::wstring key) {
  if (pTemp == nullptr || pTemp->dict() == nullptr) return;
  // Owned by the vector from the start; a failed allocation leaves a null slot at most.
  contacts.push_back(nullptr);
  QX::Contact* contact = contacts.back() = new QX::Contact();
  contact->id = wstrtoi(std::move(key));

  for (const auto& entry : *pTemp->dict()) {
    const std::wstring_view name = entry.first;
    const prop& value = entry.second;
    if (name == kBirthday) {
      // Delivered only from a date, and then as text.
      if (contact->birthday == nullptr && value.hasTag(prop::object::TagDate)) {
        contact->birthday = NewRecordTextOrDate(value);
      }
      continue;
    }
    for (const PersonKey& row : kPersonKeys) {
      if (name != row.key) continue;
      char*& field = contact->*row.field;
      if (field == nullptr) field = NewRecordText(value);
      break;
    }
  }
}
