// What the fuzz targets of the exchange files share.
#pragma once

#include "exchange/read/readers.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

inline constexpr unsigned long kNet = 5;

inline void Require(bool holds) {
  if (!holds) __builtin_trap();
}

inline std::string_view TextOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// The nodes and users that other files refer to.
inline void ReadSample(ncc::ImportedNet& net) {
  Require(!ncc::ReadUsers("00050020 u\n00050021 v\n", kNet, net));
  Require(
      !ncc::ReadNodes("s F S 0000000500010001 00050001\na F A 0000000500010001 00050003\n"
                      "b F A 0000000500010002 00050017\n",
                      kNet, net));
}

// A fault names a line that is there; what was read has names that fit and is found again.
inline void RequireFault(const ncc::ReadResult& result, std::string_view text) {
  std::size_t lines = 1;
  for (const char c : text) lines += c == '\n' ? 1 : 0;
  if (result) Require(result->line >= 1 && result->line <= lines + 1 && !result->reason.empty());
}

template <class Entry>
void RequireRecords(const ncc::RecordTable<Entry>& table) {
  for (const Entry& entry : table.List()) {
    const std::size_t length = strnlen(entry.name, sizeof(entry.name));
    Require(length >= 1 && length <= kMaxNameLength);
    const Entry* by_id = table.Find(entry.id);
    const Entry* by_name = table.Find(entry.name);
    Require(by_id != nullptr && by_id->id == entry.id);
    Require(by_name != nullptr && std::strcmp(by_name->name, entry.name) == 0);
  }
}
