// The device side of the conversation, driven through the library's framing over a
// socketpair and by the library's note export.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Frame.h"
#include "Messages.h"
#include "QX/Notes.h"
#include "devicesim/Device.h"
#include "veldrake/IOSNote.h"

using namespace devicesim;
using namespace veldrake;  // the library's framing, to talk to the device

namespace {

std::string Message(SyncMessage m) {
  std::string out;
  BuildMessage(m, out);
  return out;
}

// Sends one message and reads one frame.
FrameResult Ask(int fd, SyncMessage m, std::vector<char>& reply) {
  EXPECT_EQ(0, SendFrame(fd, Message(m)));
  return RecvFrame(fd, reply);
}

bool Names(const std::vector<char>& reply, const char* text) {
  return std::string(reply.begin(), reply.end()).find(text) != std::string::npos;
}

std::vector<std::string> g_subjects;
int CollectNote(void* record) {
  g_subjects.push_back(static_cast<QX::Notes*>(record)->subject);
  return 0;
}

}  // namespace

TEST(DeviceCatalogue, NamesEveryMessageTheLibraryBuilds) {
  const SyncMessage all[] = {SyncMessage::M1, SyncMessage::M2,  SyncMessage::M3, SyncMessage::M4,
                             SyncMessage::M5, SyncMessage::M6,  SyncMessage::M7, SyncMessage::M8,
                             SyncMessage::M9, SyncMessage::M10, SyncMessage::M11};
  for (int i = 0; i < 11; ++i) EXPECT_EQ("M" + std::to_string(i + 1), LabelOf(Message(all[i])));
  std::string almost = Message(SyncMessage::M6);
  almost.back() = ' ';
  EXPECT_EQ("?", LabelOf(almost));
  EXPECT_EQ("?", LabelOf(""));
}

// Each fault as the library's framing sees it: what the reads return and how many bytes
// the device sent in all (the version reply is 4 + kVersionReply bytes).
TEST(DeviceFaults, EachFaultShowsOnTheWireAsPromised) {
  const size_t kVersionReply = VersionReply().size();
  struct Case {
    Fault fault;
    std::vector<FrameResult> reads;
    uint64_t bytesSent;
  };
  const Case cases[] = {
      {{"M2", 0, Fault::EmptyFrame, 2},
       {FrameResult::Empty, FrameResult::Empty, FrameResult::Complete},
       2 * 4 + 4 + kVersionReply},
      {{"M2", 0, Fault::CloseBeforeLength, 0}, {FrameResult::LengthNotRead}, 0},
      {{"M2", 0, Fault::CloseInPayload, 5}, {FrameResult::StreamEnded}, 4 + 5},
      {{"M2", 0, Fault::SplitBytes, 0}, {FrameResult::Complete}, 4 + kVersionReply},
      {{"M2", 0, Fault::PauseMillis, 30}, {FrameResult::Complete}, 4 + kVersionReply},
      {{"M2", 1, Fault::CloseBeforeLength, 0}, {FrameResult::Complete}, 4 + kVersionReply},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.fault.kind);
    DeviceOptions options;
    options.faults.push_back(c.fault);
    InProcessDevice device({}, {}, options);
    const int fd = device.peerFd();
    std::vector<char> reply;
    ASSERT_EQ(0, SendFrame(fd, Message(SyncMessage::M2)));
    for (FrameResult expected : c.reads) EXPECT_EQ(expected, RecvFrame(fd, reply));
    if (c.reads.back() == FrameResult::Complete) {
      EXPECT_TRUE(Names(reply, "DLVersionsOk"));
    }
    ::shutdown(fd, SHUT_WR);
    EXPECT_EQ(c.bytesSent, device.wait().bytesSent);
    ::close(fd);
  }
}

TEST(DeviceRobustness, GarbageFramesAndAHugeLengthDoNotStopTheDevice) {
  InProcessDevice device({}, {}, {});
  int fd = device.peerFd();
  EXPECT_EQ(0, SendFrame(fd, std::string("\x00\x01\x02 junk", 8)));
  EXPECT_EQ(0, SendFrame(fd, ""));
  std::vector<char> reply;
  EXPECT_EQ(FrameResult::Complete, Ask(fd, SyncMessage::M2, reply));
  // A length far beyond what follows, then the peer goes away.
  const char head[] = {'\x7f', '\xff', '\xff', '\xff', 'a', 'b'};
  ASSERT_EQ(6, ::send(fd, head, sizeof head, MSG_NOSIGNAL));
  ::shutdown(fd, SHUT_WR);
  Transcript t = device.wait();
  EXPECT_EQ((std::vector<std::string>{"?", "?", "M2"}), t.received);
  ::close(fd);
}

// The host tests drive unix: listeners; a free TCP port is this test's to check.
TEST(DeviceListener, ServesConnectionsOneAfterAnotherOnAnyFreePort) {
  Listener listener("tcp:127.0.0.1:0", {}, GenerateNotes(3, 2));
  ASSERT_TRUE(listener.ok()) << listener.error();
  const std::string ep = listener.endpoint();
  ASSERT_NE("0", ep.substr(ep.rfind(':') + 1));
  for (int round = 0; round < 2; ++round) {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<uint16_t>(std::stoi(ep.substr(ep.rfind(':') + 1))));
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(0, ::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a));
    g_subjects.clear();
    IOSNote export_;
    EXPECT_EQ(0, export_.GetNote(fd, reinterpret_cast<void*>(&CollectNote)));
    EXPECT_EQ(3u, g_subjects.size());
    ::close(fd);
  }
  Listener bad("carrier-pigeon:1", {}, {});
  EXPECT_FALSE(bad.ok());
  EXPECT_NE(std::string::npos, bad.error().find("unix:PATH"));
}

bool Exists(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0;
}

// Two emulators must never share a socket path: a live one is refused, a stale file is
// replaced, and each removes the file at exit only while it is still its own.
TEST(DeviceListener, ClaimsOnlyAFreeOrStaleUnixPathAndRemovesOnlyItsOwn) {
  char dir[] = "/tmp/devicesim-listener-XXXXXX";
  ASSERT_NE(nullptr, ::mkdtemp(dir));
  const std::string path = std::string(dir) + "/sock", endpoint = "unix:" + path;
  {
    sockaddr_un a{};  // a stale file: bound, never listened on, its owner gone
    a.sun_family = AF_UNIX;
    std::memcpy(a.sun_path, path.data(), path.size());
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(0, ::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a));
    ::close(fd);
  }
  auto first = std::make_unique<Listener>(endpoint, AddressBook{}, NoteStore{});
  ASSERT_TRUE(first->ok()) << first->error();
  {
    Listener second(endpoint, {}, {});
    EXPECT_FALSE(second.ok());
    EXPECT_NE(std::string::npos, second.error().find("another server")) << second.error();
  }
  EXPECT_TRUE(Exists(path)) << "the refused listener removed the live one's socket";

  ::unlink(path.c_str());  // someone else's socket now takes the path
  {
    Listener third(endpoint, {}, {});
    ASSERT_TRUE(third.ok()) << third.error();
    first.reset();
    EXPECT_TRUE(Exists(path)) << "the first listener removed a socket no longer its own";
  }
  EXPECT_FALSE(Exists(path)) << "the third listener left its socket behind";
  ::unlink(path.c_str());
  ::rmdir(dir);
}
