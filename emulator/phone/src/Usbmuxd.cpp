// The emulated daemon: accepts clients on its Unix socket, answers their requests, and
// turns a client's socket into a tunnel to a phone's port on Connect.
#include "devicesim/phone/Usbmuxd.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <list>
#include <map>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "Lockdown.h"
#include "MuxProtocol.h"
#include "PairRecords.h"
#include "Phone.h"
#include "Service.h"
#include "SocketFile.h"

namespace devicesim {
namespace phone {
namespace {

constexpr const char* kUnixPrefix = "unix:";
constexpr size_t kMaxClients = 64;  // one thread each; more are turned away

struct Client {
  int fd = -1;
  std::mutex writeMutex;  // events from other threads interleave with replies
  bool listening = false;
  uint32_t tunnelDevice = 0;  // the phone this socket tunnels to, once connected
};

struct Worker {
  std::thread thread;
  std::shared_ptr<std::atomic<bool>> done;
};

}  // namespace

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

struct Usbmuxd::State {
  UsbmuxdConfig config;
  AddressBook book;
  NoteStore notes;
  DeviceOptions options;
  SocketFile socket;
  std::string buid;
  std::atomic<bool> stopping{false};
  std::vector<std::unique_ptr<Phone>> phones;
  PairRecordStore records;
  mutable std::mutex mutex;  // clients, workers
  std::list<std::shared_ptr<Client>> clients;
  std::list<Worker> workers;
  std::thread acceptor;

