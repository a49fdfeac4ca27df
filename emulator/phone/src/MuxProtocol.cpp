// The usbmux daemon's packets on the wire: header, XML payload, complete reads and writes.
#include "MuxProtocol.h"

#include <endian.h>

#include <string>

#include "devicesim/net/SocketIo.h"

namespace devicesim {
namespace phone {
namespace {

constexpr uint32_t kHeaderSize = 16;
constexpr uint32_t kPlistVersion = 1;
constexpr uint32_t kPlistMessage = 8;
constexpr uint32_t kMaxPacket = 1 << 20;

using net::ReadAll;
using net::SendAll;

}  // namespace

bool ReadPacket(int fd, uint32_t* tag, Plist* payload, bool* wrongVersion) {
  uint32_t header[4];
  *wrongVersion = false;
  if (!ReadAll(fd, header, sizeof header)) return false;
  const uint32_t length = le32toh(header[0]);
  *tag = le32toh(header[3]);
  if (length < kHeaderSize || length > kMaxPacket) return false;
  std::string body(length - kHeaderSize, '\0');
  if (!body.empty() && !ReadAll(fd, &body[0], body.size())) return false;
  if (le32toh(header[1]) != kPlistVersion || le32toh(header[2]) != kPlistMessage) {
    *wrongVersion = true;
    return false;
  }
  *payload = ParsePlist(body);
  return *payload && plist_get_node_type(payload->get()) == PLIST_DICT;
}

bool WritePacket(int fd, uint32_t tag, plist_t payload) {
  const std::string xml = ToXml(payload);
  const uint32_t header[4] = {htole32(static_cast<uint32_t>(kHeaderSize + xml.size())),
                              htole32(kPlistVersion), htole32(kPlistMessage), htole32(tag)};
  return SendAll(fd, reinterpret_cast<const char*>(header), sizeof header) &&
         SendAll(fd, xml.data(), xml.size());
}

Plist ResultMessage(MuxResult number) {
  Plist message = NewDict();
  SetString(message.get(), "MessageType", "Result");
  SetUint(message.get(), "Number", number);
  return message;
}

}  // namespace phone
}  // namespace devicesim
