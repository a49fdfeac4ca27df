// Messages: the one way veldrake speaks to a person, one line on standard error.
#ifndef VELDRAKE_HOST_MESSAGES_H_
#define VELDRAKE_HOST_MESSAGES_H_

#include <string>

namespace host {

// "veldrake: LINE" on standard error.
void Say(const std::string& line);

}  // namespace host

#endif  // VELDRAKE_HOST_MESSAGES_H_
