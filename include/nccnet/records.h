/// \file
/// The entity records: what the members of CNCCNet take and give, and at the same time the byte
/// images that the database stores and other programs read. Little-endian, packed, of fixed size: a
/// reference to a field is misaligned, so copy the field first.
#pragma once

#include "nccnet/export.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

using CString = std::string;

/// Counted reference to an object of the hierarchical database.
template <class T>
using TRef = std::shared_ptr<T>;

/// Longest name in bytes, without its terminating zero.
inline constexpr std::size_t kMaxNameLength = 51;

/// Type codes: the type byte of every record, the kind of a folder item, the result of
/// CNCCNet::GetType.
inline constexpr std::uint8_t kTypeServer = 1;
inline constexpr std::uint8_t kTypeAP = 2;
inline constexpr std::uint8_t kTypeDep = 3;
inline constexpr std::uint8_t kTypeAB = 4;
inline constexpr std::uint8_t kTypeNGrp = 7;
inline constexpr std::uint8_t kTypeNone = 0xFF;

/// Application bits of CNNEntry::flags that the library itself looks at.
inline constexpr std::uint32_t kFlagNCC = 0x4;  ///< the node is the network control centre
inline constexpr std::uint32_t kFlagKC = 0x40;  ///< the node is the key centre

/// Identifier of an object of the hierarchical database: a folder has space 200, a record space
/// 100; both carry the network object's identifier as their number.
struct TDBObjId {
  std::uint32_t space = 0;
  std::uint32_t number = 0;

  friend bool operator==(const TDBObjId&, const TDBObjId&) = default;
};

// Copying. The copy constructor of every record copies the name up to its terminating zero only and
// leaves the destination's bytes behind it as they were; assignment copies the whole record byte
// for byte. The difference is intended: a stored image made from a record carries the bytes that
// its making left there.

#pragma pack(push, 1)

/// The head that all records share. 57 bytes.
struct NCC_API CNCCEntry {
  char name[kMaxNameLength + 1];  ///< zero-terminated, at most 51 bytes; all zero by default
  std::uint32_t id;               ///< network-wide identifier; 0 by default
  std::uint8_t type;              ///< type code; 0xFF by default

  CNCCEntry();
  CNCCEntry(const CNCCEntry& other);
  CNCCEntry& operator=(const CNCCEntry& other) = default;
};

/// A node: server or AP. 77 bytes.
struct NCC_API CNNEntry : CNCCEntry {
  std::uint32_t number;     ///< ordinal: of the server in the network, of the AP within its server
  std::uint32_t flags;      ///< application bit mask
  std::uint8_t attribute;   ///< 1 for a server (and by default), 0 for an AP
  std::uint32_t ap_count;   ///< APs under the server now; 0 for an AP
  std::uint32_t server_id;  ///< the AP's server; 0 for a server
  std::uint8_t
      settings;  ///< copied from CNetPref::node_settings, or set by RegAPP and RegSrv; 2 by default
  std::uint16_t value;  ///< the short value given to AddServer, 0 for an AP; 10 by default

  CNNEntry();
  CNNEntry(const CNNEntry& other);
  CNNEntry& operator=(const CNNEntry& other) = default;
};

/// Identifier of a collective: a Dep and a node at which its users work. 8 bytes.
struct CColId {
  std::uint32_t dep;
  std::uint32_t node;
};

/// The collective without its kind. 8 bytes.
struct CCol {
  CColId id;
};

/// One membership of a user. 9 bytes, stored so.
struct CColAb {
  CColId id;
  std::uint8_t kind;  ///< 0 for a membership made when the user joined the Dep
};

/// A link between two Deps of an imported network. 8 bytes.
struct tag_WORD4 {
  std::uint32_t first;
  std::uint32_t second;
};

/// A Dep: a group of users. 66 bytes.
struct NCC_API CDepEntry : CNCCEntry {
  std::uint32_t ngrp_id;  ///< the node group that the Dep was assigned to last; 0 for none
  std::uint32_t value;    ///< kept, not interpreted; 0 by default
  std::uint8_t kind;      ///< kept, not interpreted; 7 by default, 0 in a stored Dep

  CDepEntry();
  CDepEntry(const CDepEntry& other);
  CDepEntry& operator=(const CDepEntry& other) = default;
};

/// A user. 66 bytes.
struct NCC_API CABEntry : CNCCEntry {
  CColId primary;      ///< the primary collective; left as it is by the default constructor
  std::uint8_t flags;  ///< kept, not interpreted; 0 by default

  CABEntry();
  CABEntry(const CABEntry& other);
  CABEntry& operator=(const CABEntry& other) = default;
};

/// A node group. 61 bytes.
struct NCC_API CNGrpEntry : CNCCEntry {
  std::uint32_t number;  ///< ordinal of the node group in the network; 0 by default

  CNGrpEntry();
  CNGrpEntry(const CNGrpEntry& other);
  CNGrpEntry& operator=(const CNGrpEntry& other) = default;
};

/// The network preferences block. 28 bytes, stored whole in the network record.
/// The library interprets the network number, the counters and node_settings; the rest belongs to
/// the application.
struct CNetPref {
  std::uint32_t net_number = 0;      ///< the network number
  std::uint32_t next_id = 1;         ///< the next object gets this identifier
  std::uint32_t server_counter = 0;  ///< the last server ordinal that was given
  std::uint8_t byte_12 = 0;
  std::uint8_t node_settings = 1;  ///< copied into CNNEntry::settings of each new server and AP
  std::uint32_t value_14 = 0;
  std::uint8_t byte_18 = 0;
  std::uint8_t byte_19 = 0;
  std::uint32_t value_20 = 0;
  std::uint32_t ngrp_counter = 0;  ///< the last node-group ordinal that was given
};

#pragma pack(pop)

static_assert(sizeof(CNCCEntry) == 57 && offsetof(CNCCEntry, id) == 52 &&
              offsetof(CNCCEntry, type) == 56);
static_assert(sizeof(CNNEntry) == 77 && sizeof(CDepEntry) == 66 && sizeof(CABEntry) == 66);
static_assert(sizeof(CNGrpEntry) == 61 && sizeof(CNetPref) == 28);
static_assert(sizeof(CColId) == 8 && sizeof(CCol) == 8 && sizeof(CColAb) == 9 &&
              sizeof(tag_WORD4) == 8);
static_assert(offsetof(CNetPref, node_settings) == 13 && offsetof(CNetPref, value_14) == 14);
static_assert(offsetof(CNetPref, value_20) == 20 && offsetof(CNetPref, ngrp_counter) == 24);
