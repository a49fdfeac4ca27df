// PhoneConfig: who an emulated phone is (UDID, name, model, OS version) and the states a
// test scripts for it (trust, Trust dialog, lock, refused or broken services, unplugging).
#ifndef DEVICESIM_PHONE_PHONECONFIG_H_
#define DEVICESIM_PHONE_PHONECONFIG_H_

#include <cstdint>
#include <string>

namespace devicesim {
namespace phone {

// How the phone answers a pairing request.
enum class TrustDialog {
  Accept,   // the person taps Trust at once
  Pending,  // the first request answers "dialog pending"; later ones are accepted
  Deny,     // the person taps Don't Trust
};

struct PhoneConfig {
  std::string udid = "00008110-000A1234567890AB";
  std::string name = "Emulated iPhone";
  std::string model = "iPhone14,2";
  std::string version = "17.1";
  bool trusted = true;  // a pair record with this computer exists at start
  TrustDialog trustDialog = TrustDialog::Accept;
  bool passcodeLocked = false;     // service start and pairing refused: unlock first
  bool serviceRefused = false;     // service start refused
  bool sessionTlsFailure = false;  // the phone answers the session's TLS handshake with garbage
  bool serviceTls = true;          // the sync service runs under TLS
  bool serviceTlsFailure = false;  // ... and answers its handshake with garbage
  bool oldTls = false;             // also takes TLS 1.0/1.1 and SHA-1 signatures, as old phones do
  int64_t detachAfterBytes = -1;   // detach after this many service bytes sent (-1: never)
  bool contactSyncDisabled = false;  // tethered contact sync is off: the contact sync fails
  bool contactsInICloud = false;     // the contact sync answers with no records
  bool noNotesStore = false;         // the note sync is refused, as iOS 11 and later do
};

// A second (third, ...) phone's identity, distinct from the default one's.
PhoneConfig ExtraPhone(int index);

}  // namespace phone
}  // namespace devicesim

#endif  // DEVICESIM_PHONE_PHONECONFIG_H_
