// The constant messages the library sends: XML property lists, each one array, built by
// appending fixed pieces. Nothing in them depends on the device, the records or the clock.
// Pure functions of their argument; any thread.
//
// The catalogue (pieces, lengths, who sends what) is described in docs/protocol.md.
#ifndef VELDRAKE_MESSAGES_H_
#define VELDRAKE_MESSAGES_H_

#include <string>

// The messages by the names the protocol notes give them, in catalogue order.
enum class SyncMessage {
  M1,   // version exchange offering version 100; opens StartContactProtocol and the notes
  M2,   // version exchange without a version number; opens GetContact
  M3,   // sync contacts from no anchor, early date, version 106 (StartContactProtocol)
  M4,   // sync contacts from no anchor, late date, version 800 (GetContact)
  M5,   // sync notes from the notes anchor, early date, version 102
  M6,   // get all contact records; sent again until a reply says there is no more
  M7,   // get all note records; the first notes batch answers it
  M8,   // acknowledge the notes batch just read; the next batch answers it
  M9,   // finish the contacts session; no reply is read
  M10,  // finish the notes session; no reply is read
  M11,  // disconnect with "Goodbye"; the last message of either conversation
};

// Empties `out` and appends the pieces of message `m` to it.
void BuildMessage(SyncMessage m, std::string& out);

#endif  // VELDRAKE_MESSAGES_H_
