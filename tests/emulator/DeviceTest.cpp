// The device side of the conversation, driven by a small client over a socketpair and by
// the library's own two exports.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "BPListReader/BPListReader.h"
#include "Frame.h"
#include "Messages.h"
#include "QX/Notes.h"
#include "devicesim/Device.h"
#include "veldrake/IOSNote.h"

using namespace devicesim;

namespace {

std::string Message(SyncMessage m) {
  std::string out;
  BuildMessage(m, out);
  return out;
}

prop Decode(const std::vector<char>& bytes) {
  BPListReader reader;
  if (!reader.open(bytes.data(), bytes.size())) return prop::Null;
  return reader.getRootObject();
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

TEST(DeviceConversation, ContactsComeInBatchesAndEndWithAnEmptyReply) {
  DeviceOptions options;
  options.batchSize = 2;
  InProcessDevice device(GenerateAddressBook(5, 1), {}, options);
  int fd = device.peerFd();
  std::vector<char> reply;
  ASSERT_EQ(FrameResult::Complete, Ask(fd, SyncMessage::M2, reply));
  EXPECT_TRUE(Names(reply, "DLVersionsOk"));
  ASSERT_EQ(FrameResult::Complete, Ask(fd, SyncMessage::M4, reply));
  std::set<std::wstring> persons;
  std::vector<bool> more;
  for (int pass = 0; pass < 3; ++pass) {
    ASSERT_EQ(FrameResult::Complete, Ask(fd, SyncMessage::M6, reply));
    prop root = Decode(reply);
    ASSERT_TRUE(root.hasTag(prop::object::TagArray));
    const auto& array = *root._value->array;
    ASSERT_EQ(4u, array.size());
    EXPECT_EQ(L"SDMessageProcessChanges", array[0].toString());
    ASSERT_TRUE(array[2].isNonEmptyDict());
    for (const auto& entry : *array[2]._value->dict)
      if (entry.first.find(L'/') == std::wstring::npos) persons.insert(entry.first);
    more.push_back(array[3].hasTag(prop::object::TagTrue));
  }
  EXPECT_EQ((std::set<std::wstring>{L"1", L"2", L"3", L"4", L"5"}), persons);
  EXPECT_EQ((std::vector<bool>{true, true, false}), more);
  // After the last batch: the name ahead of any zero byte, and no records.
  ASSERT_EQ(FrameResult::Complete, Ask(fd, SyncMessage::M6, reply));
  std::string bytes(reply.begin(), reply.end());
  size_t name = bytes.find("SDMessageProcessChanges");
  ASSERT_NE(std::string::npos, name);
  EXPECT_EQ(std::string::npos, bytes.substr(0, name).find('\0'));
  EXPECT_FALSE(Decode(reply)._value->array->at(2).isNonEmptyDict());
  EXPECT_EQ(0, SendFrame(fd, Message(SyncMessage::M9)));
  EXPECT_EQ(0, SendFrame(fd, Message(SyncMessage::M11)));
  Transcript t = device.wait();
  EXPECT_EQ((std::vector<std::string>{"M2", "M4", "M6", "M6", "M6", "M6", "M9", "M11"}),
            t.received);
  EXPECT_EQ(Message(SyncMessage::M4), t.raw[1]);
  ::close(fd);
}

TEST(DeviceFaults, EmptyFramesComeBeforeTheReply) {
  DeviceOptions options;
  options.faults.push_back({"M2", 0, Fault::EmptyFrame, 2});
  InProcessDevice device({}, {}, options);
  int fd = device.peerFd();
  std::vector<char> reply;
  EXPECT_EQ(FrameResult::Empty, Ask(fd, SyncMessage::M2, reply));
  EXPECT_EQ(FrameResult::Empty, RecvFrame(fd, reply));
  EXPECT_EQ(FrameResult::Complete, RecvFrame(fd, reply));
  EXPECT_TRUE(Names(reply, "DLMessageVersionExchange"));
  ::close(fd);
  EXPECT_EQ(3u * 4 + reply.size() + 4 - 4, device.wait().bytesSent);
}

TEST(DeviceFaults, ClosesBeforeTheLengthOrInsideThePayload) {
  {
    DeviceOptions options;
    options.faults.push_back({"M4", 0, Fault::CloseBeforeLength, 0});
    InProcessDevice device({}, {}, options);
    std::vector<char> reply;
    EXPECT_EQ(FrameResult::Complete, Ask(device.peerFd(), SyncMessage::M2, reply));
    EXPECT_EQ(FrameResult::LengthNotRead, Ask(device.peerFd(), SyncMessage::M4, reply));
    ::close(device.peerFd());
  }
  {
    DeviceOptions options;
    options.faults.push_back({"M2", 0, Fault::CloseInPayload, 5});
    InProcessDevice device({}, {}, options);
    std::vector<char> reply;
    EXPECT_EQ(FrameResult::StreamEnded, Ask(device.peerFd(), SyncMessage::M2, reply));
    EXPECT_EQ(4u + 5u, device.wait().bytesSent);
    ::close(device.peerFd());
  }
}

TEST(DeviceFaults, GarbageAndScriptedRepliesReplaceTheBatchWithoutLosingIt) {
  DeviceOptions options;
  options.batchSize = 1;
  options.faults.push_back({"M6", 0, Fault::Garbage, 0});
  options.scriptedReply = [](const std::string& label,
                             int occurrence) -> std::optional<std::string> {
    if (label == "M6" && occurrence == 1) return std::string("bplist00\xff\xff hostile");
    return std::nullopt;
  };
  InProcessDevice device(GenerateAddressBook(1, 3), {}, options);
  int fd = device.peerFd();
  std::vector<char> reply;
  ASSERT_EQ(FrameResult::Complete, Ask(fd, SyncMessage::M6, reply));
  EXPECT_FALSE(Names(reply, "bplist00"));
  ASSERT_EQ(FrameResult::Complete, Ask(fd, SyncMessage::M6, reply));
  EXPECT_EQ("bplist00\xff\xff hostile", std::string(reply.begin(), reply.end()));
  ASSERT_EQ(FrameResult::Complete, Ask(fd, SyncMessage::M6, reply));
  EXPECT_TRUE(Decode(reply)._value->array->at(2).isNonEmptyDict());  // person 1 still comes
  ::close(fd);
}

TEST(DeviceFaults, SplitFramesAndPausesArriveWhole) {
  DeviceOptions options;
  options.faults.push_back({"M1", 0, Fault::SplitBytes, 0});
  options.faults.push_back({"M5", 0, Fault::PauseMillis, 30});
  InProcessDevice device({}, {}, options);
  int fd = device.peerFd();
  std::vector<char> reply;
  EXPECT_EQ(FrameResult::Complete, Ask(fd, SyncMessage::M1, reply));
  EXPECT_TRUE(Names(reply, "DLVersionsOk"));
  EXPECT_EQ(FrameResult::Complete, Ask(fd, SyncMessage::M5, reply));
  EXPECT_TRUE(Names(reply, "com.apple.Notes"));
  ::close(fd);
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

TEST(DeviceListener, ServesConnectionsOneAfterAnother) {
  for (std::string where :
       {std::string("tcp:127.0.0.1:0"), "unix:/tmp/devicesim-test-" + std::to_string(::getpid())}) {
    Listener listener(where, {}, GenerateNotes(3, 2));
    ASSERT_TRUE(listener.ok()) << listener.error();
    for (int round = 0; round < 2; ++round) {
      // Connect with plain sockets: the endpoint forms are the host's business.
      int fd = -1;
      std::string ep = listener.endpoint();
      if (ep.rfind("tcp:", 0) == 0) {
        fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_port = htons(static_cast<uint16_t>(std::stoi(ep.substr(ep.rfind(':') + 1))));
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ASSERT_EQ(0, ::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a));
      } else {
        fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un a{};
        a.sun_family = AF_UNIX;
        std::string path = ep.substr(5);
        std::copy(path.begin(), path.end(), a.sun_path);
        ASSERT_EQ(0, ::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a));
      }
      g_subjects.clear();
      IOSNote export_;
      EXPECT_EQ(0, export_.GetNote(fd, reinterpret_cast<void*>(&CollectNote)));
      EXPECT_EQ(3u, g_subjects.size());
      ::close(fd);
    }
  }
  Listener bad("carrier-pigeon:1", {}, {});
  EXPECT_FALSE(bad.ok());
  EXPECT_NE(std::string::npos, bad.error().find("unix:PATH"));
}
