// Pair records: made for trusted phones, read, saved and deleted for the daemon's clients.
#include "PairRecords.h"

#include <cstdio>
#include <random>

#include "MuxProtocol.h"

namespace devicesim {
namespace phone {
namespace {

constexpr size_t kMaxRecord = 64 * 1024;

}  // namespace

std::string NewIdentifier() {
  std::random_device random;
  char text[40];
  std::snprintf(text, sizeof text, "%08X-%04X-%04X-%04X-%04X%08X", random(), random() & 0xffff,
                random() & 0xffff, random() & 0xffff, random() & 0xffff, random());
  return text;
}

std::string MakePairRecord(const PemCredentials& credentials, const std::string& hostId,
                           const std::string& systemBuid, const std::string& wifiAddress) {
  Plist record = NewDict();
  plist_t dict = record.get();
  SetData(dict, "DeviceCertificate", credentials.deviceCertificate);
  SetData(dict, "HostCertificate", credentials.hostCertificate);
  SetData(dict, "HostPrivateKey", credentials.hostPrivateKey);
  SetData(dict, "RootCertificate", credentials.rootCertificate);
  SetData(dict, "RootPrivateKey", credentials.rootPrivateKey);
  SetString(dict, "HostID", hostId);
  SetString(dict, "SystemBUID", systemBuid);
  SetString(dict, "WiFiMACAddress", wifiAddress);
  return ToXml(dict);
}

void PairRecordStore::save(const std::string& udid, std::string record) {
  std::lock_guard<std::mutex> lock(mutex_);
  records_[udid] = std::move(record);
}

std::optional<std::string> PairRecordStore::read(const std::string& udid) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = records_.find(udid);
  if (it == records_.end()) return std::nullopt;
  return it->second;
}

Plist PairRecordStore::handle(const std::string& type, plist_t message) {
  const std::string udid = StringAt(message, "PairRecordID").value_or("");
  if (type == "ReadPairRecord") {
    std::optional<std::string> record = read(udid);
    if (!record) return ResultMessage(kResultBadDevice);
    Plist answer = NewDict();
    SetData(answer.get(), "PairRecordData", *record);
    return answer;
  }
  if (type == "SavePairRecord") {
    std::optional<std::string> data = DataAt(message, "PairRecordData");
    if (udid.empty() || !data || data->size() > kMaxRecord || !ParsePlist(*data))
      return ResultMessage(kResultBadCommand);
    save(udid, std::move(*data));
    return ResultMessage(kResultOk);
  }
  if (type == "DeletePairRecord") {
    std::lock_guard<std::mutex> lock(mutex_);
    records_.erase(udid);
    return ResultMessage(kResultOk);
  }
  return ResultMessage(kResultBadCommand);
}

}  // namespace phone
}  // namespace devicesim
