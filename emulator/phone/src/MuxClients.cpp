// The daemon's client threads: accept, serve, reap, and shut all down at stop.
#include "MuxClients.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace devicesim {
namespace phone {
namespace {

constexpr size_t kMaxClients = 64;  // one thread each; more are turned away

}  // namespace

void MuxClients::acceptLoop(int listenFd, const std::atomic<bool>& stopping, const Serve& serve) {
  while (!stopping) {
    const int fd = ::accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) {
      if (errno == EINTR || errno == ECONNABORTED) continue;
      return;
    }
    reapFinished();
    auto client = std::make_shared<MuxClient>();
    client->fd = fd;
    auto done = std::make_shared<std::atomic<bool>>(false);
    std::lock_guard<std::mutex> lock(mutex_);
    if (stopping || clients_.size() >= kMaxClients) {
      ::close(fd);
      continue;
    }
    clients_.push_back(client);
    workers_.push_back({std::thread([this, client, done, serve] {
                          serve(client);
                          forget(client);
                          *done = true;
                        }),
                        done});
  }
}

void MuxClients::forget(const std::shared_ptr<MuxClient>& client) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    clients_.remove(client);
  }
  // An event another thread is about to send must not reach a descriptor number the
  // process has reused since: writers check fd under the same lock.
  std::lock_guard<std::mutex> writeLock(client->writeMutex);
  ::close(client->fd);
  client->fd = -1;
}

void MuxClients::reapFinished() {
  std::lock_guard<std::mutex> lock(mutex_);
  for (auto it = workers_.begin(); it != workers_.end();) {
    if (*it->done) {
      it->thread.join();
      it = workers_.erase(it);
    } else {
      ++it;
    }
  }
}

void MuxClients::setListening(MuxClient& client) {
  std::lock_guard<std::mutex> lock(mutex_);
  client.listening = true;
}

void MuxClients::setTunnel(MuxClient& client, uint32_t deviceId) {
  std::lock_guard<std::mutex> lock(mutex_);
  client.tunnelDevice = deviceId;
}

std::vector<std::shared_ptr<MuxClient>> MuxClients::listeners() const {
  std::vector<std::shared_ptr<MuxClient>> found;
  std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& client : clients_)
    if (client->listening) found.push_back(client);
  return found;
}

void MuxClients::closeTunnelsTo(uint32_t deviceId) {
  std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& client : clients_)
    if (client->tunnelDevice == deviceId) ::shutdown(client->fd, SHUT_RDWR);
}

void MuxClients::stopAll() {
  std::list<Worker> workers;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& client : clients_) ::shutdown(client->fd, SHUT_RDWR);
    workers.swap(workers_);
  }
  for (Worker& worker : workers) worker.thread.join();
}

}  // namespace phone
}  // namespace devicesim
