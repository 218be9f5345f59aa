// What a standby is told of the owner of its database.
#pragma once

#include "platform/storage/engine.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace ncc {

// Asks over an engine of its own, so that nobody who waits for news holds the lock of the network
// object. For all threads: one asks at a time.
class OwnerWatch {
 public:
  explicit OwnerWatch(std::unique_ptr<StorageEngine> engine) : engine_(std::move(engine)) {}

  struct News {
    bool is_behind = false;  // there is more to follow
    std::string owner;       // empty: nobody
    bool is_owner_lost = false;
  };
  // Waits up to `wait` for something to follow behind `revision`. Throws StorageError.
  News Wait(std::uint64_t revision, std::chrono::milliseconds wait);

 private:
  std::mutex mutex_;
  const std::unique_ptr<StorageEngine> engine_;
};

}  // namespace ncc
