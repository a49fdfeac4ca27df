// The emulated usbmux daemon: answers its clients' requests and turns a client's socket
// into a tunnel to a phone's lockdown or service port on Connect.
#include <arpa/inet.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "LockdownService.h"
#include "MuxClients.h"
#include "MuxProtocol.h"
#include "PhoneTable.h"
#include "SocketFile.h"
#include "SyncService.h"
#include "devicesim/phone/Usbmuxd.h"

namespace devicesim {
namespace phone {
namespace {

constexpr const char* kUnixPrefix = "unix:";

}  // namespace

struct Usbmuxd::State {
  UsbmuxdConfig config;
  AddressBook book;
  NoteStore notes;
  DeviceOptions options;
  SocketFile socket;
  PhoneTable phones;
  MuxClients clients;
  std::atomic<bool> stopping{false};
  std::thread acceptor;

  bool bindSocket(std::string* error);
  void serve(const std::shared_ptr<MuxClient>& client);
  bool dispatch(const std::shared_ptr<MuxClient>& client, uint32_t tag, plist_t message);
  bool reply(MuxClient& client, uint32_t tag, plist_t message);
  bool listen(MuxClient& client, uint32_t tag);
  bool connect(MuxClient& client, uint32_t tag, plist_t message);
  void detach(EmulatedPhone& phone);
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

bool Usbmuxd::State::bindSocket(std::string* error) {
  const std::string& endpoint = config.endpoint;
  if (endpoint.rfind(kUnixPrefix, 0) != 0) return *error = "expected unix:PATH: " + endpoint, false;
  return socket.listen(endpoint.substr(std::strlen(kUnixPrefix)), error);
}

bool Usbmuxd::start(std::string* error) {
  State& s = *state_;
  // The socket first: a path another daemon serves is refused before keys are made.
  if (!s.bindSocket(error)) return false;
  if (!s.phones.make(s.config.phones, s.config.credentialsFile, error))
    return s.socket.close(), false;
  s.acceptor = std::thread([&s] {
    s.clients.acceptLoop(s.socket.fd(), s.stopping,
                         [&s](const std::shared_ptr<MuxClient>& client) { s.serve(client); });
  });
  return true;
}

void Usbmuxd::stop() {
  State& s = *state_;
  if (s.socket.fd() < 0) return;
  s.stopping = true;
  s.socket.interrupt();
  if (s.acceptor.joinable()) s.acceptor.join();
  s.clients.stopAll();
  s.socket.close();
}

std::string Usbmuxd::endpoint() const {
  return kUnixPrefix + state_->socket.path();
}

std::string Usbmuxd::socketAddress() const {
  return "UNIX:" + state_->socket.path();
}

void Usbmuxd::detach(const std::string& udid) {
  if (EmulatedPhone* phone = state_->phones.find(udid)) state_->detach(*phone);
}

int Usbmuxd::lockdownConnections(const std::string& udid) const {
  const EmulatedPhone* phone = state_->phones.find(udid);
  return phone ? phone->lockdownConnections() : 0;
}

bool Usbmuxd::hasPairRecord(const std::string& udid) const {
  return state_->phones.records().read(udid).has_value();
}

void Usbmuxd::State::serve(const std::shared_ptr<MuxClient>& client) {
  for (;;) {
    uint32_t tag = 0;
    Plist message;
    bool wrongVersion = false;
    if (!ReadPacket(client->fd, &tag, &message, &wrongVersion)) {
      if (wrongVersion) reply(*client, tag, ResultMessage(kResultBadVersion).get());
      return;
    }
    if (!dispatch(client, tag, message.get())) return;
  }
}

bool Usbmuxd::State::reply(MuxClient& client, uint32_t tag, plist_t message) {
  std::lock_guard<std::mutex> lock(client.writeMutex);
  return client.fd >= 0 && WritePacket(client.fd, tag, message);
}

// Listen: the result, then an Attached event for each phone already there, before any
// event another thread sends (the write lock is held throughout).
bool Usbmuxd::State::listen(MuxClient& client, uint32_t tag) {
  std::lock_guard<std::mutex> writeLock(client.writeMutex);
  if (!WritePacket(client.fd, tag, ResultMessage(kResultOk).get())) return false;
  clients.setListening(client);
  for (const EmulatedPhone* phone : phones.attachedPhones())
    if (!WritePacket(client.fd, 0, PhoneTable::attachedMessage(*phone).get())) return false;
  return true;
}

void Usbmuxd::State::detach(EmulatedPhone& phone) {
  if (!phone.markDetached()) return;
  clients.closeTunnelsTo(phone.deviceId());
  Plist event = NewDict();
  SetString(event.get(), "MessageType", "Detached");
  SetUint(event.get(), "DeviceID", phone.deviceId());
  // Written outside any daemon lock: a listener that stops reading holds up only itself.
  for (const auto& listener : clients.listeners()) reply(*listener, 0, event.get());
}

bool Usbmuxd::State::connect(MuxClient& client, uint32_t tag, plist_t message) {
  EmulatedPhone* phone =
      phones.attached(static_cast<uint32_t>(UintAt(message, "DeviceID").value_or(0)));
  // The port travels in network byte order inside the integer.
  const uint16_t port = ntohs(static_cast<uint16_t>(UintAt(message, "PortNumber").value_or(0)));
  if (!phone) return reply(client, tag, ResultMessage(kResultBadDevice).get());
  const bool lockdown = port == kLockdownPort;
  if (!lockdown && !phone->takeService(port))
    return reply(client, tag, ResultMessage(kResultConnectionRefused).get());
  clients.setTunnel(client, phone->deviceId());
  if (!reply(client, tag, ResultMessage(kResultOk).get()) || !phone->attached()) return false;
  if (lockdown) {
    phone->countLockdownConnection();
    ServeLockdown(client.fd, *phone);
  } else if (ServeService(client.fd, *phone, book, notes, options)) {
    detach(*phone);
  }
  return false;  // a tunnel is never a daemon connection again
}

bool Usbmuxd::State::dispatch(const std::shared_ptr<MuxClient>& client, uint32_t tag,
                              plist_t message) {
  const std::string type = StringAt(message, "MessageType").value_or("");
  if (type == "ListDevices") {
    Plist answer = NewDict();
    SetNode(answer.get(), "DeviceList", phones.deviceList());
    return reply(*client, tag, answer.get());
  }
  if (type == "Listen") return listen(*client, tag);
  if (type == "Connect") return connect(*client, tag, message);
  if (type == "ReadBUID") {
    Plist answer = NewDict();
    SetString(answer.get(), "BUID", phones.systemBuid());
    return reply(*client, tag, answer.get());
  }
  return reply(*client, tag, phones.records().handle(type, message).get());
}

}  // namespace phone
}  // namespace devicesim