  bool makePhones(std::string* error);
  bool bindSocket(std::string* error);
  void acceptLoop();
  void serve(const std::shared_ptr<Client>& client);
  bool dispatch(const std::shared_ptr<Client>& client, uint32_t tag, plist_t message);
  bool reply(Client& client, uint32_t tag, plist_t message);
  bool connect(const std::shared_ptr<Client>& client, uint32_t tag, plist_t message);
  Phone* attachedPhone(uint32_t deviceId) const;
  Plist attachedMessage(const Phone& phone) const;
  void broadcast(plist_t event);
  void detach(Phone& phone);
  void reapWorkers();
};

Usbmuxd::Usbmuxd(UsbmuxdConfig config, AddressBook book, NoteStore notes, DeviceOptions options)
    : state_(new State) {
  state_->config = std::move(config);
  state_->book = std::move(book);
  state_->notes = std::move(notes);
  state_->options = std::move(options);
}

Usbmuxd::~Usbmuxd() {
  stop();
}

bool Usbmuxd::State::makePhones(std::string* error) {
  buid = NewIdentifier();
  uint32_t deviceId = 0;
  PemCredentials fixed;
  const bool useFixed = !config.credentialsFile.empty();
  if (useFixed && !LoadCredentials(config.credentialsFile, &fixed, error)) return false;
  for (const PhoneConfig& phoneConfig : config.phones) {
    PemCredentials credentials = fixed;
    if (!useFixed && !CredentialsFor(deviceId, &credentials, error)) return false;
    SslContext tls = MakeServerContext(credentials.deviceCertificate, credentials.devicePrivateKey,
                                       phoneConfig.oldTls);
    if (!tls) return *error = "TLS context for " + phoneConfig.udid, false;
    auto phone = std::make_unique<Phone>(phoneConfig, ++deviceId, credentials, tls);
    if (phoneConfig.trusted) {
      const std::string hostId = NewIdentifier();
      phone->trust(hostId);
      records.save(phoneConfig.udid,
                   MakePairRecord(credentials, hostId, buid, WiFiAddressOf(*phone)));
    }
    phones.push_back(std::move(phone));
  }
  return true;
}

bool Usbmuxd::State::bindSocket(std::string* error) {
  const std::string& endpoint = config.endpoint;
  if (endpoint.rfind(kUnixPrefix, 0) != 0) return *error = "expected unix:PATH: " + endpoint, false;
  return socket.listen(endpoint.substr(std::strlen(kUnixPrefix)), error);
}

bool Usbmuxd::start(std::string* error) {
  State& s = *state_;
  // The socket first: a path another daemon serves is refused before keys are made.
  if (!s.bindSocket(error)) return false;
  if (!s.makePhones(error)) return s.socket.close(), false;
  s.acceptor = std::thread([&s] { s.acceptLoop(); });
  return true;
}

void Usbmuxd::stop() {
  State& s = *state_;
  if (s.socket.fd() < 0) return;
  s.stopping = true;
  s.socket.interrupt();
  if (s.acceptor.joinable()) s.acceptor.join();
  std::list<Worker> workers;
  {
    std::lock_guard<std::mutex> lock(s.mutex);
    for (const auto& client : s.clients) ::shutdown(client->fd, SHUT_RDWR);
    workers.swap(s.workers);
  }
  for (Worker& worker : workers) worker.thread.join();
  s.socket.close();
}

std::string Usbmuxd::endpoint() const {
  return kUnixPrefix + state_->socket.path();
}

std::string Usbmuxd::socketAddress() const {
  return "UNIX:" + state_->socket.path();
}

void Usbmuxd::detach(const std::string& udid) {
  for (const auto& phone : state_->phones)
    if (phone->config().udid == udid) state_->detach(*phone);
}

bool Usbmuxd::hasPairRecord(const std::string& udid) const {
  return state_->records.read(udid).has_value();
}

void Usbmuxd::State::reapWorkers() {
  std::lock_guard<std::mutex> lock(mutex);
  for (auto it = workers.begin(); it != workers.end();) {
    if (*it->done) {
      it->thread.join();
      it = workers.erase(it);
    } else {
      ++it;
    }
  }
}

void Usbmuxd::State::acceptLoop() {
  while (!stopping) {
    const int fd = ::accept4(socket.fd(), nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) {
      if (errno == EINTR || errno == ECONNABORTED) continue;
      return;
    }
    reapWorkers();
    auto client = std::make_shared<Client>();
    client->fd = fd;
    auto done = std::make_shared<std::atomic<bool>>(false);
    std::lock_guard<std::mutex> lock(mutex);
    if (stopping || clients.size() >= kMaxClients) {
      ::close(fd);
      continue;
    }
    clients.push_back(client);
    workers.push_back({std::thread([this, client, done] {
                         serve(client);
                         *done = true;
                       }),
                       done});
  }
}

void Usbmuxd::State::serve(const std::shared_ptr<Client>& client) {
  for (;;) {
    uint32_t tag = 0;
    Plist message;
    bool wrongVersion = false;
    if (!ReadPacket(client->fd, &tag, &message, &wrongVersion)) {
      if (wrongVersion) reply(*client, tag, ResultMessage(kResultBadVersion).get());
      break;
    }
    if (!dispatch(client, tag, message.get())) break;
  }
  {
    std::lock_guard<std::mutex> lock(mutex);
    clients.remove(client);
  }
  ::close(client->fd);
}

bool Usbmuxd::State::reply(Client& client, uint32_t tag, plist_t message) {
  std::lock_guard<std::mutex> lock(client.writeMutex);
  return WritePacket(client.fd, tag, message);
}

Phone* Usbmuxd::State::attachedPhone(uint32_t deviceId) const {
  for (const auto& phone : phones)
    if (phone->deviceId() == deviceId && phone->attached()) return phone.get();
  return nullptr;
}

Plist Usbmuxd::State::attachedMessage(const Phone& phone) const {
  constexpr uint64_t kHighSpeed = 480000000;
  constexpr uint64_t kAppleProductId = 0x12a8;
  constexpr uint64_t kLocationBase = 0x01100000;
  Plist properties = NewDict();
  plist_t props = properties.get();
  SetUint(props, "ConnectionSpeed", kHighSpeed);
  SetString(props, "ConnectionType", "USB");
  SetUint(props, "DeviceID", phone.deviceId());
  SetUint(props, "LocationID", kLocationBase + phone.deviceId());
  SetUint(props, "ProductID", kAppleProductId);
  SetString(props, "SerialNumber", phone.config().udid);
  Plist message = NewDict();
  SetString(message.get(), "MessageType", "Attached");
  SetUint(message.get(), "DeviceID", phone.deviceId());
  SetNode(message.get(), "Properties", std::move(properties));
  return message;
}

void Usbmuxd::State::broadcast(plist_t event) {
  // Written outside the daemon's lock: a listener that stops reading holds up only itself.
  std::vector<std::shared_ptr<Client>> listeners;
  {
    std::lock_guard<std::mutex> lock(mutex);
    for (const auto& client : clients)
      if (client->listening) listeners.push_back(client);
  }
  for (const auto& client : listeners) reply(*client, 0, event);
}

void Usbmuxd::State::detach(Phone& phone) {
  if (!phone.markDetached()) return;
  {
    std::lock_guard<std::mutex> lock(mutex);
    for (const auto& client : clients)
      if (client->tunnelDevice == phone.deviceId()) ::shutdown(client->fd, SHUT_RDWR);
  }
  Plist event = NewDict();
  SetString(event.get(), "MessageType", "Detached");
  SetUint(event.get(), "DeviceID", phone.deviceId());
  broadcast(event.get());
}

bool Usbmuxd::State::connect(const std::shared_ptr<Client>& client, uint32_t tag, plist_t message) {
  Phone* phone = attachedPhone(static_cast<uint32_t>(UintAt(message, "DeviceID").value_or(0)));
  // The port travels in network byte order inside the integer.
  const uint16_t port = ntohs(static_cast<uint16_t>(UintAt(message, "PortNumber").value_or(0)));
  if (!phone) return reply(*client, tag, ResultMessage(kResultBadDevice).get());
  const bool lockdown = port == kLockdownPort;
  if (!lockdown && !phone->takeService(port))
    return reply(*client, tag, ResultMessage(kResultConnectionRefused).get());
  {
    std::lock_guard<std::mutex> lock(mutex);
    client->tunnelDevice = phone->deviceId();
  }
  if (!reply(*client, tag, ResultMessage(kResultOk).get()) || !phone->attached()) return false;
  if (lockdown) {
    ServeLockdown(client->fd, *phone);
  } else if (ServeService(client->fd, *phone, book, notes, options)) {
    detach(*phone);
  }
  return false;  // a tunnel is never a daemon connection again
}

bool Usbmuxd::State::dispatch(const std::shared_ptr<Client>& client, uint32_t tag,
                              plist_t message) {
  const std::string type = StringAt(message, "MessageType").value_or("");
  if (type == "ListDevices") {
    Plist reply_ = NewDict();
    plist_t list = plist_new_array();
    for (const auto& phone : phones)
      if (phone->attached()) plist_array_append_item(list, attachedMessage(*phone).release());
    plist_dict_set_item(reply_.get(), "DeviceList", list);
    return reply(*client, tag, reply_.get());
  }
  if (type == "Listen") {
    std::lock_guard<std::mutex> writeLock(client->writeMutex);
    if (!WritePacket(client->fd, tag, ResultMessage(kResultOk).get())) return false;
    {
      std::lock_guard<std::mutex> lock(mutex);
      client->listening = true;
    }
    for (const auto& phone : phones)
      if (phone->attached() && !WritePacket(client->fd, 0, attachedMessage(*phone).get()))
        return false;
    return true;
  }
  if (type == "Connect") return connect(client, tag, message);
  if (type == "ReadBUID") {
    Plist answer = NewDict();
    SetString(answer.get(), "BUID", buid);
    return reply(*client, tag, answer.get());
  }
  return reply(*client, tag, records.handle(type, message).get());
}

}  // namespace phone
}  // namespace devicesim
