// The reading thread and the short queue between it and the export's thread.
#include "ReadAhead.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

#include "ApiSupport.h"
#include "Cancel.h"

namespace veldrake::backup {
namespace {

// What may wait at most: enough that the threads hand over in batches rather than one
// note at a time (each hand-over is a sleep and a wake), little enough to bound memory
// by a few notes whatever their size. A full queue takes more only once half of it is
// gone.
constexpr size_t kDepth = 64;
constexpr size_t kBytes = size_t{4} << 20;

// A note, or a warning when `note` is null. A note is wiped however it goes.
struct Item {
  std::unique_ptr<WholeNote> note;
  std::string warning;
  Item() = default;
  Item(Item&&) = default;
  Item& operator=(Item&& other) {
    Wiped();
    note = std::move(other.note);
    warning = std::move(other.warning);
    return *this;
  }
  ~Item() { Wiped(); }
  size_t Bytes() const {
    return note ? note->text.size() + note->markdown.size() + note->html.size() : warning.size();
  }
  void Wiped() {
    if (note) WipeNote(note.get());
    note.reset();
  }
};

class Queue {
 public:
  // Waits until an item of `bytes` fits (an empty queue takes any); false when the
  // consumer has stopped. Only the reader adds, so what fits still fits at Add.
  bool Admit(size_t bytes) {
    std::unique_lock<std::mutex> hold(lock_);
    const auto fits = [&] {
      return items_.empty() || (items_.size() < kDepth && bytes_ + bytes <= kBytes);
    };
    if (!fits()) {
      waiting_ = true;
      room_.wait(hold, [&] { return stopped_ || items_.empty() || (HalfEmpty() && fits()); });
      waiting_ = false;
    }
    return !stopped_;
  }
  // Waits until the consumer has finished everything it was given: a note larger than
  // the queue's bytes is not read ahead of, so that two of them are never held at once.
  void WaitIdle() {
    std::unique_lock<std::mutex> hold(lock_);
    waiting_ = true;
    room_.wait(hold, [this] { return stopped_ || (items_.empty() && !busy_); });
    waiting_ = false;
  }
  void Add(Item item) {
    std::lock_guard<std::mutex> hold(lock_);
    if (stopped_) return;
    bytes_ += item.Bytes();
    items_.push_back(std::move(item));
    if (items_.size() == 1) ready_.notify_one();
  }
  // false when the reader has finished and nothing is left.
  bool Pop(Item* item) {
    std::unique_lock<std::mutex> hold(lock_);
    busy_ = false;  // the last item is done with
    if (waiting_ && items_.empty()) room_.notify_one();
    ready_.wait(hold, [this] { return !items_.empty() || finished_; });
    if (items_.empty()) return false;
    busy_ = true;
    *item = std::move(items_.front());
    items_.pop_front();
    bytes_ -= item->Bytes();
    if (waiting_ && (items_.empty() || HalfEmpty())) room_.notify_one();
    return true;
  }
  void Finish(int result, const std::string& failure) {
    std::lock_guard<std::mutex> hold(lock_);
    finished_ = true;
    result_ = result;
    failure_ = failure;
    ready_.notify_all();
  }
  void Stop() {
    std::lock_guard<std::mutex> hold(lock_);
    stopped_ = true;
    items_.clear();
    bytes_ = 0;
    room_.notify_all();
  }
  int Result(std::string* failure) {
    std::lock_guard<std::mutex> hold(lock_);
    *failure = failure_;
    return result_;
  }

 private:
  bool Full() const { return !items_.empty() && (items_.size() >= kDepth || bytes_ >= kBytes); }
  bool HalfEmpty() const { return items_.size() <= kDepth / 2 && bytes_ <= kBytes / 2; }

  std::mutex lock_;
  std::condition_variable room_, ready_;
  std::deque<Item> items_;
  size_t bytes_ = 0;
  bool stopped_ = false, finished_ = false, waiting_ = false;
  bool busy_ = false;  // the consumer has an item in hand
  int result_ = kVeldrakeBackupOk;
  std::string failure_;
};

void QueueWarning(const char* line, void* context) {
  auto* queue = static_cast<Queue*>(context);
  Item item;
  item.warning = line;
  if (queue->Admit(item.Bytes())) queue->Add(std::move(item));
}

// The reader's side: its notes copied into the queue (the reader wipes its own).
void Read(const NoteReader& read, Queue* queue) {
  const WholeCallback deliver = [queue](WholeNote& note) {
    const size_t bytes = note.text.size() + note.markdown.size() + note.html.size();
    if (!queue->Admit(bytes)) return kVeldrakeBackupStopped;
    // A locked note is copied, so that the reader's wipe of its own reaches every byte
    // (a moved string may leave its short text behind); any other is moved.
    Item item;
    item.note = note.wasLocked ? std::make_unique<WholeNote>(note)
                               : std::make_unique<WholeNote>(std::move(note));
    queue->Add(std::move(item));
    if (bytes > kBytes) queue->WaitIdle();
    MarkProgress();  // the time it waited for room is the host's, not the store's
    return kVeldrakeBackupOk;
  };
  std::string failure;
  int result = kVeldrakeBackupOk;
  try {
    result = read(deliver, Warnings{QueueWarning, queue});
  } catch (...) {
    result = FailedWith(&failure);
  }
  queue->Finish(result, failure);
}

// Stops the reader and waits for it however the export's side ends.
struct Joined {
  Queue* queue;
  std::thread* reader;
  ~Joined() {
    queue->Stop();
    reader->join();
  }
};

}  // namespace

int ReadAhead(const NoteReader& read, const WholeCallback& consume, const Warnings& warnings,
              std::string* failure) {
  Queue queue;
  std::thread reader;
  try {
    reader = std::thread(Read, std::cref(read), &queue);
  } catch (const std::system_error&) {
    return read(consume, warnings);
  }
  int answer = kVeldrakeBackupOk;
  {
    const Joined joined{&queue, &reader};
    Item item;
    while (answer == kVeldrakeBackupOk && queue.Pop(&item)) {
      if (item.note)
        answer = consume(*item.note);
      else
        warnings.Say(item.warning);
      item = Item();
    }
  }
  const int result = queue.Result(failure);
  return answer != kVeldrakeBackupOk ? answer : result;
}

}  // namespace veldrake::backup
