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

// How reading Info.plist went: read, missing, or set aside for a reason.
enum class InfoRead { kOk, kMissing, kNotAFile, kTooLarge, kTooDeep, kDamaged };

// Fills *out when the file is a plain XML property list of a dictionary, not nested
// deeper than any phone's.
InfoRead ReadInfoPlist(const std::string& path, InfoValues* out);

// Why Info.plist was set aside, in words ("nested too deep"); "" for kOk and kMissing.
const char* DescribeInfoRead(InfoRead read);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_INFOPLIST_H_
