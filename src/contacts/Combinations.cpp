// Contact assembly and delivery: joins each person to its items by number and lends it to
// the host's callback, one record at a time.
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "Assert.h"
#include "PListContactAnalysis.h"
#include "QX/Contact.h"
#include "veldrake/RecordCallback.h"

namespace {

constexpr size_t kNoOwner = SIZE_MAX;

// The positions of a list's entries grouped by the contact that takes them, each group in
// list order: group i is order[start[i] .. start[i + 1]). A counting sort, so the join
// costs one pass over each list instead of one pass per contact.
struct Groups {
  std::vector<size_t> start;
  std::vector<size_t> order;
};

template <typename Entry>
Groups GroupByOwner(const std::vector<Entry*>& entries,
                    const std::unordered_map<int32_t, size_t>& owners, size_t contactCount) {
  std::vector<size_t> ownerOf(entries.size(), kNoOwner);
  Groups groups;
  groups.start.assign(contactCount + 1, 0);
  for (size_t i = 0; i < entries.size(); ++i) {
    if (entries[i] == nullptr) continue;
    const auto found = owners.find(entries[i]->id);
    if (found == owners.end()) continue;
    ownerOf[i] = found->second;
    ++groups.start[found->second + 1];
  }
  for (size_t c = 0; c < contactCount; ++c) groups.start[c + 1] += groups.start[c];
  groups.order.resize(groups.start[contactCount]);
  std::vector<size_t> next(groups.start.begin(), groups.start.end() - 1);
  for (size_t i = 0; i < entries.size(); ++i) {
    if (ownerOf[i] != kNoOwner) groups.order[next[ownerOf[i]]++] = i;
  }
  return groups;
}

// Moves the items of contact `c`'s group into `into`, in list order; each entry lets go
// of what the contact now owns.
template <typename Entry, typename Item>
void Join(const std::vector<Entry*>& entries, const Groups& groups, size_t c, Item* Entry::*member,
          std::vector<Item*>& into) {
  const size_t begin = groups.start[c], end = groups.start[c + 1];
  into.reserve(into.size() + (end - begin));
  for (size_t k = begin; k < end; ++k) {
    Entry* entry = entries[groups.order[k]];
    into.push_back(entry->*member);
    entry->*member = nullptr;
  }
}

}  // namespace

int PListContactAnalysis::Combinations(std::vector<QX::Contact*>& /*unused*/, void* callback) {
  const size_t count = contacts.size();
  // When several contacts share a number, the first of them takes the items: a pointer
  // can have one owner only.
  std::unordered_map<int32_t, size_t> owners;
  owners.reserve(count);
  for (size_t c = 0; c < count; ++c) {
    if (contacts[c] != nullptr) owners.emplace(contacts[c]->id, c);
  }
  const Groups fieldGroups = GroupByOwner(fields, owners, count);
  const Groups addressGroups = GroupByOwner(addresses, owners, count);

  int result = kDelivered;
  for (size_t c = 0; c < count; ++c) {
    QX::Contact* contact = contacts[c];
    if (contact == nullptr) continue;
    // Joined right before the offer.
    Join(fields, fieldGroups, c, &PListField::field, contact->fields);
    Join(addresses, addressGroups, c, &PListAddress::fields, contact->addresses);

    VELDRAKE_ASSERT(callback != nullptr);
    const int answer = reinterpret_cast<VeldrakeRecordCallback>(callback)(contact);
    if (answer == kHostStops) {
      result = kStopped;
      break;
    }
    delete contact;
    contacts[c] = nullptr;
  }

  if (result == kStopped) {
    // The contact just offered still has its slot; those behind it were never joined.
    for (QX::Contact*& contact : contacts) {
      delete contact;
      contact = nullptr;
    }
    contacts.clear();
  }
  // Intermediate records, and the items that no contact took, end with the delivery.
  ReleaseItems();
  return result;
}
