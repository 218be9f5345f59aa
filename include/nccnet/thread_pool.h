/// \file
/// The worker pool of a network object.
#pragma once

#include "nccnet/export.h"

#include <memory>

/// A thread that a pool has started. Shared between the pool and the caller; either may drop it
/// first.
class NCC_API CPoolThread {
 public:
  CPoolThread();
  ~CPoolThread();
  CPoolThread(const CPoolThread&) = delete;
  CPoolThread& operator=(const CPoolThread&) = delete;

  /// Lets a thread run that was started suspended. Does nothing for a thread that runs or has
  /// ended.
  void Resume();

 private:
  friend class CThreadPool;
  struct State;
  std::shared_ptr<State> state_;
};

/// A small pool of worker threads with a stop request of its own.
///
/// Thread-safe. The pool sets no limit to the number of threads.
class NCC_API CThreadPool {
 public:
  /// Flag of Start: the thread waits for CPoolThread::Resume before its first instruction.
  static constexpr unsigned long kSuspended = 4;

  CThreadPool();
  /// Stops all threads as StopAll does, then joins them. A suspended thread that nobody resumes
  /// keeps it waiting.
  virtual ~CThreadPool();
  CThreadPool(const CThreadPool&) = delete;
  CThreadPool& operator=(const CThreadPool&) = delete;

  /// Starts `fn(param)` on a new thread. Priority, stack size (bytes) and security are hints, which
  /// this platform ignores. \return the thread; null when it could not be created
  std::shared_ptr<CPoolThread> Start(unsigned long (*fn)(void*), void* param, int priority = 0,
                                     unsigned stack_size = 0, unsigned long flags = 0,
                                     void* security = nullptr);

  /// Asks every thread to stop (IsStopping is true meanwhile) and waits, without a time-out, until
  /// none is left. Looks every 100 ms.
  void StopAll();

  /// Number of threads that were started and have not ended, suspended ones included.
  unsigned long GetCount();

  /// Whether a StopAll is waiting.
  bool IsStopping();

 private:
  struct State;
  std::unique_ptr<State> state_;
};
