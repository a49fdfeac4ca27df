// The daemon's client connections, one thread each, and what it knows of each: whether it
// listens for attach/detach events and the phone it has become a tunnel to.
#ifndef DEVICESIM_PHONE_MUXCLIENTS_H_
#define DEVICESIM_PHONE_MUXCLIENTS_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace devicesim {
namespace phone {

struct MuxClient {
  int fd = -1;                // -1 once closed; written under writeMutex
  std::mutex writeMutex;      // events from other threads interleave with replies
  bool listening = false;     // guarded by the MuxClients' lock
  uint32_t tunnelDevice = 0;  // the phone this socket tunnels to, once connected; ditto
};

class MuxClients {
 public:
  using Serve = std::function<void(const std::shared_ptr<MuxClient>&)>;

  // Accepts on `listenFd` until accept fails (stopAll wakes it by shutting the socket down)
  // and serves each client on its own thread; the client's socket is closed after serve.
  void acceptLoop(int listenFd, const std::atomic<bool>& stopping, const Serve& serve);
  void setListening(MuxClient& client);
  void setTunnel(MuxClient& client, uint32_t deviceId);
  std::vector<std::shared_ptr<MuxClient>> listeners() const;
  // Ends every tunnel to the phone (its client then sees the connection close).
  void closeTunnelsTo(uint32_t deviceId);
  // Shuts every connection down and joins every thread; for after the accept loop ended.
  void stopAll();

 private:
  struct Worker {
    std::thread thread;
    std::shared_ptr<std::atomic<bool>> done;
  };
  void reapFinished();
  // Takes a served client off the list, then closes its socket (no one shuts it down after).
  void forget(const std::shared_ptr<MuxClient>& client);

  mutable std::mutex mutex_;
  std::list<std::shared_ptr<MuxClient>> clients_;
  std::list<Worker> workers_;
};

}  // namespace phone
}  // namespace devicesim

#endif  // DEVICESIM_PHONE_MUXCLIENTS_H_
