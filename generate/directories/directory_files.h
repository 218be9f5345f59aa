// The directory files of APs and servers: what each is, and where the forms of their generators
// differ.
#pragma once

#include "generate/node_file.h"
#include "generate/reasons.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace ncc {

// A kind of line that a node's file has for the nodes that it sees: which nodes have such lines,
// and for which.
struct SightRule {
  const char* kind;
  std::uint8_t reader;
  std::uint32_t reader_flag;
  std::uint8_t seen;
  std::uint32_t seen_flag;

  bool IsFor(const CNNEntry& node) const;  // of the type `reader`
  bool Takes(const CNNEntry& node) const;  // of the type `seen`
};
std::span<const SightRule> SightRules();

// What the files say, line ends and all; `why` gets the reasons of the lines.
std::string ComposeApNodes(NetState& net, const CHDBRecord& ap, unsigned char mode,
                           Reasons* why = nullptr);
std::string ComposeServerNodes(NetState& net, const CHDBRecord& server, unsigned char mode,
                               Reasons* why = nullptr);
std::string ComposeAllUsers(const NetState& net, Reasons* why = nullptr);
std::string ComposeUsersAt(NetState& net, std::uint32_t server, Reasons* why = nullptr);
std::string ComposeDepLinks(const NetState& net, const CHDBRecord& ap, Reasons& why);
std::string ComposeDepPlaces(const NetState& net, const CHDBRecord& ap, Reasons& why);

// The files of a node whose stamps are in its list, in that order, from the folder that the
// generator takes.
std::vector<std::string> StampedOfAp(std::uint32_t ap);
std::vector<std::string> StampedOfServer(std::uint32_t server);

void WriteApUsers(Generation& run, const std::string& folder, std::uint32_t ap);
void WriteApDepLinks(Generation& run, const std::string& folder, std::uint32_t ap);
void WriteApNodes(Generation& run, const std::string& folder, std::uint32_t ap);
void WriteApDepPlaces(Generation& run, const std::string& folder, std::uint32_t ap);
void WriteApStampList(Generation& run, const std::string& folder, std::uint32_t ap);
void WriteServerUsers(Generation& run, const std::string& folder, std::uint32_t server);
void WriteServerNodes(Generation& run, const std::string& folder, std::uint32_t server);
void WriteServerStampList(Generation& run, const std::string& folder, std::uint32_t server);
// The files that nodes expect and nothing is in.
void WriteEmptyApl(Generation& run, const std::string& folder, std::uint32_t ap);
void WriteEmptyTunnels(Generation& run, const std::string& folder, std::uint32_t ap);
void WriteEmptyCrc(Generation& run, const std::string& folder, std::uint32_t ap);

inline constexpr NodeFile kApUsers = {
    kTypeAP, "A\\", {"", "apa", NodeFileName::kHex, ".txt"}, kOfUsers, WriteApUsers, kNoCallback};
inline constexpr NodeFile kApDepLinks = {
    kTypeAP, "C\\", {"", "apc", NodeFileName::kHex, ".txt"}, kOfNode, WriteApDepLinks};
inline constexpr NodeFile kEmptyApl = {
    kTypeAP, "L\\", {"", "apl", NodeFileName::kHex, ".txt"}, kOfNothing, WriteEmptyApl};
inline constexpr NodeFile kApNodes = {
    kTypeAP, "N\\", {"", "apn", NodeFileName::kHex, ".txt"}, kOfNode, WriteApNodes};
inline constexpr NodeFile kEmptyTunnels = {
    kTypeAP,           "T\\",      {"", "node", NodeFileName::kHex, ".tun"}, kOfNothing,
    WriteEmptyTunnels, kNoCallback};
inline constexpr NodeFile kApDepPlaces = {
    kTypeAP, "U\\", {"", "apu", NodeFileName::kHex, ".txt"}, kOfNode, WriteApDepPlaces};
inline constexpr NodeFile kEmptyCrc = {
    kTypeAP,    "R\\",         {"", "apn", NodeFileName::kHex, ".crc"},
    kOfNothing, WriteEmptyCrc, kNeverStops | kAllBefore};
inline constexpr NodeFile kApStampList = {kTypeAP,
                                          "R\\",
                                          {"R\\", "apn", NodeFileName::kHex, ".crg"},
                                          kOfFiles,
                                          WriteApStampList,
                                          kNeverStops | kTakesParent};
inline constexpr NodeFile kServerUsers = {
    kTypeServer, "", {"", "apa", NodeFileName::kHex, ".txt"}, kOfUsers, WriteServerUsers};
inline constexpr NodeFile kServerNodes = {
    kTypeServer, "", {"", "apn", NodeFileName::kHex, ".txt"}, kOfNode, WriteServerNodes};
inline constexpr NodeFile kServerStampList = {
    kTypeServer,          "",         {"", "apn", NodeFileName::kHex, ".crg"}, kOfFiles,
    WriteServerStampList, kNeverStops};

}  // namespace ncc
