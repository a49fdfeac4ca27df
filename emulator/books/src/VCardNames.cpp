// Names from FN, and preferred values first.
#include "VCardNames.h"

#include <map>

#include "VCardProperty.h"
#include "VCardText.h"

namespace devicesim {

void SplitFormattedName(const std::string& formatted, Person* person) {
  const std::string name = Trim(formatted);
  const size_t comma = name.find(',');
  if (comma != std::string::npos && name.find(',', comma + 1) == std::string::npos &&
      !Trim(name.substr(0, comma)).empty() && !Trim(name.substr(comma + 1)).empty()) {
    person->lastName = Trim(name.substr(0, comma));
    person->firstName = Trim(name.substr(comma + 1));
    return;
  }
  const size_t space = name.find_last_of(" \t");
  if (space == std::string::npos) {
    person->firstName = name;
    return;
  }
  person->firstName = Trim(name.substr(0, space));
  person->lastName = name.substr(space + 1);
}

void PutPreferredFirst(const std::vector<int>& preferences, std::vector<Item>* items) {
  std::map<int, size_t> best;  // property -> index of its most preferred item
  for (size_t i = 0; i < items->size() && i < preferences.size(); ++i) {
    if (preferences[i] >= kNotPreferred) continue;
    auto found = best.find((*items)[i].property);
    if (found == best.end() || preferences[i] < preferences[found->second])
      best[(*items)[i].property] = i;
  }
  if (best.empty()) return;
  std::vector<bool> first(items->size(), false);
  for (const auto& entry : best) first[entry.second] = true;
  std::vector<Item> ordered;
  ordered.reserve(items->size());
  for (size_t i = 0; i < items->size(); ++i)
    if (first[i]) ordered.push_back(std::move((*items)[i]));
  for (size_t i = 0; i < items->size(); ++i)
    if (!first[i]) ordered.push_back(std::move((*items)[i]));
  items->swap(ordered);
}

}  // namespace devicesim
