// The key centre's files of the whole network, and those of single nodes and users.
#pragma once

#include "generate/node_file.h"
#include "generate/output.h"

namespace ncc {

struct KeyCentreFile {
  const char* name;
  void (*compose)(NetState& net, ComposedFile& file);
  unsigned made_of;  // see MadeOf
  bool makes_folder = true;
};

void ComposeNodeNames(NetState& net, ComposedFile& file);
void ComposeNodeMatrix(NetState& net, ComposedFile& file);

void WriteUserObject(Generation& run, const std::string& folder, std::uint32_t user);
void WriteApObject(Generation& run, const std::string& folder, std::uint32_t ap);
inline constexpr NodeFile kUserObject = {
    kTypeAB, nullptr, {"", "", NodeFileName::kAddress, ".abn"}, kOfNode, WriteUserObject};
inline constexpr NodeFile kApObject = {
    kTypeAP, nullptr, {"", "", NodeFileName::kAddress, ".apn"}, kOfNode, WriteApObject};

void WriteFullPackage(Generation& run, const std::string& folder, std::uint32_t node);
void WriteShortPackage(Generation& run, const std::string& folder, std::uint32_t node);
inline constexpr NodeFile kFullPackage = {kTypeNone,
                                          nullptr,
                                          {"AAA\\", "", NodeFileName::kAddress, ".aaf"},
                                          kOfAnything,
                                          WriteFullPackage};
inline constexpr NodeFile kShortPackage = {kTypeNone,
                                           nullptr,
                                           {"AAA\\", "", NodeFileName::kAddress, ".aas"},
                                           kOfAnything,
                                           WriteShortPackage};

}  // namespace ncc
