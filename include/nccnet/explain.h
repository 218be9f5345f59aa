/// \file
/// Why a node sees another one, why a user is a member at a node, and what put a line into a
/// generated file: answers of the generators themselves. They only read and call no callback, so
/// they work on a snapshot of any revision, too.
#pragma once

#include "nccnet/export.h"
#include "nccnet/netdb.h"

#include <cstdint>
#include <vector>

/// One fact about the network, true or missing. Objects are given by their identifiers; where a
/// fact is missing, 0 stands for any object.
struct CReason {
  enum Kind : std::uint8_t {
    kFileOf,       ///< the file is that of the node `object`
    kFlags,        ///< the node `object` has all application bits of `mask`
    kRole,         ///< the AP `object` is the first with these bits; 0: no AP has them
    kServerOfAP,   ///< the AP `object` is at the server `other`
    kServerLink,   ///< the server `object` is linked to the server `other`
    kValue,        ///< the server `object` has a value other than 0
    kNodeInGroup,  ///< the node `object` is in the node group `other`
    kDepInGroup,   ///< the Dep `object` is in the node group `other`
    kDepLink,      ///< the Dep `object` is linked to the Dep `other`
    kUserInDep,    ///< the user `object` is in the Dep `other`
    kMembership,   ///< the user `object` is a member of the Dep `other` at the node `node`
    kPrimary,      ///< and that is its primary collective
    kStampOf,      ///< the stamp of the file `file`, or of the lines before when it is empty
    kAlways        ///< it is in every file of the kind
  };

  Kind kind = kAlways;
  std::uint32_t object = 0;
  std::uint32_t other = 0;
  std::uint32_t node = 0;
  std::uint32_t mask = 0;
  CString file = {};

  friend bool operator==(const CReason&, const CReason&) = default;
};

/// A kind of line that directory files have for nodes that are seen, and the flags that keep a seen
/// node from having it: none when the line is there.
struct CSightLine {
  CString kind;  ///< "0000", "0017", "001A"
  std::vector<CReason> missing;
};

/// Whether one sees, or is a member at, the other.
struct CSight {
  bool is_there = false;
  std::vector<CReason> reasons;  ///< the facts that make it so, from the one to the other
  std::vector<CReason> missing;  ///< the first facts that are wanting, when it is not so
  /// Ways to bring it about, each of them facts that are enough together. Other than in `missing`,
  /// the objects are named; there is no way when the network has no Dep or no node group for it.
  std::vector<std::vector<CReason>> mends;
  std::vector<CSightLine> lines;  ///< of the directory file of the one about the other
};

enum class CFileKind : std::uint8_t {
  kUnknown,
  kNodes,         ///< apnXXXX.txt
  kUsers,         ///< apaXXXX.txt
  kDepPlaces,     ///< apuXXXX.txt
  kDepLinks,      ///< apcXXXX.txt
  kEmpty,         ///< aplXXXX.txt, nodeXXXX.tun of an AP, apnXXXX.crc
  kStampList,     ///< apnXXXX.crg
  kMap,           ///< nodeN.map; its lines are its records
  kTunnels,       ///< nodeN.tun
  kRegistration,  ///< nodeN.reg
  kFullPackage,   ///< an .aaf
  kShortPackage,  ///< an .aas
  kUserObject,    ///< an .abn
  kApObject,      ///< an .apn
  kUserNames,     ///< ABONAME.TXT
  kEmptyNames,    ///< ABONAMEE.TXT
  kCentres,       ///< CCC_KC.TXT
  kUsersAtNodes,  ///< ABN_AP.TXT
  kNodeNames,     ///< NODENAME.DOC
  kNodeMatrix,    ///< NMATRIX.DAT
  kJournal        ///< newfiles.dat
};

struct CExplainedLine {
  CString text;  ///< without line end; of a line with a stamp what stands before the stamp
  std::vector<CReason> reasons;
};

struct CExplainedFile {
  CFileKind kind = CFileKind::kUnknown;
  unsigned long object = 0;  ///< the node or the user whose file it is; 0: of the whole network
  bool has_lines = false;    ///< whether lines of this kind of file are explained
  std::vector<CExplainedLine> lines;  ///< as the network gives them now
  CString bytes;                      ///< of a map: all of it
};

/// Explains whether a node sees another one. \return false for unknown nodes
NCC_API bool ExplainSight(CNCCNet& net, unsigned long from, unsigned long to, CSight& sight);

/// The same of a user's membership at a node. \return false for an unknown user or node
NCC_API bool ExplainMembership(CNCCNet& net, unsigned long user, unsigned long node, CSight& sight);

/// Explains a generated file by its name; folders before it tell the "nodeXXXX.tun" in "T" from the
/// "nodeN.tun" in "MAP". `mode` is that of the directory files. \return false when no generated
/// file has the name or its node or user is not there
NCC_API bool ExplainFile(CNCCNet& net, const char* file, unsigned char mode,
                         CExplainedFile& explained);

/// Explains one line of it, counted from 1. \return false also when the file has no such line
NCC_API bool ExplainLine(CNCCNet& net, const char* file, unsigned char mode, unsigned long line,
                         CExplainedLine& explained);
