// Work that goes on in several threads at once.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <future>
#include <thread>
#include <vector>

namespace ncc {

// Calls work(first, last) for shares of the numbers from 0 to `count`: several threads, this one
// among them, take such shares of `share` numbers until none is left. What one of them throws goes
// on when all have ended. Where no thread can be had, this one does it all.
template <class Work>
void InShares(std::size_t count, std::size_t share, const Work& work) {
  constexpr std::size_t kMostThreads = 8;
  std::atomic<std::size_t> next = 0;
  const auto run = [&] {
    for (std::size_t first = next.fetch_add(share); first < count; first = next.fetch_add(share))
      work(first, std::min(first + share, count));
  };
  const std::size_t shares = (count + share - 1) / share;
  const std::size_t threads =
      std::min<std::size_t>({kMostThreads, std::thread::hardware_concurrency(), shares});
  std::vector<std::future<void>> others(threads > 1 ? threads - 1 : 0);
  for (std::future<void>& other : others)
    other = std::async(std::launch::async | std::launch::deferred, run);
  run();
  for (std::future<void>& other : others) other.get();
}

}  // namespace ncc
