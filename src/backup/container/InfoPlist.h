// InfoPlist: the few values the listing takes from a backup's Info.plist, an XML property
// list, read with libplist.
//
// Thread contract: pure function, any thread.
#ifndef VELDRAKE_BACKUP_INFOPLIST_H_
#define VELDRAKE_BACKUP_INFOPLIST_H_

#include <cstdint>
#include <string>

namespace veldrake::backup {

struct InfoValues {
  std::string udid, name, version;
  int64_t date = -1;  // "Last Backup Date", seconds since 1970
};

// False when the file is missing, a link, too large, nested deeper than any phone's, or
// no XML property list of a dictionary.
bool ReadInfoPlist(const std::string& path, InfoValues* out);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_INFOPLIST_H_
