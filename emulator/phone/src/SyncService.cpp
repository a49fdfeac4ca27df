// The sync service a service start hands out: the sync conversation behind the phone's TLS.
#include "SyncService.h"

#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "Tls.h"
#include "devicesim/BPListWriter.h"

namespace devicesim {
namespace phone {
namespace {

constexpr const char* kNotesClass = "com.apple.Notes";

// The phone's states as the sync conversation shows them.
DeviceOptions OptionsFor(const EmulatedPhone& phone, const DeviceOptions& base) {
  DeviceOptions options = base;
  if (phone.contactSyncDisabled()) {
    // The contact sync start is refused by hanging up on it.
    options.faults.push_back({"M3", 0, Fault::CloseBeforeLength, 0});
    options.faults.push_back({"M4", 0, Fault::CloseBeforeLength, 0});
  }
  if (phone.config().noNotesStore) {
    auto scripted = base.scriptedReply;
    options.scriptedReply = [scripted](const std::string& label,
                                       int occurrence) -> std::optional<std::string> {
      if (label == "M5") return NoNotesStoreReply();
      return scripted ? scripted(label, occurrence) : std::nullopt;
    };
    // After the refusal the phone ends the conversation.
    options.faults.push_back({"M7", 0, Fault::CloseBeforeLength, 0});
    options.faults.push_back({"M8", 0, Fault::CloseBeforeLength, 0});
  }
  return options;
}

}  // namespace

std::string NoNotesStoreReply() {
  return WriteBinaryPlist(Value::Array({
      Value::Text("SDMessageRefuseToSyncDataClassWithComputer"),
      Value::Text(kNotesClass),
      Value::Text(std::string("No Data Store available for data class ") + kNotesClass),
  }));
}

bool ServeService(int fd, const EmulatedPhone& phone, const AddressBook& book,
                  const NoteStore& notes, const DeviceOptions& options) {
  Channel tunnel(fd);
  if (phone.config().serviceTls && phone.config().serviceTlsFailure) {
    BreakHandshake(tunnel);
    return false;
  }
  if (phone.config().serviceTls && !tunnel.acceptTls(phone.tls())) return false;
  int pair[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) return false;
  static const AddressBook kNoContacts;
  const AddressBook& served = phone.config().contactsInICloud ? kNoContacts : book;
  const DeviceOptions serveOptions = OptionsFor(phone, options);
  std::thread server(
      [&, inside = pair[1]] { ServeConnection(inside, served, notes, serveOptions); });
  const bool detach = Relay(tunnel, pair[0], phone.config().detachAfterBytes);
  ::shutdown(pair[0], SHUT_RDWR);
  server.join();
  ::close(pair[0]);
  return detach;
}

}  // namespace phone
}  // namespace devicesim
