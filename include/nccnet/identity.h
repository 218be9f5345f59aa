/// \file
/// Adding objects with identifiers of the caller's choice, for what makes a network anew as it was:
/// whoever read a generated file of the one reads that of the other, as they are the same.
#pragma once

#include "nccnet/export.h"
#include "nccnet/netdb.h"

#include <vector>

/// The highest identifier that an object can have.
inline constexpr unsigned long kMaxIdentifier = 0xFFFFFFFD;

/// What a new object gets in place of what the counters of the preferences would give.
struct CIdentity {
  unsigned long id = 0;      ///< its identifier, 1 to kMaxIdentifier
  unsigned long number = 0;  ///< its ordinal, of 32 bits; 0 for the next one
};

/// As CNCCNet::AddServer, AddAP, CreateNGrp, CreateDep and CreateAB. An identifier that is out of
/// range or that any object has is refused, and the counters stay. One that an object had which is
/// gone can be given again: memberships and primary collectives that still name it mean the new
/// object then. Counters are raised, never turned back: the next identifier comes to lie above the
/// given one, the last ordinal of servers or node groups is no lower than it. An ordinal is not
/// tested for being taken. \return the identifier; 0 when the object was refused
NCC_API unsigned long AddServerAs(CNCCNet& net, const CIdentity& as, const char* name,
                                  unsigned long flags, unsigned short value);
NCC_API unsigned long AddAPAs(CNCCNet& net, const CIdentity& as, unsigned long server,
                              const char* name, unsigned long flags);
NCC_API unsigned long CreateNGrpAs(CNCCNet& net, const CIdentity& as, const char* name);
NCC_API unsigned long CreateDepAs(CNCCNet& net, unsigned long id, const char* name);
NCC_API unsigned long CreateABAs(CNCCNet& net, unsigned long id, const char* name);

/// The identifiers of all servers, users, Deps or node groups (`type` is a type code) in the order
/// in which they were added, which some generated files follow. It is that of the identifiers
/// unless the caller chose some or turned the counter back. Empty for other types, and after a
/// failure. \throws std::bad_alloc
NCC_API std::vector<unsigned long> ListByAdding(CNCCNet& net, unsigned char type);
