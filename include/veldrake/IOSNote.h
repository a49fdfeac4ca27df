// IOSNote: the note conversation (data class com.apple.Notes) on the session's socket.
// Hands each note to the host's callback from inside the analysis of its reply,
// acknowledges every batch and closes the conversation itself. Stateless; one thread.
#ifndef VELDRAKE_IOSNOTE_H_
#define VELDRAKE_IOSNOTE_H_

#include "veldrake/Export.h"

class VELDRAKE_API IOSNote {
 public:
  IOSNote();
  ~IOSNote();

  // Version and sync-request exchanges. 0 or -1.
  int Init(int socket);
  // The export: Init, the request, the acknowledge loop, the closing messages. 0 or -1.
  int GetNote(int socket, void* callback);
};

#endif  // VELDRAKE_IOSNOTE_H_
