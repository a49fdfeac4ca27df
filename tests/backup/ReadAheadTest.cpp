// ReadAhead: what the reading thread makes reaches the export's thread in order, a stop
// reaches the reader, and the reader's failures come back.
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ReadAhead.h"

namespace {

using namespace veldrake::backup;

struct AheadCase {
  const char* what;
  int notes;         // the reader makes these, with a warning after every third
  int stopAt;        // the consumer stops at this note (-1: never)
  int readerResult;  // what the reader returns when it gets through
  bool throws;       // the reader runs out of memory once through
  int result;        // ReadAhead's
  const char* failure;
};

const std::vector<AheadCase> kCases = {
    {"nothing", 0, -1, kVeldrakeBackupOk, false, kVeldrakeBackupOk, ""},
    {"many, in order", 500, -1, kVeldrakeBackupOk, false, kVeldrakeBackupOk, ""},
    {"stopped at once", 500, 0, kVeldrakeBackupOk, false, kVeldrakeBackupStopped, ""},
    {"stopped late", 500, 457, kVeldrakeBackupOk, false, kVeldrakeBackupStopped, ""},
    {"the reader fails", 40, -1, kVeldrakeBackupStoreUnreadable, false,
     kVeldrakeBackupStoreUnreadable, ""},
    {"the reader throws", 40, -1, kVeldrakeBackupOk, true, kVeldrakeBackupNoMemory,
     "out of memory"},
};

// What the export's thread saw, in order: "n<i>" for notes, "w<i>" for warnings.
struct Seen {
  std::vector<std::string> events;
  std::thread::id reader;
  bool elsewhere = false;  // something reached the consumer off the calling thread
};

void Said(const char* line, void* seen) {
  auto* s = static_cast<Seen*>(seen);
  s->elsewhere = s->elsewhere || std::this_thread::get_id() == s->reader;
  s->events.push_back(line);
}

// The same sequence made independently of the queue: what a consumer stopping at `stopAt`
// must have seen.
std::vector<std::string> Expected(const AheadCase& test) {
  std::vector<std::string> events;
  for (int i = 0; i < test.notes; ++i) {
    events.push_back("n" + std::to_string(i));
    if (i == test.stopAt) break;
    if (i % 3 == 2) events.push_back("w" + std::to_string(i));
  }
  return events;
}

TEST(ReadAheadTest, OrderStopAndFailureCrossTheThread) {
  for (const AheadCase& test : kCases) {
    SCOPED_TRACE(test.what);
    Seen seen;
    const std::thread::id caller = std::this_thread::get_id();
    const NoteReader read = [&](const WholeCallback& deliver, const Warnings& warnings) {
      seen.reader = std::this_thread::get_id();
      for (int i = 0; i < test.notes; ++i) {
        WholeNote note;
        note.id = std::to_string(i);
        note.markdown = std::string(static_cast<size_t>(i) * 100, 'm');
        const int answer = deliver(note);
        if (answer != kVeldrakeBackupOk) return answer;
        if (i % 3 == 2) warnings.Say("w" + std::to_string(i));
      }
      if (test.throws) throw std::bad_alloc();
      return test.readerResult;
    };
    const WholeCallback consume = [&](WholeNote& note) {
      seen.elsewhere = seen.elsewhere || std::this_thread::get_id() != caller;
      EXPECT_EQ(note.markdown.size(), std::stoul(note.id) * 100);
      seen.events.push_back("n" + note.id);
      return note.id == std::to_string(test.stopAt) ? kVeldrakeBackupStopped : kVeldrakeBackupOk;
    };
    std::string failure;
    const int result = ReadAhead(read, consume, Warnings{Said, &seen}, &failure);
    EXPECT_EQ(result, test.result);
    EXPECT_EQ(failure, test.failure);
    EXPECT_EQ(seen.events, Expected(test));
    EXPECT_FALSE(seen.elsewhere);
    EXPECT_NE(seen.reader, caller);
  }
}

}  // namespace
