// NoteFaultTables: merge documents (uncompressed) that break a table reader's assumptions.
//
// Thread contract: pure functions.
#ifndef DEVICESIM_BACKUP_NOTEFAULTTABLES_H_
#define DEVICESIM_BACKUP_NOTEFAULTTABLES_H_

#include <string>

namespace devicesim::backup {

// The table's rows, columns and cells name entries that do not exist.
std::string TableOutOfRange();
// The rows are the table object itself; columns and cells refer to themselves.
std::string TableCycle();
// A million row slots, all one UUID (a few megabytes compressed), as rows and columns.
std::string TableMillionRows();

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_NOTEFAULTTABLES_H_
