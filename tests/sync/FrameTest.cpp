// Framing over a real socketpair, with a peer thread that controls how the bytes arrive.
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "Frame.h"
#include "veldrake/IOSContact.h"

using namespace veldrake;  // the framing under test

namespace {

std::string Field(uint32_t length) {
  return std::string{static_cast<char>(length >> 24), static_cast<char>(length >> 16),
                     static_cast<char>(length >> 8), static_cast<char>(length)};
}

// A connected pair: `ours` is read and written by the code under test, `peer` by the
// test's scripted device.
class FramePair : public ::testing::Test {
 protected:
  void SetUp() override {
    int fds[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    ours = fds[0];
    peer = fds[1];
  }
  void TearDown() override {
    if (device.joinable()) device.join();
    if (ours >= 0) close(ours);
    ClosePeer();
  }
  void ClosePeer() {
    if (peer >= 0) close(peer);
    peer = -1;
  }
  void Write(const std::string& bytes) {
    ASSERT_EQ(write(peer, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  // Writes `bytes` and waits until our side has taken them all, so our next recv can
  // only see what the peer writes afterwards.
  void WriteAndDrain(const std::string& bytes) {
    Write(bytes);
    int unread = 1;
    while (ioctl(ours, FIONREAD, &unread) == 0 && unread > 0) {
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
  }
  void Peer(std::function<void()> script) { device = std::thread(std::move(script)); }
  std::string ReadPeer(size_t n) {
    std::string got(n, '\0');
    size_t at = 0;
    while (at < n) {
      const ssize_t r = read(peer, &got[at], n - at);
      if (r <= 0) break;
      at += static_cast<size_t>(r);
    }
    got.resize(at);
    return got;
  }

  int ours = -1;
  int peer = -1;
  std::thread device;
  std::vector<char> payload;
};

std::string AsString(const std::vector<char>& v) {
  return std::string(v.begin(), v.end());
}

TEST_F(FramePair, CompleteFrameHandsOnExactlyTheAnnouncedBytes) {
  Write(Field(5) + "hello" + Field(3) + "abc");
  EXPECT_EQ(RecvFrame(ours, payload), FrameResult::Complete);
  EXPECT_EQ(AsString(payload), "hello");
  EXPECT_EQ(RecvFrame(ours, payload), FrameResult::Complete);
  EXPECT_EQ(AsString(payload), "abc");
}

TEST_F(FramePair, EmptyFrameReadsNothingMoreAndTheNextFrameFollows) {
  Write(Field(0) + Field(2) + "ok");
  payload.assign(10, 'x');
  EXPECT_EQ(RecvFrame(ours, payload), FrameResult::Empty);
  EXPECT_TRUE(payload.empty());
  EXPECT_EQ(RecvFrame(ours, payload), FrameResult::Complete);
  EXPECT_EQ(AsString(payload), "ok");
}

TEST_F(FramePair, PayloadArrivingByteByByteIsAssembledInOrder) {
  const std::string text = "one byte at a time";
  Peer([&] {
    Write(Field(static_cast<uint32_t>(text.size())));
    for (char c : text) WriteAndDrain(std::string(1, c));
  });
  EXPECT_EQ(RecvFrame(ours, payload), FrameResult::Complete);
  EXPECT_EQ(AsString(payload), text);
}

TEST_F(FramePair, LargePayloadInPiecesGrowsPastTheFirstBuffer) {
  std::string big(300 * 1024, '\0');
  for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>(i * 7 + i / 251);
  Peer([&] {
    Write(Field(static_cast<uint32_t>(big.size())));
    for (size_t at = 0; at < big.size(); at += 10000) Write(big.substr(at, 10000));
  });
  ASSERT_EQ(RecvFrame(ours, payload), FrameResult::Complete);
  EXPECT_TRUE(AsString(payload) == big);
}

TEST_F(FramePair, ShortLengthFieldIsDiscardedAndTheSecondReadIsTaken) {
  Peer([&] {
    WriteAndDrain("\xAA\xBB");
    Write(Field(3) + "xyz");
  });
  EXPECT_EQ(RecvFrame(ours, payload), FrameResult::Complete);
  EXPECT_EQ(AsString(payload), "xyz");
}

TEST_F(FramePair, TwoShortReadsOfTheLengthFieldFail) {
  Peer([&] {
    WriteAndDrain(std::string(1, '\0'));
    WriteAndDrain(std::string(1, '\0'));
    Write(Field(1) + "z");
  });
  EXPECT_EQ(RecvFrame(ours, payload), FrameResult::LengthNotRead);
}

TEST_F(FramePair, HugeAnnouncedLengthCostsOnlyWhatArrives) {
  struct rusage before {};
  getrusage(RUSAGE_SELF, &before);
  Write(Field(0xFFFFFFFFu) + "0123456789");
  ClosePeer();
  EXPECT_EQ(RecvFrame(ours, payload), FrameResult::StreamEnded);
  EXPECT_EQ(payload.capacity(), 0u);  // released, not just cleared
  struct rusage after {};
  getrusage(RUSAGE_SELF, &after);
  // ru_maxrss is in KiB; a buffer sized by the announcement would be 4 GiB.
  EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 64 * 1024);
}

TEST_F(FramePair, FailingRecvInsideThePayloadEndsTheStream) {
  struct timeval brief = {0, 50 * 1000};
  ASSERT_EQ(setsockopt(ours, SOL_SOCKET, SO_RCVTIMEO, &brief, sizeof brief), 0);
  Write(Field(10) + "abc");  // the rest never comes; recv fails with EAGAIN
  EXPECT_EQ(RecvFrame(ours, payload), FrameResult::StreamEnded);
  EXPECT_TRUE(payload.empty());
}

TEST_F(FramePair, InterruptedRecvIsRepeated) {
  struct sigaction quiet {};
  quiet.sa_handler = [](int) {};
  sigemptyset(&quiet.sa_mask);
  quiet.sa_flags = 0;  // no SA_RESTART: recv returns EINTR
  struct sigaction saved {};
  ASSERT_EQ(sigaction(SIGUSR1, &quiet, &saved), 0);
  const pthread_t reader = pthread_self();
  Peer([&] {
    WriteAndDrain(Field(6) + "abc");
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    pthread_kill(reader, SIGUSR1);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    Write("def");
  });
  EXPECT_EQ(RecvFrame(ours, payload), FrameResult::Complete);
  EXPECT_EQ(AsString(payload), "abcdef");
  device.join();
  sigaction(SIGUSR1, &saved, nullptr);
}

TEST_F(FramePair, SendWritesBigEndianLengthThenTheMessage) {
  EXPECT_EQ(SendFrame(ours, std::string(276, 'm')), 0);
  EXPECT_EQ(ReadPeer(4), std::string("\x00\x00\x01\x14", 4));
  EXPECT_EQ(ReadPeer(276), std::string(276, 'm'));
  EXPECT_EQ(SendFrame(ours, std::string()), 0);
  EXPECT_EQ(ReadPeer(4), Field(0));
}

TEST_F(FramePair, SendToAClosedPeerFailsWithoutSigpipe) {
  struct sigaction deflt {};
  deflt.sa_handler = SIG_DFL;
  struct sigaction saved {};
  ASSERT_EQ(sigaction(SIGPIPE, &deflt, &saved), 0);  // a delivered SIGPIPE would end us
  ClosePeer();
  EXPECT_EQ(SendFrame(ours, "hello"), -1);
  EXPECT_EQ(SendFrame(ours, std::string()), -1);
  sigset_t pending;
  sigpending(&pending);
  EXPECT_FALSE(sigismember(&pending, SIGPIPE));
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  EXPECT_FALSE(sigismember(&mask, SIGPIPE)) << "the thread's signal mask was not restored";
  sigaction(SIGPIPE, &saved, nullptr);
}

// What both conversations drop unseen, through the contact conversation's own members.
TEST_F(FramePair, ReadAndDropReportsAFrameReadWholeOrNot) {
  IOSContact contact;
  Write(Field(0) + Field(2) + "ab" + Field(4) + "x");
  EXPECT_EQ(contact.RecvData(ours), 0);
  EXPECT_EQ(contact.RecvData(ours), 0);
  ClosePeer();
  EXPECT_EQ(contact.RecvData(ours), -1);
  EXPECT_EQ(contact.RecvData(ours), -1);
  EXPECT_EQ(contact.SendData(ours, "gone"), -1);
}

}  // namespace
