// The phone's TLS: the server context, plain or TLS tunnels, and the service relay.
#include "Tls.h"

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "devicesim/net/SocketIo.h"

namespace devicesim {
namespace phone {
namespace {

constexpr size_t kRelayChunk = 16384;
// Signatures a current phone accepts in TLS 1.2: SHA-2 only, so a client that offers
// nothing newer than SHA-1 fails the handshake as it would against the phone.
constexpr const char* kStrictSignatures =
    "rsa_pss_rsae_sha256:rsa_pss_rsae_sha384:rsa_pss_rsae_sha512:RSA+SHA256:RSA+SHA384:"
    "RSA+SHA512";

// A socket BIO that never raises SIGPIPE: a client that hangs up mid-handshake must not
// kill the process the emulator runs in.
int QuietWrite(BIO* bio, const char* data, int size) {
  BIO_clear_retry_flags(bio);
  const ssize_t sent = ::send(static_cast<int>(BIO_get_fd(bio, nullptr)), data,
                              static_cast<size_t>(size), MSG_NOSIGNAL);
  if (sent < 0 && errno == EINTR) BIO_set_retry_write(bio);
  return static_cast<int>(sent);
}

BIO_METHOD* QuietSocketMethod() {
  static BIO_METHOD* method = [] {
    BIO_METHOD* quiet = BIO_meth_new(BIO_TYPE_SOCKET, "quiet socket");
    const BIO_METHOD* plain = BIO_s_socket();
    BIO_meth_set_write(quiet, QuietWrite);
    BIO_meth_set_read(quiet, BIO_meth_get_read(plain));
    BIO_meth_set_puts(quiet, BIO_meth_get_puts(plain));
    BIO_meth_set_ctrl(quiet, BIO_meth_get_ctrl(plain));
    BIO_meth_set_create(quiet, BIO_meth_get_create(plain));
    BIO_meth_set_destroy(quiet, BIO_meth_get_destroy(plain));
    return quiet;
  }();
  return method;
}

bool SetProtocols(SSL_CTX* context, bool oldTls) {
  if (oldTls) {
    // OpenSSL refuses TLS 1.0 and SHA-1 above security level 0.
    SSL_CTX_set_security_level(context, 0);
    return SSL_CTX_set_min_proto_version(context, TLS1_VERSION) == 1;
  }
  return SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION) == 1 &&
         SSL_CTX_set1_sigalgs_list(context, kStrictSignatures) == 1;
}

}  // namespace

SslContext MakeServerContext(const std::string& certificatePem, const std::string& privateKeyPem,
                             bool oldTls) {
  SslContext context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
  if (!context || !SetProtocols(context.get(), oldTls)) return nullptr;
  // The host's client certificate is made by whichever client paired; it is not checked.
  SSL_CTX_set_verify(context.get(), SSL_VERIFY_NONE, nullptr);
  BIO* certBio = BIO_new_mem_buf(certificatePem.data(), static_cast<int>(certificatePem.size()));
  BIO* keyBio = BIO_new_mem_buf(privateKeyPem.data(), static_cast<int>(privateKeyPem.size()));
  X509* cert = PEM_read_bio_X509(certBio, nullptr, nullptr, nullptr);
  EVP_PKEY* key = PEM_read_bio_PrivateKey(keyBio, nullptr, nullptr, nullptr);
  const bool ok = cert && key && SSL_CTX_use_certificate(context.get(), cert) == 1 &&
                  SSL_CTX_use_PrivateKey(context.get(), key) == 1;
  X509_free(cert);
  EVP_PKEY_free(key);
  BIO_free(certBio);
  BIO_free(keyBio);
  return ok ? context : nullptr;
}

Channel::~Channel() {
  SSL_free(ssl_);
}

bool Channel::readExact(void* buffer, size_t size) {
  char* out = static_cast<char*>(buffer);
  while (size > 0) {
    const size_t got = readSome(out, size);
    if (got == 0) return false;
    out += got;
    size -= got;
  }
  return true;
}

size_t Channel::readSome(void* buffer, size_t size) {
  if (ssl_) {
    const int got = SSL_read(ssl_, buffer, static_cast<int>(std::min<size_t>(size, INT32_MAX)));
    return got > 0 ? static_cast<size_t>(got) : 0;
  }
  for (;;) {
    const ssize_t got = ::recv(fd_, buffer, size, 0);
    if (got < 0 && errno == EINTR) continue;
    return got > 0 ? static_cast<size_t>(got) : 0;
  }
}

bool Channel::pending() const {
  return ssl_ && SSL_pending(ssl_) > 0;
}

bool Channel::writeAll(const void* buffer, size_t size) {
  if (!ssl_) return net::SendAll(fd_, static_cast<const char*>(buffer), size);
  const char* data = static_cast<const char*>(buffer);
  while (size > 0) {
    const int sent = SSL_write(ssl_, data, static_cast<int>(std::min<size_t>(size, INT32_MAX)));
    if (sent <= 0) return false;
    data += sent;
    size -= static_cast<size_t>(sent);
  }
  return true;
}

bool Channel::acceptTls(SSL_CTX* context) {
  ssl_ = SSL_new(context);
  BIO* bio = ssl_ ? BIO_new(QuietSocketMethod()) : nullptr;
  if (bio) {
    BIO_set_fd(bio, fd_, BIO_NOCLOSE);
    SSL_set_bio(ssl_, bio, bio);
    if (SSL_accept(ssl_) == 1) return true;
  }
  SSL_free(ssl_);
  ssl_ = nullptr;
  return false;
}

void Channel::endTls() {
  if (!ssl_) return;
  char ignored[256];
  while (SSL_read(ssl_, ignored, sizeof ignored) > 0) {
  }
  SSL_set_quiet_shutdown(ssl_, 1);
  SSL_free(ssl_);
  ssl_ = nullptr;
}

void BreakHandshake(Channel& channel) {
  // No TLS record (content type 0). Read as lockdown's plain framing, as a client that
  // gave up on TLS does next, it is a short frame of text: a first word of ASCII would
  // announce a frame of gigabytes, which libimobiledevice allocates before it fails.
  static const char kGarbage[] = "\0\0\0\x1ethis is not a TLS server hello";
  channel.writeAll(kGarbage, sizeof kGarbage - 1);
}

bool Relay(Channel& tunnel, int inside, int64_t budget) {
  if (budget == 0) return true;
  char buffer[kRelayChunk];
  for (;;) {
    if (!tunnel.pending()) {
      pollfd fds[2] = {{tunnel.fd(), POLLIN, 0}, {inside, POLLIN, 0}};
      if (::poll(fds, 2, -1) < 0) {
        if (errno == EINTR) continue;
        return false;
      }
      if (fds[1].revents != 0) {
        size_t room = sizeof buffer;
        if (budget >= 0) room = std::min<size_t>(room, static_cast<size_t>(budget));
        const ssize_t got = ::recv(inside, buffer, room, 0);
        if (got <= 0) return false;
        if (!tunnel.writeAll(buffer, static_cast<size_t>(got))) return false;
        if (budget >= 0 && (budget -= got) == 0) return true;
      }
      if (fds[0].revents == 0) continue;
    }
    const size_t got = tunnel.readSome(buffer, sizeof buffer);
    if (got == 0 || !net::SendAll(inside, buffer, got)) return false;
  }
}

}  // namespace phone
}  // namespace devicesim
