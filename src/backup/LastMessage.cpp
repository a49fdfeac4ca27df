// One message per thread.
#include "LastMessage.h"

namespace veldrake::backup {

std::string& LastMessage() {
  thread_local std::string message;
  return message;
}

}  // namespace veldrake::backup
