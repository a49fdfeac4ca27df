// Reading a reply's records out of the tree, and making them once the tree is gone.
#include "RecordStaging.h"

#include <cstdlib>
#include <memory>
#include <string_view>

#include "QX/Contact.h"
#include "QX/ContactAddressFields.h"
#include "QX/ContactField.h"
#include "prop/prop.h"
#include "veldrake/PListContactAnalysis.h"
#include "veldrake/wstrtoi.h"

namespace {

// A person's keys. Compared whole and exactly; a prefix ("first name" of "first name yomi")
// is no match. The row's position is the member number staged for it.
struct PersonKey {
  std::wstring_view key;
  char* QX::Contact::*field;
};
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
constexpr uint32_t kBirthdayMember = sizeof kPersonKeys / sizeof kPersonKeys[0];
constexpr std::wstring_view kBirthday = L"birthday";

// An address's keys: "type" is member 0 and lands in the address fields themselves; the
// rows of the table are members 1 to 5 of the address.
struct AddressKey {
  std::wstring_view key;
  char* QX::ContactAddress::*member;
};
constexpr AddressKey kAddressKeys[] = {
    {L"street", &QX::ContactAddress::street},   {L"city", &QX::ContactAddress::city},
    {L"state", &QX::ContactAddress::state},     {L"postal code", &QX::ContactAddress::postalCode},
    {L"country", &QX::ContactAddress::country},
};
constexpr uint32_t kAddressTypeMember = 0;

// A field's two members.
constexpr uint32_t kValueMember = 0;
constexpr uint32_t kLabelMember = 1;

constexpr int32_t kPostalAddress = 5;

// The device's address-book property numbers of multi-valued items, and the kind each
// becomes for the host. Every other number is kind 0.
int32_t KindOfProperty(int32_t property) {
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

// A later text takes the place of an earlier one.
void Replace(char*& member, char* text) {
  delete[] member;
  member = text;
}

}  // namespace

void RecordStaging::Reserve(size_t records, size_t textBytes) {
  records_.reserve(records);
  texts_.reserve(4 * records);
  bytes_.reserve(textBytes);
}

int32_t RecordStaging::KeyNumber(const wchar_t* text, size_t length) {
  // Key pieces are short runs of ASCII digits. For ASCII every locale's wcstombs gives the
  // units' own bytes, so those are read in place; anything else takes the general way.
  // Plain digits that cannot overflow are what strtol would read, digit by digit.
  if (length > 0 && length <= 9) {
    int32_t value = 0;
    size_t i = 0;
    while (i < length && text[i] >= L'0' && text[i] <= L'9')
      value = 10 * value + (text[i++] - L'0');
    if (i == length) return value;
  }
  char narrow[32];
  if (length < sizeof narrow) {
    size_t i = 0;
    while (i < length && text[i] > 0 && text[i] < 0x80) {
      narrow[i] = static_cast<char>(text[i]);
      ++i;
    }
    if (i == length) {
      narrow[i] = '\0';
      return static_cast<int32_t>(std::strtol(narrow, nullptr, 10));
    }
  }
  return wstrtoi(std::wstring(text, length));
}

void RecordStaging::AddText(uint32_t member, const prop& value, bool dateAccepted) {
  if (!value._value) return;
  const prop::object& body = *value._value;
  const size_t offset = bytes_.size();
  switch (body.type) {
    case prop::object::TagUnicode:
      prop::appendUtf8(*body.wide, bytes_);
      break;
    case prop::object::TagAscii:
      bytes_ += *body.bytes;
      break;
    case prop::object::TagDate:
      if (!dateAccepted) return;
      bytes_ += value.toDate();
      break;
    default:
      return;
  }
  texts_.push_back(Text{member, offset, bytes_.size() - offset});
}

void RecordStaging::AddText(uint32_t member, const RawValue& value, bool dateAccepted) {
  const size_t offset = bytes_.size();
  switch (value.kind) {
    case RawValue::Unicode:
      wide_.resize(value.count);
      for (size_t i = 0; i < value.count; ++i)
        wide_[i] = static_cast<wchar_t>((value.bytes[2 * i] << 8) | value.bytes[2 * i + 1]);
      prop::appendUtf8(wide_, bytes_);
      break;
    case RawValue::Ascii:
      bytes_.append(reinterpret_cast<const char*>(value.bytes), value.count);
      break;
    case RawValue::Date:
      if (!dateAccepted) return;
      bytes_ += prop::createDate(value.date).toDate();
      break;
    default:
      return;
  }
  texts_.push_back(Text{member, offset, bytes_.size() - offset});
}

namespace {

bool IsDate(const prop& value) {
  return value.hasTag(prop::object::TagDate);
}
bool IsDate(const RecordStaging::RawValue& value) {
  return value.kind == RecordStaging::RawValue::Date;
}

}  // namespace

void RecordStaging::StageContact(int32_t id, const std::map<std::wstring, prop>& record) {
  StageContactEntries(id, record);
}
void RecordStaging::StageContact(int32_t id, const std::vector<RawEntry>& record) {
  StageContactEntries(id, record);
}
void RecordStaging::StageItem(int32_t owner, int32_t property,
                              const std::map<std::wstring, prop>& record) {
  StageItemEntries(owner, property, record);
}
void RecordStaging::StageItem(int32_t owner, int32_t property,
                              const std::vector<RawEntry>& record) {
  StageItemEntries(owner, property, record);
}

template <typename Dict>
void RecordStaging::StageContactEntries(int32_t id, const Dict& record) {
  records_.push_back(Record{Kind::Contact, id, 0, texts_.size()});
  for (const auto& entry : record) {
    const std::wstring_view name = entry.first;
    if (name == kBirthday) {
      // Delivered only from a date, and then as text.
      if (IsDate(entry.second)) AddText(kBirthdayMember, entry.second, true);
      continue;
    }
    for (uint32_t row = 0; row < kBirthdayMember; ++row) {
      if (name != kPersonKeys[row].key) continue;
      AddText(row, entry.second, false);
      break;
    }
  }
}

template <typename Dict>
void RecordStaging::StageItemEntries(int32_t owner, int32_t property, const Dict& record) {
  if (property == kPostalAddress) {
    records_.push_back(Record{Kind::Address, owner, property, texts_.size()});
    for (const auto& entry : record) {
      const std::wstring_view name = entry.first;
      if (name == L"type") {
        AddText(kAddressTypeMember, entry.second, false);
        continue;
      }
      for (uint32_t row = 0; row < sizeof kAddressKeys / sizeof kAddressKeys[0]; ++row) {
        if (name != kAddressKeys[row].key) continue;
        AddText(row + 1, entry.second, false);
        break;
      }
    }
    return;
  }
  records_.push_back(Record{Kind::Field, owner, property, texts_.size()});
  // Map order puts "label" ahead of "service" and "type", so a "label" key, whatever it
  // holds, shuts the other two out; and "user" ahead of "value", so "value" wins.
  bool labelSeen = false;
  for (const auto& entry : record) {
    const std::wstring_view name = entry.first;
    if (name == L"value" || name == L"user") {
      AddText(kValueMember, entry.second, true);
    } else if (name == L"label" || name == L"service" || name == L"type") {
      if (labelSeen) continue;
      if (name == L"label") labelSeen = true;
      AddText(kLabelMember, entry.second, false);
    }
  }
}

void RecordStaging::Deliver(PListContactAnalysis& into) {
  for (size_t r = 0; r < records_.size(); ++r) {
    const Record& staged = records_[r];
    const size_t begin = staged.firstText;
    const size_t end = r + 1 < records_.size() ? records_[r + 1].firstText : texts_.size();
    auto textOf = [this](const Text& text) {
      return NewRecordText(bytes_.data() + text.offset, text.length);
    };

    if (staged.kind == Kind::Contact) {
      // Owned by the vector from the start; a failed allocation leaves a null slot at most.
      into.contacts.push_back(nullptr);
      QX::Contact* contact = into.contacts.back() = new QX::Contact();
      contact->id = staged.id;
      for (size_t t = begin; t < end; ++t) {
        const Text& text = texts_[t];
        char*& field = text.member == kBirthdayMember ? contact->birthday
                                                      : contact->*kPersonKeys[text.member].field;
        if (field == nullptr) field = textOf(text);
      }
      continue;
    }

    // The new record joins its vector only once it is complete; a failed allocation on the
    // way leaves at most a null slot, which every reader of the vectors skips.
    if (staged.kind == Kind::Address) {
      auto entry = std::make_unique<PListAddress>();
      entry->id = staged.id;
      auto address = std::make_unique<QX::ContactAddressFields>();
      for (size_t t = begin; t < end; ++t) {
        const Text& text = texts_[t];
        if (text.member == kAddressTypeMember) {
          Replace(address->type, textOf(text));
        } else {
          Replace(address->address->*kAddressKeys[text.member - 1].member, textOf(text));
        }
      }
      into.addresses.push_back(nullptr);
      entry->fields = address.release();
      into.addresses.back() = entry.release();
      continue;
    }

    auto entry = std::make_unique<PListField>();
    entry->id = staged.id;
    auto field = std::make_unique<QX::ContactField>(KindOfProperty(staged.property));
    for (size_t t = begin; t < end; ++t) {
      const Text& text = texts_[t];
      Replace(text.member == kValueMember ? field->value : field->label, textOf(text));
    }
    into.fields.push_back(nullptr);
    entry->field = field.release();
    into.fields.back() = entry.release();
  }
  records_.clear();
  texts_.clear();
  bytes_.clear();
}
