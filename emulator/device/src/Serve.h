// The serving loop behind ServeConnection, with the choice of leaving the descriptor
// open: InProcessDevice and Listener shut a connection down from another thread to stop
// it, so they close the descriptor only after the loop has returned.
#ifndef DEVICESIM_SRC_SERVE_H_
#define DEVICESIM_SRC_SERVE_H_

#include "devicesim/Conversation.h"

namespace devicesim {

Transcript ServeLoop(int fd, const AddressBook& book, const NoteStore& notes,
                     const DeviceOptions& options, bool closeAtEnd);

}  // namespace devicesim

#endif  // DEVICESIM_SRC_SERVE_H_
