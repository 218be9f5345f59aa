#include "nccnet/thread_pool.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/sync.h"

struct CPoolThread::State {
  std::mutex mutex;
  std::condition_variable resumed;
  bool suspended = false;
  std::thread thread;

  void WaitUntilResumed() {
    std::unique_lock lock(mutex);
    resumed.wait(lock, [this] { return !suspended; });
  }
};

CPoolThread::CPoolThread() : state_(std::make_shared<State>()) {}
CPoolThread::~CPoolThread() = default;

void CPoolThread::Resume() {
  const std::lock_guard lock(state_->mutex);
  state_->suspended = false;
  state_->resumed.notify_one();
}

struct CThreadPool::State {
  using Threads = std::list<std::shared_ptr<CPoolThread::State>>;

  std::mutex mutex;  // guards the lists
  Threads running;   // in start order
  Threads ended;     // to be joined
  ncc::Event stop;

  // Needs no memory: there may be none, and nobody to tell.
  void Retire(const std::shared_ptr<CPoolThread::State>& thread) {
    const std::lock_guard lock(mutex);
    ended.splice(ended.end(), running, std::find(running.begin(), running.end(), thread));
  }

  // Joins what has ended: their last instructions are near. A thread that joins others is not its
  // own.
  void JoinEnded() {
    Threads threads;
    {
      const std::lock_guard lock(mutex);
      threads.swap(ended);
    }
    for (const auto& thread : threads) {
      if (thread->thread.get_id() == std::this_thread::get_id()) {
        thread->thread.detach();
      } else {
        thread->thread.join();
      }
    }
  }
};

CThreadPool::CThreadPool() : state_(std::make_unique<State>()) {}

CThreadPool::~CThreadPool() {
  StopAll();
  state_->JoinEnded();
}

std::shared_ptr<CPoolThread> CThreadPool::Start(unsigned long (*fn)(void*), void* param, int,
                                                unsigned, unsigned long flags, void*) {
  if (fn == nullptr) return nullptr;
  state_->JoinEnded();
  try {
    auto started = std::make_shared<CPoolThread>();
    const auto thread = started->state_;
    thread->suspended = true;
    {
      const std::lock_guard lock(state_->mutex);
      state_->running.push_back(thread);
    }
    try {
      thread->thread = std::thread([pool = state_.get(), thread, fn, param] {
        thread->WaitUntilResumed();
        fn(param);
        pool->Retire(thread);
      });
    } catch (...) {
      const std::lock_guard lock(state_->mutex);
      state_->running.remove(thread);
      throw;
    }
    if ((flags & kSuspended) == 0) started->Resume();
    return started;
  } catch (const std::exception&) {
    return nullptr;
  }
}

void CThreadPool::StopAll() {
  state_->stop.Set();
  while (GetCount() > 0) std::this_thread::sleep_for(std::chrono::milliseconds(100));
  state_->stop.Reset();
}

unsigned long CThreadPool::GetCount() {
  const std::lock_guard lock(state_->mutex);
  return state_->running.size();
}

bool CThreadPool::IsStopping() { return state_->stop.IsSet(); }
