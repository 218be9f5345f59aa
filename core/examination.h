// What a stored network must be, so that no operation meets what it is not made for.
#pragma once

#include "platform/hdb/base.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace ncc {

// What is wrong with a network, and with which objects.
class UnsoundNetwork : public StorageError {
 public:
  UnsoundNetwork(const std::string& fault, std::vector<std::uint32_t> objects)
      : StorageError("database is damaged: " + fault), objects_(std::move(objects)) {}
  const std::vector<std::uint32_t>& Objects() const { return objects_; }

 private:
  std::vector<std::uint32_t> objects_;
};

// Throws UnsoundNetwork, naming an object and what is wrong with it, for a database that no
// operation of this library can have left. What an application may store as it likes is not looked
// at: the preferences, memberships and primary collectives of what is gone.
void ExamineNetwork(const CHDBase& base);

// What it would throw, for up to `most` objects.
std::vector<UnsoundNetwork> FaultsOf(const CHDBase& base, std::size_t most);

}  // namespace ncc
