// Messages: the one way veldrake speaks to a person, one line on standard error.
#ifndef VELDRAKE_HOST_MESSAGES_H_
#define VELDRAKE_HOST_MESSAGES_H_

#include <string>

namespace host {

// "veldrake: LINE" on standard error.
void Say(const std::string& line);

// A warning of the backup library's (its warning callback's shape): "warning: LINE",
// the line shown without terminal controls or invalid UTF-8.
void SayBackupWarning(const char* line, void* context);

}  // namespace host

#endif  // VELDRAKE_HOST_MESSAGES_H_
