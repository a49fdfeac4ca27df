// The identities of the extra phones a daemon plays beside the first.
#include "devicesim/phone/PhoneConfig.h"

#include <cstdio>

namespace devicesim {
namespace phone {

PhoneConfig ExtraPhone(int index) {
  PhoneConfig config;
  char udid[32];
  std::snprintf(udid, sizeof udid, "00008110-000A12345678%04X", index);
  config.udid = udid;
  config.name = "Emulated iPhone " + std::to_string(index + 1);
  config.model = "iPhone15,3";
  config.version = "16.6";
  return config;
}

}  // namespace phone
}  // namespace devicesim
