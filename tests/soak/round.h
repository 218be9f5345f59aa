// One round: an owner that commits, a fault, a second process that takes over, and the proof.
#pragma once

#include "soak/faults.h"

#include <chrono>
#include <cstdint>

struct RoundResult {
  std::uint64_t acknowledged = 0;  // commits, of both owners
  std::uint64_t in_flight = 0;     // 1: the last of the first owner was stored and never told
  std::uint64_t found_stored = 0;  // commits whose answer was lost, and that were stored
  std::uint64_t not_stored = 0;    // commits that failed, and were not
  std::uint64_t fenced = 0;        // 1: the first owner was alive and learned that it is none
  std::chrono::milliseconds takeover{0};  // from the end of the first owner to the second's commit
};

// Throws Violation.
RoundResult PlayRound(Place& place, const FaultKind& kind, std::uint64_t seed);
