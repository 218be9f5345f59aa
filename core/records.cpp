#include "nccnet/records.h"

#include <cstring>

// The copy constructors rely on a constructor leaving alone what it does not write; the build keeps the
// optimiser from assuming otherwise.

CNCCEntry::CNCCEntry() : name{}, id(0), type(kTypeNone) {}

// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): the bytes behind the name stay as they were
CNCCEntry::CNCCEntry(const CNCCEntry& other) : id(other.id), type(other.type) {
  std::memcpy(name, other.name, strnlen(other.name, kMaxNameLength) + 1);
}

CNNEntry::CNNEntry()
    : number(0), flags(0), attribute(1), ap_count(0), server_id(0), settings(2), value(10) {}

CNNEntry::CNNEntry(const CNNEntry& other)
    : CNCCEntry(other),
      number(other.number),
      flags(other.flags),
      attribute(other.attribute),
      ap_count(other.ap_count),
      server_id(other.server_id),
      settings(other.settings),
      value(other.value) {}
