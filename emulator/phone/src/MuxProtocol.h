// The usbmux daemon's packets: a 16-byte little-endian header (total length, protocol
// version, message type, tag) and an XML property list.
#ifndef DEVICESIM_PHONE_MUXPROTOCOL_H_
#define DEVICESIM_PHONE_MUXPROTOCOL_H_

#include <cstddef>
#include <cstdint>

#include "Plist.h"

namespace devicesim {
namespace phone {

// Result numbers of the daemon's "Result" message.
enum MuxResult : uint32_t {
  kResultOk = 0,
  kResultBadCommand = 1,
  kResultBadDevice = 2,
  kResultConnectionRefused = 3,
  kResultBadVersion = 6,
};

// Reads one packet. False on end of stream, a bad header or a payload that is no
// property-list dictionary; *wrongVersion tells the binary protocol apart.
bool ReadPacket(int fd, uint32_t* tag, Plist* payload, bool* wrongVersion);
bool WritePacket(int fd, uint32_t tag, plist_t payload);
Plist ResultMessage(MuxResult number);

}  // namespace phone
}  // namespace devicesim

#endif  // DEVICESIM_PHONE_MUXPROTOCOL_H_
