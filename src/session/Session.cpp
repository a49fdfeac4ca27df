// The entry points: bringing the device and its sync service up, running one export on
// the service's socket, and taking the session down again. The only code that calls the
// device framework and the only code that prints.
#include "veldrake/Session.h"

#include <cstdio>
#include <memory>

#include "CoreFoundation/CoreFoundation.h"
#include "MobileDevice/MobileDevice.h"
#include "veldrake/IOSContact.h"
#include "veldrake/IOSNote.h"

int StartContectDeviceAndProtocol(char* unused, void* device) {
  pDeviceDev = device;
  if (pDeviceDev == nullptr) return kVeldrakeNoDevice;

  // A connection left over from an earlier run would make the connect fail; its result
  // says nothing either way.
  AMDeviceDisconnect(pDeviceDev);
  const int connected = AMDeviceConnect(pDeviceDev);
  if (connected != 0) return connected;

  // Likewise a device session left open; then the session the service start needs.
  AMDeviceStopSession(pDeviceDev);
  const int session = AMDeviceStartSession(pDeviceDev);
  if (session != 0) printf("[RET]AMDeviceStartSession() = %d\n", session);

  const int started = AMDeviceSecureStartService(
      pDeviceDev, __CFStringMakeConstantString("com.apple.mobilesync"), nullptr, &iDeviceAFC);
  if (started != 0) {
    printf("Could not start AFC service  [RET]AMDeviceSecureStartService() = %d\n", started);
    return kVeldrakeServiceNotStarted;
  }

  // The service connection outlives the device session, which is closed before the
  // socket is asked for.
  const int stopped = AMDeviceStopSession(pDeviceDev);
  if (stopped != 0) {
    printf("[RET]AMDeviceStopSession() = %d\n", stopped);
    return stopped;
  }
  iSocket = AMDServiceConnectionGetSocket(iDeviceAFC);
  return kVeldrakeOk;
}

int DisContectDeviceAndProtocol() {
  if (iDeviceAFC != nullptr) {
    const int closed = AFCConnectionClose(iDeviceAFC);
    if (closed != 0) {
      // The connection is kept, so a later call tries the same close again.
      printf("[RET]AFCConnectionClose() = %d\n", closed);
      return closed;
    }
    iDeviceAFC = nullptr;
  }
  if (pDeviceDev == nullptr) return kVeldrakeOk;
  const int disconnected = AMDeviceDisconnect(pDeviceDev);
  if (disconnected != 0) {
    printf("[RET]AMDeviceDisconnect() = %d\n", disconnected);
    return disconnected;
  }
  return kVeldrakeOk;
}

extern "C" int GetData(int dataKind, void* unused, void* device, void* callback) {
  const int started = StartContectDeviceAndProtocol(nullptr, device);
  if (started != kVeldrakeOk) return started;

  // The conversations answer 0 or -1, which are kVeldrakeOk and kVeldrakeConversationFailed.
  int result = kVeldrakeOk;
  if (dataKind == kVeldrakeContacts) {
    std::unique_ptr<IOSContact> contact(new IOSContact);
    result = contact->GetContact(iSocket, callback);
  } else if (dataKind == kVeldrakeNotes) {
    std::unique_ptr<IOSNote> note(new IOSNote);
    result = note->GetNote(iSocket, callback);
  } else {
    return kVeldrakeOk;
  }

  // A failed conversation leaves the stream at an unknown position: nothing more can be
  // said on it, so the session is closed here. The close's own result is only printed.
  if (result != kVeldrakeOk) DisContectDeviceAndProtocol();
  return result;
}
