// PlistMember: one member of a dictionary read from a binary property list (Manifest.plist,
// Status.plist, a Files row's archive), found without trusting the value to be a dictionary.
//
// Thread contract: pure function, any thread.
#ifndef VELDRAKE_BACKUP_PLISTMEMBER_H_
#define VELDRAKE_BACKUP_PLISTMEMBER_H_

#include "prop/prop.h"

namespace veldrake::backup {

// The member `key` of `dict`; null when `dict` is no dictionary or has no such member.
inline const prop* Member(const prop& dict, const wchar_t* key) {
  const auto* entries = dict.dict();
  if (entries == nullptr) return nullptr;
  const auto found = entries->find(key);
  return found == entries->end() ? nullptr : &found->second;
}

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_PLISTMEMBER_H_
