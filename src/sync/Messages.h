// The constant messages the library sends: XML property lists, each one array, built by
// appending fixed pieces. Nothing in them depends on the device, the records or the clock.
// Pure functions of their argument; any thread.
//
// The catalogue (pieces, lengths, who sends what) is described in docs/protocol.md.
#ifndef VELDRAKE_MESSAGES_H_
#define VELDRAKE_MESSAGES_H_

#include <string>

enum class SyncMessage { M1, M2, M3, M4, M5, M6, M7, M8, M9, M10, M11 };

// Empties `out` and appends the pieces of message `m` to it.
void BuildMessage(SyncMessage m, std::string& out);

#endif  // VELDRAKE_MESSAGES_H_
