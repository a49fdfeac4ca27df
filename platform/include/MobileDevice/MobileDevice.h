// Our own declarations of the MobileDevice operations the library calls, written from
// what the library relies on. On Apple platforms they resolve to the private framework;
// elsewhere to the stand-in in platform/mobiledevice. Results: 0 success, else a code.
#ifndef VELDRAKE_PLATFORM_MOBILEDEVICE_H_
#define VELDRAKE_PLATFORM_MOBILEDEVICE_H_

#include "CoreFoundation/CoreFoundation.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void* AMDeviceRef;              // the device handle, owned by the host
typedef void* AMDServiceConnectionRef;  // a started service's connection

int AMDeviceConnect(AMDeviceRef device);
int AMDeviceDisconnect(AMDeviceRef device);
int AMDeviceStartSession(AMDeviceRef device);
int AMDeviceStopSession(AMDeviceRef device);
// Starts `service`; on 0 the connection has been written through `connection`.
int AMDeviceSecureStartService(AMDeviceRef device, CFStringRef service, void* options,
                               AMDServiceConnectionRef* connection);
// The connected, blocking stream socket of the connection.
int AMDServiceConnectionGetSocket(AMDServiceConnectionRef connection);
// Closes the connection and with it the socket.
int AFCConnectionClose(AMDServiceConnectionRef connection);

#ifdef __cplusplus
}
#endif

#endif  // VELDRAKE_PLATFORM_MOBILEDEVICE_H_
