// The phone's side of a tunnel: plain bytes or TLS over the same descriptor, and the
// relay that carries a service between a (possibly TLS) tunnel and a plain socket.
#ifndef DEVICESIM_PHONE_TLS_H_
#define DEVICESIM_PHONE_TLS_H_

#include <openssl/ssl.h>

#include <cstdint>
#include <memory>
#include <string>

namespace devicesim {
namespace phone {

using SslContext = std::shared_ptr<SSL_CTX>;

// A TLS server context presenting `certificatePem` with `privateKeyPem`; null on failure.
// A current phone speaks TLS 1.2 or later and refuses SHA-1 signatures; `oldTls` plays a
// phone from before that, which also takes TLS 1.0 and 1.1 with SHA-1.
SslContext MakeServerContext(const std::string& certificatePem, const std::string& privateKeyPem,
                             bool oldTls);

class Channel {
 public:
  explicit Channel(int fd) : fd_(fd) {}
  ~Channel();  // frees the TLS state, never the descriptor
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  int fd() const { return fd_; }
  bool secure() const { return ssl_ != nullptr; }
  bool readExact(void* buffer, size_t size);
  // Up to `size` bytes; 0 when the peer closed or failed.
  size_t readSome(void* buffer, size_t size);
  bool pending() const;  // decrypted bytes waiting inside TLS
  bool writeAll(const void* buffer, size_t size);
  // Server handshake on the descriptor; false (and plain again) when it fails.
  bool acceptTls(SSL_CTX* context);
  // The client ended TLS (its close_notify): back to plain bytes, sending none of ours,
  // because the client reads plain framing right after it.
  void endTls();

 private:
  int fd_;
  SSL* ssl_ = nullptr;
};

// A TLS failure as a client meets it: bytes that are no TLS record (the caller then
// hangs up).
void BreakHandshake(Channel& channel);

// Copies both ways between `tunnel` and the plain descriptor `inside` until either side
// closes. `budget` (>= 0) is how many bytes from `inside` may still reach the tunnel;
// -1 means unlimited. Returns true when the budget ran out (the phone goes away).
bool Relay(Channel& tunnel, int inside, int64_t budget);

}  // namespace phone
}  // namespace devicesim

#endif  // DEVICESIM_PHONE_TLS_H_
