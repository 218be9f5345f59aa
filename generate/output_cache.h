// What generators compose once for many nodes, as long as the network stays as it is.
#pragma once

#include "core/entity.h"
#include "generate/output.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
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

// What nodes in the same node groups, in the same order, have in common; each part is made when it
// is asked for first.
struct GroupView {
  std::optional<VisibleNodes> visible;
  std::optional<GroupText> dep_links;
  std::optional<GroupText> placements;
};

class OutputCache {
 public:
  // The cache of the network as it is now: emptied when anything has changed since it was filled.
  // Hold the object lock; a callback may empty it.
  static OutputCache& Of(NetState& net);

  // References to these end with the next call of any of them.
  const VisibleNodes& VisibleFrom(const NetState& net, const CHDBRecord& node);
  // One of the view's texts; compose(groups) gives it.
  template <class Compose>
  GroupText& TextOf(const CHDBRecord& node, std::optional<GroupText> GroupView::*part,
                    Compose compose) {
    const std::vector<std::uint32_t> groups = GroupsOf(node);
    std::optional<GroupText>& text = ViewOf(groups).*part;
    if (!text) {
      text = compose(groups);
      text_bytes_ += text->content.bytes.size();
    }
    return *text;
  }

  // The user directory, the same for every AP; compose() gives its text.
  template <class Compose>
  SharedBytes& UserDirectory(Compose compose) {
    if (!user_directory_) {
      user_directory_ = std::make_unique<SharedBytes>();
      user_directory_->bytes = compose();
    }
    return *user_directory_;
  }

  SharedBytes& NoBytes() { return no_bytes_; }

  // The users with a membership at a server, ascending.
  const std::vector<std::uint32_t>& MembersAt(const NetState& net, std::uint32_t server);

  // The first AP with this application bit, as GetNCC and GetKC find it; an entry without name and
  // identifier when there is none.
  const CNNEntry& Role(const NetState& net, std::uint32_t flag);

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
  // The groups that list a node, in the order of its record.
  static std::vector<std::uint32_t> GroupsOf(const CHDBRecord& node);
  GroupView& ViewOf(const std::vector<std::uint32_t>& groups);

  Version version_;
  std::map<std::vector<std::uint32_t>, GroupView> views_;
  std::size_t text_bytes_ = 0;  // in the views
  std::unique_ptr<SharedBytes> user_directory_;
  SharedBytes no_bytes_;
  std::optional<std::map<std::uint32_t, std::vector<std::uint32_t>>> members_;  // by server
  std::map<std::uint32_t, CNNEntry> roles_;
};

}  // namespace ncc
