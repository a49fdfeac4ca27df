// A thin owner of libplist nodes and the few accessors the daemon and lockdown need.
#ifndef DEVICESIM_PHONE_PLIST_H_
#define DEVICESIM_PHONE_PLIST_H_

#include <plist/plist.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace devicesim {
namespace phone {

struct PlistFree {
  void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using Plist = std::unique_ptr<void, PlistFree>;

inline Plist NewDict() {
  return Plist(plist_new_dict());
}

// Parses XML or binary property-list bytes; null for anything else.
Plist ParsePlist(const std::string& bytes);
std::string ToXml(plist_t node);

// Values of a dictionary's keys; nullopt when missing or of another type.
std::optional<std::string> StringAt(plist_t dict, const char* key);
std::optional<uint64_t> UintAt(plist_t dict, const char* key);
std::optional<std::string> DataAt(plist_t dict, const char* key);
plist_t DictAt(plist_t dict, const char* key);  // borrowed; null unless a dictionary

void SetString(plist_t dict, const char* key, const std::string& value);
void SetUint(plist_t dict, const char* key, uint64_t value);
void SetBool(plist_t dict, const char* key, bool value);
void SetData(plist_t dict, const char* key, const std::string& bytes);
void SetNode(plist_t dict, const char* key, Plist node);  // takes the node

}  // namespace phone
}  // namespace devicesim

#endif  // DEVICESIM_PHONE_PLIST_H_
