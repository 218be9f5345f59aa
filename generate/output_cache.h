// What generators compose once for many nodes, as long as the network stays as it is.
#pragma once

#include "generate/output.h"
#include "generate/reasons.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ncc {

// The nodes that a node sees, each ascending.
struct VisibleNodes {
  std::vector<std::uint32_t> servers;
  std::vector<std::uint32_t> aps;
};

// A text that is the same for all nodes of the same node groups, and how often composing it calls
// the progress callback.
struct GroupText {
  SharedBytes content;
  std::size_t callbacks = 0;
};

// Lines that are the same for those nodes but for a mark in the node's own line.
struct MarkedLines {
  std::string text;
  std::vector<std::pair<std::uint32_t, std::size_t>> marks;  // id, ascending, and where its mark is
  Reasons why;  // only of lines that were made to be explained
};
struct DirectoryLines {
  unsigned char mode = 0;
  MarkedLines aps;
  MarkedLines tunnel_aps;
  MarkedLines tunnel_servers;
};

// What nodes in the same node groups, in the same order, have in common; each part is made when it
// is asked for first.
struct GroupView {
  std::optional<VisibleNodes> visible;
  std::optional<DirectoryLines> directory;
  std::optional<GroupText> dep_links;
  std::optional<GroupText> placements;
};

// Each part is there whole or not at all: it is made aside, since making it may fail.
class OutputCache {
 public:
  // The cache of the network as it is now: emptied when anything has changed since it was filled.
  // Hold the object lock; a callback may empty it.
  static OutputCache& Of(NetState& net);

  // A part of the view that a node has; make(groups) gives it. The reference ends with the next
  // call for another node.
  template <class Part, class Make>
  Part& PartOf(const CHDBRecord& node, std::optional<Part> GroupView::*part, Make make) {
    const std::vector<std::uint32_t> groups = GroupsOf(node);
    std::optional<Part>& found = ViewOf(groups).*part;
    if (!found) {
      found = make(groups);
      held_bytes_ += BytesOf(*found);
    }
    return *found;
  }
  const VisibleNodes& VisibleFrom(const NetState& net, const CHDBRecord& node);

  // The user directory, the same for every AP; make() gives it.
  template <class Make>
  SharedBytes& UserDirectory(Make make) {
    if (!user_directory_) user_directory_ = std::make_unique<SharedBytes>(make());
    return *user_directory_;
  }

  SharedBytes& NoBytes() { return no_bytes_; }

  // The users with a membership at a server, ascending.
  const std::vector<std::uint32_t>& MembersAt(const NetState& net, std::uint32_t server);

  // The first AP with this application bit, as GetNCC and GetKC find it; an entry without name and
  // identifier when there is none.
  const CNNEntry& Role(const NetState& net, std::uint32_t flag);

  // The groups that list a node, in the order of its record.
  static std::vector<std::uint32_t> GroupsOf(const CHDBRecord& node);

 private:
  struct Version {
    std::uint64_t open_count;
    std::uint64_t generation;
    std::uint64_t touches;
    std::uint32_t network;
    std::string_view line_end;

    friend bool operator==(const Version&, const Version&) = default;
  };
  static Version VersionOf(const NetState& net);

  explicit OutputCache(const Version& version) : version_(version) {}
  GroupView& ViewOf(const std::vector<std::uint32_t>& groups);

  static std::size_t BytesOf(const VisibleNodes& nodes) {
    return (nodes.servers.size() + nodes.aps.size()) * sizeof(std::uint32_t);
  }
  static std::size_t BytesOf(const GroupText& text) { return text.content.bytes.size(); }
  static std::size_t BytesOf(const DirectoryLines& lines) {
    return lines.aps.text.size() + lines.tunnel_aps.text.size() + lines.tunnel_servers.text.size();
  }

  Version version_;
  std::map<std::vector<std::uint32_t>, GroupView> views_;
  std::size_t held_bytes_ = 0;  // by the views
  std::unique_ptr<SharedBytes> user_directory_;
  SharedBytes no_bytes_;
  std::optional<std::map<std::uint32_t, std::vector<std::uint32_t>>> members_;  // by server
  std::map<std::uint32_t, CNNEntry> roles_;
};

// Lets go of what was composed, at the end of a generation.
inline void ForgetComposed(NetState& net) {
  LockScope lock(net.lock);
  net.output_cache.reset();
}

}  // namespace ncc
