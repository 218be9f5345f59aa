// The key centre's files of the whole network, and those of single nodes and users.
#pragma once

#include "generate/node_file.h"
#include "generate/output.h"

namespace ncc {

struct KeyCentreFile {
  const char* name;
  void (*compose)(NetState& net, ComposedFile& file);
  bool makes_folder = true;
};

void ComposeNodeNames(NetState& net, ComposedFile& file);
void ComposeNodeMatrix(NetState& net, ComposedFile& file);

void WriteUserObject(Generation& run, const std::string& folder, std::uint32_t user);
void WriteApObject(Generation& run, const std::string& folder, std::uint32_t ap);
inline constexpr NodeFile kUserObject = {kTypeAB, nullptr, WriteUserObject};
inline constexpr NodeFile kApObject = {kTypeAP, nullptr, WriteApObject};

void WriteFullPackage(Generation& run, const std::string& folder, std::uint32_t node);
void WriteShortPackage(Generation& run, const std::string& folder, std::uint32_t node);
inline constexpr NodeFile kFullPackage = {kTypeNone, nullptr, WriteFullPackage};
inline constexpr NodeFile kShortPackage = {kTypeNone, nullptr, WriteShortPackage};

}  // namespace ncc
