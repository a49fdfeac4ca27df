// The library's entry points and the process-wide session state.
//
// A host calls GetData once per kind of data (1 contacts, 0 notes) and, after every
// GetData that did not end in a conversation failure, DisContectDeviceAndProtocol. The
// state below is process-wide: a host keeps its calls strictly one after the other.
// GetData blocks for the whole conversation; no time-out is set anywhere.
#ifndef VELDRAKE_SESSION_H_
#define VELDRAKE_SESSION_H_

#include "veldrake/Export.h"
#include "veldrake/RecordCallback.h"
#include "veldrake/RecordUnderAnalysis.h"

// The device handle; the host's, stored by StartContectDeviceAndProtocol.
extern VELDRAKE_API void* pDeviceDev;
// The service connection of the sync service; 0 when none is held.
extern VELDRAKE_API void* iDeviceAFC;
// The socket of the service connection.
extern VELDRAKE_API int iSocket;
// Exported for hosts; the library neither reads nor writes them.
extern VELDRAKE_API int iDeviceState;
extern VELDRAKE_API char chUDID[256];

// What GetData exports (its `dataKind`). Any other value connects and runs no export.
enum VeldrakeDataKind : int {
  kVeldrakeNotes = 0,
  kVeldrakeContacts = 1,
};

// The results of GetData and StartContectDeviceAndProtocol. Any other non-zero value is
// the platform's own failure code, passed on unchanged.
enum VeldrakeResult : int {
  kVeldrakeOk = 0,                   // done (or a dataKind that is neither of the above)
  kVeldrakeConversationFailed = -1,  // or a contact export stopped by the callback
  kVeldrakeNoDevice = -5,            // the device handle is null
  kVeldrakeServiceNotStarted = -6,   // the sync service did not start
};

// Runs one export; a VeldrakeResult or the platform's own failure code.
extern "C" VELDRAKE_API int GetData(int dataKind, void* unused, void* device, void* callback);

// Connects the device and starts the sync service; 0, -5, -6 or the platform's code.
VELDRAKE_API int StartContectDeviceAndProtocol(char* unused, void* device);

// Closes the service connection and disconnects the device; 0 or the platform's code.
VELDRAKE_API int DisContectDeviceAndProtocol();

#endif  // VELDRAKE_SESSION_H_
