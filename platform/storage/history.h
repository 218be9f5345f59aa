// What the engine keeps of each commit beside the rows: who made it, and what it replaced.
#pragma once

#include <cstdint>
#include <string>

namespace ncc {

// Who makes changes, with what and what for. UTF-8.
struct Origin {
  std::string person;   // the operator
  std::string program;  // "nccadm"
  std::string text;     // "user link Ivanov Office"

  friend bool operator==(const Origin&, const Origin&) = default;
};

// One commit.
struct HistoryEntry {
  std::uint64_t revision = 0;  // that it led to
  std::int64_t time = 0;       // microseconds since 1970-01-01 UTC
  Origin origin;
  std::string replaced;  // the rows before it, packed by who committed them

  friend bool operator==(const HistoryEntry&, const HistoryEntry&) = default;
};

// How much of the history stays.
struct HistoryRule {
  enum class Keep : std::uint8_t { kAll = 0, kUnits = 1, kDays = 2, kNone = 3 };

  Keep keep = Keep::kAll;
  std::uint32_t count = 0;  // kUnits, kDays

  friend bool operator==(const HistoryRule&, const HistoryRule&) = default;
};

// Which entries there are: those of each revision from `first` to the last commit's.
struct HistoryBounds {
  HistoryRule rule;
  std::uint64_t first = 1;

  friend bool operator==(const HistoryBounds&, const HistoryBounds&) = default;
};

}  // namespace ncc
