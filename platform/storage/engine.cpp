#include "platform/storage/engine.h"

namespace ncc {

std::optional<std::vector<StoredUnit>> StorageEngine::Follow(std::uint64_t,
                                                             std::chrono::milliseconds) {
  throw StorageError("this database cannot be followed: one machine alone opens it");
}

void StorageEngine::Acquire(std::chrono::milliseconds, bool) {
  throw StorageError("this database cannot be taken over: one machine alone opens it");
}

bool StorageEngine::IsOwnerLost() { return false; }

EngineStatus StorageEngine::Status() { return {}; }

}  // namespace ncc
