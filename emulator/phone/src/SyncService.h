// The sync service on the port a service start handed out: the device side of the sync
// conversation (devicesim::ServeConnection) behind the phone's TLS, with the phone's
// scripted states applied.
#ifndef DEVICESIM_PHONE_SYNCSERVICE_H_
#define DEVICESIM_PHONE_SYNCSERVICE_H_

#include "EmulatedPhone.h"
#include "devicesim/AddressBook.h"
#include "devicesim/Device.h"
#include "devicesim/NoteStore.h"

namespace devicesim {
namespace phone {

// The refusal a phone without a notes store answers the note sync with.
std::string NoNotesStoreReply();

// Serves one service connection on the tunnel `fd` (not closed here). Returns true when
// the phone's detach point was reached: the caller unplugs the phone.
bool ServeService(int fd, const EmulatedPhone& phone, const AddressBook& book,
                  const NoteStore& notes, const DeviceOptions& options);

}  // namespace phone
}  // namespace devicesim

#endif  // DEVICESIM_PHONE_SYNCSERVICE_H_
