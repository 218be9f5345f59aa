// Takes the library and a bare program that does the same work by turns, so that whatever else the
// machine does meanwhile slows both.
#pragma once

#include <benchmark/benchmark.h>

#include <time.h>

#include <chrono>
#include <vector>

template <class Work>
double Seconds(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Time of this thread on a processor; for work that never waits.
template <class Work>
double CpuSeconds(Work work) {
  const auto now = [] {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  };
  const double start = now();
  work();
  return now() - start;
}

class Comparison {
 public:
  // One round. Ours is the time of an iteration of the benchmark.
  void Add(benchmark::State& state, double ours, double bare);

  // Sets the counters "ours" and "bare" (medians, seconds for one of `operations` in a round) and
  // "ratio" (the median of the rounds' ratios); beside it "best_ratio", of the fastest rounds,
  // which other programs disturbed least, and "total_ratio", of all time together with its rare
  // slow operations.
  void Report(benchmark::State& state, double operations = 1) const;

 private:
  std::vector<double> ours_;
  std::vector<double> bare_;
  std::vector<double> ratios_;
};
