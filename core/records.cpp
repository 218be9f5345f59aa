#include "nccnet/records.h"

#include <cstddef>
#include <cstring>

// Offsets in records with a base are well defined for every compiler that this builds with.
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

static_assert(offsetof(CNNEntry, number) == 57 && offsetof(CNNEntry, flags) == 61);
static_assert(offsetof(CNNEntry, attribute) == 65 && offsetof(CNNEntry, ap_count) == 66);
static_assert(offsetof(CNNEntry, server_id) == 70 && offsetof(CNNEntry, settings) == 74);
static_assert(offsetof(CNNEntry, value) == 75 && offsetof(CDepEntry, ngrp_id) == 57);
static_assert(offsetof(CDepEntry, value) == 61 && offsetof(CDepEntry, kind) == 65);
static_assert(offsetof(CABEntry, primary) == 57 && offsetof(CABEntry, flags) == 65);
static_assert(offsetof(CNGrpEntry, number) == 57);

// The copy constructors rely on a constructor leaving alone what it does not write; the build keeps
// the optimiser from assuming otherwise.

CNCCEntry::CNCCEntry() : name{}, id(0), type(kTypeNone) {}

// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): the bytes behind the name stay as they
// were
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

CDepEntry::CDepEntry() : ngrp_id(0), value(0), kind(7) {}

CDepEntry::CDepEntry(const CDepEntry& other)
    : CNCCEntry(other), ngrp_id(other.ngrp_id), value(other.value), kind(other.kind) {}

// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): the primary collective stays as it was
CABEntry::CABEntry() : flags(0) {}

CABEntry::CABEntry(const CABEntry& other)
    : CNCCEntry(other), primary(other.primary), flags(other.flags) {}

CNGrpEntry::CNGrpEntry() : number(0) {}

CNGrpEntry::CNGrpEntry(const CNGrpEntry& other) : CNCCEntry(other), number(other.number) {}
