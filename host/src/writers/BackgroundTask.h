// BackgroundTask: one job at a time on a second thread, so that a writer can have the
// costly part of one record made while it goes on with the next ones.
//
// Start hands a job over; Wait returns once it is done and throws there, on the caller's
// thread, whatever the job threw. Between the two the job owns what it touches: the
// caller reads or writes none of it, and the mutex orders the hand-over both ways. The
// thread starts with the first job and ends with the object (after the job that runs); if
// none can be started, Start does the job itself.
//
// Thread contract: Start, Wait and the destructor from one thread.
#ifndef VELDRAKE_HOST_BACKGROUNDTASK_H_
#define VELDRAKE_HOST_BACKGROUNDTASK_H_

#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>

namespace host {

class BackgroundTask {
 public:
  BackgroundTask() = default;
  BackgroundTask(const BackgroundTask&) = delete;
  BackgroundTask& operator=(const BackgroundTask&) = delete;
  ~BackgroundTask();

  // After the job before it is waited for.
  void Start(std::function<void()> job);
  // Until the job is done; rethrows what it threw. At once when none was started.
  void Wait();

 private:
  void Run();
  // The job on the calling thread, when no thread could be started.
  void RunHere();

  std::mutex lock_;
  std::condition_variable changed_;
  std::function<void()> job_;  // set while a job waits or runs
  bool quit_ = false;
  std::exception_ptr failure_;
  std::thread thread_;
};

}  // namespace host

#endif  // VELDRAKE_HOST_BACKGROUNDTASK_H_
