#include "generate/output_cache.h"

#include "core/entry.h"
#include "core/find.h"
#include "core/links.h"
#include "core/walk.h"
#include "generate/visible_nodes.h"
#include "structure/nodes.h"

namespace ncc {
namespace {

// What the views may hold before they are made anew.
constexpr std::size_t kMostViews = 4096;
constexpr std::size_t kMostBytes = 32U << 20;

}  // namespace

OutputCache::Version OutputCache::VersionOf(const NetState& net) {
  return {net.open_count, net.base->Generation(), net.base->Unit().TouchCount(),
          net.prefs.net_number, TextLineEnd()};
}

OutputCache& OutputCache::Of(NetState& net) {
  const Version version = VersionOf(net);
  if (!net.output_cache || net.output_cache->version_ != version)
    net.output_cache.reset(new OutputCache(version));
  return *net.output_cache;
}

std::vector<std::uint32_t> OutputCache::GroupsOf(const CHDBRecord& node) {
  std::vector<std::uint32_t> groups;
  WalkIds(node, kGroupsOfNode, [&](const TDBObjId& group) { groups.push_back(group.number); });
  return groups;
}

GroupView& OutputCache::ViewOf(const std::vector<std::uint32_t>& groups) {
  const auto known = views_.find(groups);
  if (known != views_.end()) return known->second;
  if (views_.size() >= kMostViews || held_bytes_ >= kMostBytes) {
    views_.clear();
    held_bytes_ = 0;
  }
  return views_[groups];
}

const VisibleNodes& OutputCache::VisibleFrom(const NetState& net, const CHDBRecord& node) {
  return PartOf(node, &GroupView::visible, [&](const std::vector<std::uint32_t>& groups) {
    return FindVisibleNodes(net, groups);
  });
}

const std::vector<std::uint32_t>& OutputCache::MembersAt(const NetState& net,
                                                         std::uint32_t server) {
  if (!members_) {
    std::map<std::uint32_t, std::vector<std::uint32_t>> members_at;
    for (const std::uint32_t user : NumbersOf(net, kTypeAB)) {
      const PairList& pairs = net.base->FindRecord(user)->Pairs();
      for (auto at = pairs.First(); at != kNoPosition; at = pairs.Next(at)) {
        const std::uint32_t node = pairs.At(at).second;
        if (FindObject(net, node, kTypeServer) == nullptr) continue;
        std::vector<std::uint32_t>& members = members_at[node];
        if (members.empty() || members.back() != user) members.push_back(user);
      }
    }
    members_ = std::move(members_at);
  }
  return (*members_)[server];
}

const CNNEntry& OutputCache::Role(const NetState& net, std::uint32_t flag) {
  const auto known = roles_.find(flag);
  if (known != roles_.end()) return known->second;
  const CHDBRecord* ap = FindAPWithFlags(net, flag);
  return roles_[flag] = ap != nullptr ? EntryOf<CNNEntry>(*ap) : CNNEntry();
}

}  // namespace ncc
