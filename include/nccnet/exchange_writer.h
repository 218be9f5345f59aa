/// \file
/// Describing the own network to its neighbours.
#pragma once

#include "nccnet/export.h"
#include "nccnet/netdb.h"

#include <cstdint>
#include <list>
#include <string>

/// The gateway file's contents.
struct CExchangeGate {
  std::uint32_t first = 0;
  std::uint32_t second = 0;
  std::string name;  ///< 1 to 51 characters without blanks, as CNCCNet::SetTextEncoding says
};

struct CExchangeOptions {
  /// Stands for each blank in names, which the files cannot hold: a byte of code page 1251; 0 to
  /// refuse such names.
  char blank = '\0';
};

/// What became of a set, in lines for people to read.
struct CExchangeReport {
  /// Why no set could be written, a line for each object; empty after a success.
  std::list<std::string> refused;
  /// What the files have no place for and the set is without, a line for each sort of it: links
  /// between servers, short values, attribute and settings bytes other than those that a reader
  /// makes up, memberships of other kinds than 0, primary memberships that a user has more than
  /// once; and servers in node groups, which are carried but end a reader's list of the group's
  /// nodes.
  std::list<std::string> not_carried;
};

/// Writes the eight files of the object's network into a folder, which is made: users, servers,
/// APs, node groups and Deps with their names, identifiers and ordinals, applications, memberships
/// of kind 0 with the primary one last, links between Deps, members of node groups. The files are
/// of one state of the network; all of them appear, or none and the set that was there stays, also
/// when the process is killed. Views, containers and checks of this library see the one set or the
/// other at every moment, whole. Other readers cannot: while eight files take their names they find
/// no gateway file, and one that has begun to read the old set may go on with files of the new.
/// After a kill in this moment they find none until the next call has put the new set in place; its
/// files lie there under names of their own, with ".nccnet-new" at the end.
///
/// Refused are: a network without a number of 1 to FFFF; identifiers and ordinals above FFFF; names
/// that are empty or hold blanks or zero bytes; applications without a code; a Dep in no node
/// group; a primary collective that is no membership of kind 0, and such memberships without one.
/// \return whether the set was written
/// \throws std::bad_alloc
NCC_API bool WriteExchangeSet(CNCCNet& net, const char* folder, const CExchangeGate& gate,
                              CExchangeReport& report, const CExchangeOptions& options = {});
