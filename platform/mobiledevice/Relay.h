// The one relay between the library and a device, under every endpoint kind. The library
// gets one end of a socket pair; a thread copies both ways between the other end and the
// device's connection (a plain socket, or a phone's connection that may speak TLS). On its
// way it counts the bytes the device sends and watches the library's frames for the
// closing message, so that a device that ends the conversation before that message is
// told apart from a finished one, whatever the endpoint.
#ifndef VELDRAKE_MOBILEDEVICE_RELAY_H_
#define VELDRAKE_MOBILEDEVICE_RELAY_H_

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace mdsim {

// What happened on one device and its connections; shared with connections that may
// outlive the device handle, read from any thread.
struct Outcome {
  std::atomic<int> last_error{0};
  std::atomic<long long> bytes_received{0};
};

// The device's side of a relayed connection.
class DeviceStream {
 public:
  virtual ~DeviceStream() = default;
  // Polls readable when Receive has something to give (or the stream ended).
  virtual int fd() const = 0;
  // Up to `size` bytes: the count; kNothingYet when what arrived carried no data (TLS
  // housekeeping such as a session ticket); kEnded when the device ended the stream or failed.
  static constexpr long kNothingYet = 0;
  static constexpr long kEnded = -1;
  virtual long Receive(char* buffer, size_t size) = 0;
  // False when the device can no longer be written to.
  virtual bool Send(const char* data, size_t size) = 0;
  // Wakes a Receive or Send blocked in another thread; safe to call while one runs.
  virtual void Interrupt() = 0;
};

// A stream socket the stand-in connected itself (unix:, tcp:, fd:); owns the descriptor.
class PlainStream : public DeviceStream {
 public:
  explicit PlainStream(int fd) : fd_(fd) {}
  PlainStream(const PlainStream&) = delete;
  PlainStream& operator=(const PlainStream&) = delete;
  ~PlainStream() override;
  int fd() const override { return fd_; }
  long Receive(char* buffer, size_t size) override;
  bool Send(const char* data, size_t size) override;
  void Interrupt() override;

 private:
  int fd_;
};

// Follows one direction's frames (a 32-bit big-endian length, then the payload) and notes
// when a short one carries `marker`. Long frames (records) are skipped, not searched.
class FrameWatch {
 public:
  explicit FrameWatch(const char* marker) : marker_(marker) {}
  void Feed(const char* data, size_t size);
  bool seen() const { return seen_; }

 private:
  unsigned char header_[4] = {0, 0, 0, 0};
  size_t header_used_ = 0;
  size_t remaining_ = 0;  // payload bytes of the current frame still to come
  bool keeping_ = false;  // the current frame is short enough to be the closing message
  std::string frame_;
  const char* marker_;
  bool seen_ = false;
};

class Relay {
 public:
  // Starts relaying `stream`: 0 with `out` set, or `failure` when no socket pair or thread
  // could be made (then `stream` is released).
  static int Start(std::unique_ptr<DeviceStream> stream, const std::shared_ptr<Outcome>& outcome,
                   int failure, std::unique_ptr<Relay>& out);
  Relay(const Relay&) = delete;
  Relay& operator=(const Relay&) = delete;
  ~Relay() { Close(); }

  // The library's descriptor: a connected, blocking stream socket.
  int socket() const { return library_end_; }

  // Wakes a thread blocked on the library's end, stops the thread and frees everything.
  // Called by one owner at a time.
  void Close();

 private:
  Relay(std::unique_ptr<DeviceStream> stream, const std::shared_ptr<Outcome>& outcome)
      : stream_(std::move(stream)),
        outcome_(outcome),
        goodbye_(kClosingMessage),
        refusal_(kRefusalMessage) {}

  static constexpr const char* kClosingMessage = "DLMessageDisconnect";
  static constexpr const char* kRefusalMessage = "SDMessageRefuseToSyncDataClassWithComputer";
  void Run();
  bool DeviceToLibrary(char* buffer, size_t size, bool& device_ended);
  bool LibraryToDevice(char* buffer, size_t size, bool& device_ended);

  std::unique_ptr<DeviceStream> stream_;
  std::shared_ptr<Outcome> outcome_;
  // The relay thread's own: the library's goodbye, and a device's refusal to sync (after
  // which a phone ends the conversation itself; that is an answer, not a loss).
  FrameWatch goodbye_;
  FrameWatch refusal_;
  int library_end_ = -1;
  int relay_end_ = -1;
  std::thread thread_;
  std::atomic<bool> closing_{false};
  std::mutex lock_;
  std::condition_variable ended_;
  bool done_ = false;  // the thread has finished; guarded by lock_
  bool closed_ = false;
};

}  // namespace mdsim

#endif  // VELDRAKE_MOBILEDEVICE_RELAY_H_
