// Bringing the rows of a database together in one piece while its owner goes on, so that opening
// reads no long row of commits and the store keeps none.
#pragma once

#include "platform/cluster/client.h"
#include "platform/cluster/layout.h"
#include "platform/cluster/records.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <thread>

namespace ncc::etcd {

class Folding {
 public:
  Folding(const EtcdSettings& settings, const Layout& layout, std::int64_t owner);
  // What has begun is ended first, unless the cluster does not answer.
  ~Folding();
  Folding(const Folding&) = delete;
  Folding& operator=(const Folding&) = delete;

  // That so much is behind a base of that size: folds when it is time.
  void Found(std::size_t base, std::size_t units, std::size_t bytes);
  // A commit more.
  void Add(std::size_t bytes);

 private:
  void Run();
  bool IsDue() const;
  void Fold();
  bool HasMoved(const Base& base);

  Client client_;  // of the thread
  const Layout layout_;
  const std::int64_t owner_;
  std::mutex mutex_;
  std::condition_variable asked_;
  std::size_t base_ = 0;   // bytes
  std::size_t units_ = 0;  // behind it
  std::size_t bytes_ = 0;
  bool stops_ = false;
  std::thread thread_;
};

}  // namespace ncc::etcd
