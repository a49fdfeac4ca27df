/* The platform's control interface for real phones, reached through the system's usbmux
   daemon (or any daemon that speaks its protocol: USBMUXD_SOCKET_ADDRESS=UNIX:PATH names
   another one). A host uses it to list the attached phones, to ask one to trust this
   computer and to read or change the sync settings a person can fix; the export itself
   goes through the library with a device handle from mdsim_device_new("usb") or
   mdsim_device_new("usb:UDID").

   Every function opens its own connections and closes them before it returns. They may be
   called from any thread, but not while a GetData on the same phone is running.

   Results: 0 or a count on success; a failure is one of the MDPHONE_ERR_* codes below,
   negative ints of MobileDevice's 0xE80000xx family. The same codes come back from the
   MobileDevice operations on a "usb" device (AMDeviceConnect for the first five,
   AMDeviceSecureStartService for the next three, and also NOT_PAIRED or TLS_FAILED when
   the lockdown session did not start), and mdphone_last_error tells which one stopped an
   export whose GetData result was only -1 or -6. */
#ifndef VELDRAKE_PLATFORM_MDPHONE_H_
#define VELDRAKE_PLATFORM_MDPHONE_H_

#ifdef __cplusplus
extern "C" {
#endif

/* One code for each thing a person can fix. */
#define MDPHONE_ERR_NO_DAEMON ((int)0xE8000090)       /* no usbmux daemon answers: start usbmuxd */
#define MDPHONE_ERR_NO_DEVICE ((int)0xE8000091)       /* no phone attached: plug one in */
#define MDPHONE_ERR_SEVERAL_DEVICES ((int)0xE8000092) /* "usb" with more than one attached */
#define MDPHONE_ERR_UDID_NOT_FOUND ((int)0xE8000093)  /* usb:UDID names no attached phone */
#define MDPHONE_ERR_NOT_PAIRED ((int)0xE8000094)      /* not trusted: no pair record, or refused */
#define MDPHONE_ERR_PASSCODE_LOCKED ((int)0xE8000095) /* locked with a passcode: unlock it */
#define MDPHONE_ERR_SERVICE_REFUSED ((int)0xE8000096) /* the phone refused to start the service */
#define MDPHONE_ERR_TLS_FAILED ((int)0xE8000097)      /* the TLS handshake failed */
#define MDPHONE_ERR_CONNECTION_LOST ((int)0xE8000098) /* the phone went away mid-way */
#define MDPHONE_ERR_PAIRING_PENDING ((int)0xE8000099) /* pairing: the phone shows "Trust?" */
#define MDPHONE_ERR_PAIRING_DENIED ((int)0xE800009A)  /* pairing: the person tapped Don't Trust */
#define MDPHONE_ERR_SETTING_REFUSED ((int)0xE800009B) /* the phone refused to change a setting */

/* mdphone_pair's answer when the phone already trusts this computer (nothing was asked). */
#define MDPHONE_ALREADY_PAIRED 1

/* Values of the tri-state fields below. */
#define MDPHONE_UNKNOWN (-1) /* could not be asked (e.g. the phone does not trust us) */
#define MDPHONE_NO 0
#define MDPHONE_YES 1

typedef struct mdphone_info {
  char udid[64];     /* NUL-terminated; cut if longer */
  char name[128];    /* the phone's name as its owner set it, UTF-8 */
  char model[32];    /* product type, e.g. "iPhone14,2" */
  char version[32];  /* OS version, e.g. "17.1.2" */
  int network;       /* MDPHONE_YES when the daemon reaches it over the network */
  int trusted;       /* paired with this computer: MDPHONE_YES / MDPHONE_NO */
  int contacts_sync; /* contact sync with a computer is on: tri-state */
  int locked;        /* locked with a passcode (no lockdown session opens): tri-state */
} mdphone_info;

/* Describes up to `capacity` attached phones into `out` (which may be null when capacity
   is 0) and returns how many are attached, which may be more than `capacity`; or
   MDPHONE_ERR_NO_DAEMON. Fields a phone would not tell are empty or MDPHONE_UNKNOWN. */
int mdphone_list(mdphone_info* out, int capacity);

/* Describes one phone (`udid`, or null for the one attached phone) into `out`, opening a
   lockdown session on that phone only (mdphone_list opens one on every attached phone).
   0, or MDPHONE_ERR_NO_DAEMON, NO_DEVICE, SEVERAL_DEVICES or UDID_NOT_FOUND. */
int mdphone_describe(const char* udid, mdphone_info* out);

/* Asks the phone (`udid`, or null for the one attached phone) to trust this computer and
   keeps the pair record with the daemon. The pairing is validated first: a phone that
   already trusts this computer is not asked again (MDPHONE_ALREADY_PAIRED). 0 when
   paired; otherwise one of the codes above, MDPHONE_ERR_PAIRING_PENDING meaning "tap
   Trust on the phone, then ask again". */
int mdphone_pair(const char* udid);

/* Turns contact sync with a computer on (a setting on the person's phone). 0 on success;
   MDPHONE_ERR_SETTING_REFUSED when the phone would not change it. */
int mdphone_enable_contact_sync(const char* udid);

/* Starts the phone's sync service and closes it again at once, as an export would start
   it: 0 when it started, with *uses_tls (may be null) set to whether the service speaks
   TLS; otherwise one of the codes above. */
int mdphone_probe_service(const char* udid, int* uses_tls);

/* The MDPHONE_ERR_* code that last stopped an operation on `device` (a handle from
   mdsim_device_new, of any endpoint kind), 0 when none did. MDPHONE_ERR_CONNECTION_LOST
   means the device ended the conversation early: it closed the service connection (or
   was unplugged) before the library had sent its closing message, so whatever GetData
   delivered is incomplete even when GetData returned 0. A host's own cancel (shutting
   the session's socket down) is not a loss. */
int mdphone_last_error(const void* device);

#ifdef __cplusplus
}
#endif

#endif /* VELDRAKE_PLATFORM_MDPHONE_H_ */
