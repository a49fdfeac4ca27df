// One job at a time on a second thread.
#include "BackgroundTask.h"

#include <utility>

namespace host {

BackgroundTask::~BackgroundTask() {
  if (!thread_.joinable()) return;
  {
    std::unique_lock<std::mutex> hold(lock_);
    changed_.wait(hold, [this] { return !job_; });
    quit_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void BackgroundTask::Start(std::function<void()> job) {
  Wait();
  {
    std::lock_guard<std::mutex> hold(lock_);
    job_ = std::move(job);
  }
  if (thread_.joinable()) {
    changed_.notify_all();
    return;
  }
  try {
    thread_ = std::thread(&BackgroundTask::Run, this);
  } catch (...) {
    RunHere();  // no second thread to be had: the job is done all the same, here
  }
}

void BackgroundTask::Wait() {
  std::exception_ptr failure;
  {
    std::unique_lock<std::mutex> hold(lock_);
    changed_.wait(hold, [this] { return !job_; });
    std::swap(failure, failure_);
  }
  if (failure) std::rethrow_exception(failure);
}

void BackgroundTask::RunHere() {
  try {
    job_();
  } catch (...) {
    failure_ = std::current_exception();
  }
  job_ = nullptr;
}

void BackgroundTask::Run() {
  std::unique_lock<std::mutex> hold(lock_);
  for (;;) {
    changed_.wait(hold, [this] { return job_ || quit_; });
    if (!job_) return;
    hold.unlock();
    std::exception_ptr failure;
    try {
      job_();
    } catch (...) {
      failure = std::current_exception();
    }
    hold.lock();
    failure_ = failure;
    job_ = nullptr;
    changed_.notify_all();
  }
}

}  // namespace host
