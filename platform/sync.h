// A re-entrant lock and an event, with the behaviour that the network object describes.
#pragma once

#include <atomic>
#include <thread>

namespace ncc {

// A re-entrant mutual-exclusion lock that may be destroyed while it is entered (by a thread that no
// other one waits for), which no standard mutex allows.
class ReentrantLock {
 public:
  void Enter() {
    if (HeldByThisThread()) {
      ++depth_;
      return;
    }
    int expected = kFree;
    if (!state_.compare_exchange_strong(expected, kHeld, std::memory_order_acquire)) Wait();
    owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
    depth_ = 1;
  }

  // By the thread that entered it.
  void Leave() {
    if (--depth_ > 0) return;
    owner_.store(std::thread::id(), std::memory_order_relaxed);
    if (state_.exchange(kFree, std::memory_order_release) == kContended) state_.notify_one();
  }

  // Only this thread itself stores its own identity, so a relaxed look cannot be fooled.
  bool HeldByThisThread() const {
    return owner_.load(std::memory_order_relaxed) == std::this_thread::get_id();
  }

 private:
  enum : int { kFree, kHeld, kContended };

  void Wait() {
    while (state_.exchange(kContended, std::memory_order_acquire) != kFree) {
      state_.wait(kContended, std::memory_order_relaxed);
    }
  }

  std::atomic<int> state_ = kFree;
  std::atomic<std::thread::id> owner_ = std::thread::id();
  int depth_ = 0;  // of the owner
};

// Enters for a scope.
class LockScope {
 public:
  explicit LockScope(ReentrantLock& lock) : lock_(lock) { lock_.Enter(); }
  ~LockScope() { lock_.Leave(); }
  LockScope(const LockScope&) = delete;
  LockScope& operator=(const LockScope&) = delete;

 private:
  ReentrantLock& lock_;
};

// A manual-reset event that is only ever asked, never waited for.
class Event {
 public:
  void Set() { set_.store(true, std::memory_order_release); }
  void Reset() { set_.store(false, std::memory_order_release); }
  bool IsSet() const { return set_.load(std::memory_order_acquire); }

 private:
  std::atomic<bool> set_ = false;
};

}  // namespace ncc
