/* The MobileDevice stand-in's own control interface, for emulators, hosts and tests on
   machines without the framework. A device made here is a valid device handle for every
   MobileDevice operation; its sync service is whatever stream socket the endpoint names.

   Endpoints:
     unix:PATH       a listening Unix stream socket; every service start connects anew
     tcp:HOST:PORT   a listening TCP socket (meant for loopback); every start connects anew
     fd:N            an already connected stream socket, e.g. one end of a socketpair whose
                     other end an in-process emulator serves. The device owns N from now on;
                     the first service start uses it, and every later start fails with
                     MDSIM_ERR_CONNECTION_FAILED.
   Whatever the endpoint, the library is handed one end of a socket pair and a relay thread
   carries the bytes to and from the device's connection; it counts what the device sends
   (mdsim_bytes_received) and notices a device that ends the conversation early
   (mdphone_last_error).

   Behaviour of the operations on a stand-in device (each records its name, see
   mdsim_device_calls):
     AMDeviceConnect                 0; the device is connected.
     AMDeviceDisconnect              0, also when not connected; closes the device session.
     AMDeviceStartSession            0 when connected, else MDSIM_ERR_NOT_CONNECTED.
     AMDeviceStopSession             0, also when no device session is open.
     AMDeviceSecureStartService      needs a connected device (a device session is not
                                     required) and the service "com.apple.mobilesync";
                                     connects to the endpoint and writes a connection
                                     handle through its fourth argument. Failures:
                                     MDSIM_ERR_NOT_CONNECTED, MDSIM_ERR_INVALID_ARGUMENT (no
                                     target), MDSIM_ERR_SERVICE_PROHIBITED (another
                                     service), MDSIM_ERR_CONNECTION_FAILED (refused,
                                     unreachable, fd endpoint already used, or no relay
                                     thread to be had).
     AMDServiceConnectionGetSocket   the library's end of the relay, a connected stream
                                     socket (not N itself for fd:N); -1 for an unknown
                                     handle.
     AFCConnectionClose              shutdown(SHUT_RDWR), then close: a thread blocked in
                                     recv on the socket wakes up with the end of the
                                     stream; what the library sent last still reaches the
                                     device, which is then disconnected.
                                     MDSIM_ERR_INVALID_ARGUMENT for an unknown or already
                                     closed handle.
   An operation on a handle that is not a live stand-in device fails with
   MDSIM_ERR_INVALID_ARGUMENT (AMDServiceConnectionGetSocket: -1).

   Thread contract: every function may be called from any thread; the stand-in's state is
   guarded by one lock that is never held across a blocking call. */
#ifndef VELDRAKE_PLATFORM_MDSIM_H_
#define VELDRAKE_PLATFORM_MDSIM_H_

#ifdef __cplusplus
extern "C" {
#endif

/* Failure codes, from MobileDevice's 0xE80000xx family, as the signed int results. */
#define MDSIM_ERR_INVALID_ARGUMENT ((int)0xE8000007)
#define MDSIM_ERR_NOT_CONNECTED ((int)0xE8000015)
#define MDSIM_ERR_SERVICE_PROHIBITED ((int)0xE8000022)
#define MDSIM_ERR_CONNECTION_FAILED ((int)0xE8000065)

/* A new device for `endpoint`, or null when the endpoint is malformed. */
void* mdsim_device_new(const char* endpoint);

/* Frees the device and closes every service connection it still has open (their handles
   become unknown). Null is accepted. */
void mdsim_device_free(void* device);

/* From now on the operation named `operation` (e.g. "AMDeviceStopSession") returns
   `result` without doing its work; 0 restores normal behaviour. For
   AMDServiceConnectionGetSocket the result stands in for the descriptor. */
void mdsim_device_set_result(void* device, const char* operation, int result);

/* The names of the operations called on this device so far, in order, separated by
   commas, e.g. "AMDeviceDisconnect,AMDeviceConnect". Calls on the device's connections
   count too. The text belongs to the calling thread and stays valid until that thread's
   next call of mdsim_device_calls. */
const char* mdsim_device_calls(const void* device);

/* Bytes the device's service connections have received from the device so far, summed
   over every connection the device has had, or -1 when the endpoint cannot count them.
   May be called from any thread while a GetData on the device runs: a host shows it as
   progress and uses it to notice a device that stopped sending. */
long long mdsim_bytes_received(const void* device);

#ifdef __cplusplus
}
#endif

#endif /* VELDRAKE_PLATFORM_MDSIM_H_ */
