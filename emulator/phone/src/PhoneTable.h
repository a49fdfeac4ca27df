// The phones a daemon plays and the pair records it keeps for them: made at start, found
// by device ID or UDID, and described in the daemon's Attached messages.
#ifndef DEVICESIM_PHONE_PHONETABLE_H_
#define DEVICESIM_PHONE_PHONETABLE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "EmulatedPhone.h"
#include "PairRecords.h"

namespace devicesim {
namespace phone {

class PhoneTable {
 public:
  // Makes the phones with fixed credentials from `credentialsFile`, or fresh ones when it
  // is empty; a trusted phone gets a pair record. False with a message on failure.
  bool make(const std::vector<PhoneConfig>& configs, const std::string& credentialsFile,
            std::string* error);

  EmulatedPhone* attached(uint32_t deviceId) const;  // null when unknown or unplugged
  EmulatedPhone* find(const std::string& udid) const;
  // The Attached event of `phone`, also an entry of the device list.
  static Plist attachedMessage(const EmulatedPhone& phone);
  Plist deviceList() const;  // the attached phones, for ListDevices
  std::vector<EmulatedPhone*> attachedPhones() const;

  const std::string& systemBuid() const { return buid_; }
  PairRecordStore& records() { return records_; }
  const PairRecordStore& records() const { return records_; }

 private:
  std::string buid_;
  std::vector<std::unique_ptr<EmulatedPhone>> phones_;
  PairRecordStore records_;
};

}  // namespace phone
}  // namespace devicesim

#endif  // DEVICESIM_PHONE_PHONETABLE_H_
