// Pair records: what a computer keeps about a phone it paired with (its own host
// credentials, the root that signed them, the phone's certificate, the host's ID), held by
// the daemon for its clients and read, saved and deleted through it.
#ifndef DEVICESIM_PHONE_PAIRRECORDS_H_
#define DEVICESIM_PHONE_PAIRRECORDS_H_

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "Certificates.h"
#include "Plist.h"

namespace devicesim {
namespace phone {

// A random identifier in the form of the host IDs and system BUIDs: 8-4-4-4-12 hex digits.
std::string NewIdentifier();

// The pair record of a computer trusted from the start, as property-list bytes.
std::string MakePairRecord(const PemCredentials& credentials, const std::string& hostId,
                           const std::string& systemBuid, const std::string& wifiAddress);

class PairRecordStore {
 public:
  void save(const std::string& udid, std::string record);
  std::optional<std::string> read(const std::string& udid) const;
  // Answers a ReadPairRecord, SavePairRecord or DeletePairRecord message (and any other
  // type with a bad-command result).
  Plist handle(const std::string& type, plist_t message);

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::string> records_;
};

}  // namespace phone
}  // namespace devicesim

#endif  // DEVICESIM_PHONE_PAIRRECORDS_H_
