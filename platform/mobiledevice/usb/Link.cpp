#include "Link.h"

#include <cstdlib>

#include "../QuietPipe.h"
#include "MobileDevice/mdphone.h"
#include "MobileDevice/mdsim.h"

namespace mdsim {
namespace usb {

int Link::Connect() {
  QuietPipe quiet;
  std::lock_guard<std::mutex> hold(lock_);
  outcome_->last_error = 0;
  lockdown_.reset();
  session_failure_ = 0;
  std::unique_ptr<Lockdown> lockdown(new Lockdown);
  const int opened = lockdown->Open(requested_);
  if (opened != 0) return Fail(opened);
  // Without a pair record no session can start; said here, where a host sees the code.
  if (!lockdown->ReadHostId()) return Fail(MDPHONE_ERR_NOT_PAIRED);
  lockdown_ = std::move(lockdown);
  return 0;
}

int Link::Disconnect() {
  QuietPipe quiet;
  std::lock_guard<std::mutex> hold(lock_);
  lockdown_.reset();
  session_failure_ = 0;
  return 0;
}

int Link::StartSession() {
  QuietPipe quiet;
  std::lock_guard<std::mutex> hold(lock_);
  if (lockdown_ == nullptr) return MDSIM_ERR_NOT_CONNECTED;
  session_failure_ = lockdown_->StartSession();
  return session_failure_ == 0 ? 0 : Fail(session_failure_);
}

int Link::StopSession() {
  QuietPipe quiet;
  std::lock_guard<std::mutex> hold(lock_);
  if (lockdown_ == nullptr) return 0;
  const int stopped = lockdown_->StopSession();
  return stopped == 0 ? 0 : Fail(stopped);
}

int Link::StartService(const char* name, std::unique_ptr<DeviceStream>& out, bool* tls) {
  QuietPipe quiet;
  std::lock_guard<std::mutex> hold(lock_);
  if (lockdown_ == nullptr) return MDSIM_ERR_NOT_CONNECTED;
  // The phone would refuse without a session; the reason the session failed is the
  // one a person can act on.
  if (!lockdown_->session_open() && session_failure_ != 0) return Fail(session_failure_);
  lockdownd_service_descriptor_t descriptor = nullptr;
  const lockdownd_error_t started = lockdownd_start_service(lockdown_->client(), name, &descriptor);
  if (started != LOCKDOWN_E_SUCCESS || descriptor == nullptr) {
    lockdownd_service_descriptor_free(descriptor);
    return Fail(started == LOCKDOWN_E_SUCCESS
                    ? MDPHONE_ERR_SERVICE_REFUSED
                    : BlameBroken(lockdown_->udid(), CodeOf(started, MDPHONE_ERR_SERVICE_REFUSED)));
  }
  const uint16_t port = descriptor->port;
  const bool secure = descriptor->ssl_enabled != 0;
  lockdownd_service_descriptor_free(descriptor);
  if (tls != nullptr) *tls = secure;
  const int opened = PhoneStream::Open(lockdown_->phone(), port, secure, lockdown_->udid(), out);
  return opened == 0 ? 0 : Fail(opened);
}

}  // namespace usb
}  // namespace mdsim
