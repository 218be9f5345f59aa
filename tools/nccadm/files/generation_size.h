// How much a generation will write: reckoned from the network before anything is made.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "network/network.h"

namespace ncc::tool {

// Of files that are to be written.
struct GenerationSize {
  std::size_t files = 0;
  std::uint64_t bytes = 0;
  std::uint64_t disk = 0;  // whole blocks; files that share their storage once

  void Add(const GenerationSize& other);
  // The same files written over and over.
  GenerationSize Times(std::size_t count) const;
};

// Formats are known, so sizes are exact but for ids above FFFF and what other programs put into
// the folders.
class GenerationSizes {
 public:
  // The database's folder holds files that packages take along.
  GenerationSizes(Network network, const std::string& database_folder, bool share);
  GenerationSizes(const GenerationSizes&) = delete;
  GenerationSizes& operator=(const GenerationSizes&) = delete;

  using Choice = std::function<bool(std::uint32_t id)>;
  GenerationSize Directories(const Choice& is_chosen);
  GenerationSize Routes();
  GenerationSize Maps(const Choice& is_chosen);
  GenerationSize KeyCentre();  // but for the packages
  GenerationSize NodeMatrix() const;
  GenerationSize Packages(bool is_short, const Choice& is_chosen);

 private:
  using Groups = std::vector<std::uint32_t>;  // indexes, ascending

  // What the nodes of the same node groups have in common.
  struct Surroundings {
    std::size_t plain = 0;     // visible APs that have flag 0x0001
    std::size_t secure = 0;    // visible APs that have flag 0x1000
    std::size_t servers = 0;   // visible servers that have flag 0x8000
    std::uint64_t places = 0;  // the file of places of Deps
    std::uint64_t links = 0;   // the file of links between Deps
    bool places_stored = false;
  };
  struct Directory {
    std::uint64_t nodes, users, places, links, list;
  };
  struct Map {
    std::uint64_t map, nodes, users, list;
  };

  void IndexGroups();
  void CountMemberships();
  void SeeNodesOf(const Groups& groups, Surroundings& found);
  void SumFilesOf(const Groups& groups, Surroundings& found) const;
  Surroundings& SurroundingsOf(std::uint32_t node);
  Directory DirectoryOf(const Object& ap);
  Map MapOf(const ServerView& server);
  std::uint64_t Tunnels() const;
  std::uint64_t MatrixBytes() const;
  void Put(GenerationSize& size, std::uint64_t bytes, bool is_stored = false) const;

  Network network_;
  bool share_;
  std::uint64_t keys_size_ = 0;      // ipkeladr.doc as a record of a package
  std::uint64_t external_size_ = 0;  // extnet.doc
  std::uint64_t all_memberships_ = 0;
  std::unordered_map<std::uint32_t, const Object*> nodes_;
  std::unordered_map<std::uint32_t, Groups> groups_of_node_;
  std::unordered_map<std::uint32_t, std::uint32_t> dep_index_;
  std::vector<Groups> groups_of_dep_;
  std::vector<Groups> seen_from_;  // the groups whose nodes are visible from a group
  std::unordered_map<std::uint32_t, std::uint64_t> memberships_at_;  // bytes for a server
  std::map<Groups, Surroundings> surroundings_;
};

}  // namespace ncc::tool
