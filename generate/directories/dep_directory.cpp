// What an AP knows of Deps: their links, and the nodes at which they are.
//
// Links, for each Dep of the AP's node groups and each Dep that it is linked to, repetitions
// included, of network and Dep twice:
//
//   %4.4X%4.4X %4.4X%4.4X\n
//
// Places, each pair of Dep and node once; first the Deps of the AP's groups with the nodes of the
// same group, then the Deps linked to them with the nodes of the groups that hold those:
//
//   0000 %4.4X%4.4X0 %4.4X %s\n        network, node, Dep, name of the Dep

#include "core/entry.h"
#include "core/find.h"
#include "core/links.h"
#include "generate/directories/directory_files.h"
#include "generate/file_names.h"
#include "generate/output_cache.h"
#include "generate/visible_nodes.h"

#include <set>
#include <utility>

namespace ncc {
namespace {

using Numbers = std::vector<std::uint32_t>;

GroupText DepLinks(const NetState& net, const Numbers& groups) {
  const std::string network = Hex4(net.prefs.net_number);
  GroupText links;
  std::string text;
  for (const std::uint32_t group : groups) {
    for (const std::uint32_t dep : ListOf(net, group, kTypeNGrp, kDepsOfGroup)) {
      links.callbacks += 1 + OpenFolder(net, dep)->Entries().Size();
      for (const std::uint32_t linked : LinkedDeps(net, dep)) {
        text.append(network).append(Hex4(dep)).append(" ");
        text.append(network).append(Hex4(linked)).append("\n");
      }
    }
  }
  links.content.bytes = WithLineEnds(text);
  return links;
}

class PlacementWriter {
 public:
  explicit PlacementWriter(const NetState& net) : net_(net), network_(Hex4(net.prefs.net_number)) {}

  void AddGroup(std::uint32_t group) {
    const Numbers nodes = ListOf(net_, group, kTypeNGrp, kNodesOfGroup);
    for (const std::uint32_t dep : ListOf(net_, group, kTypeNGrp, kDepsOfGroup)) {
      ++callbacks_;
      for (const std::uint32_t node : nodes) {
        ++callbacks_;
        Add(own_, dep, node);
      }
      for (const std::uint32_t linked : LinkedDeps(net_, dep)) {
        ++callbacks_;
        AddLinked(linked);
      }
    }
  }

  GroupText Finish() const {
    GroupText placements;
    placements.content.bytes = WithLineEnds(own_ + linked_);
    placements.callbacks = callbacks_;
    return placements;
  }

 private:
  // A group is expanded once for the whole file, for the linked Dep that reaches it first.
  void AddLinked(std::uint32_t dep) {
    for (const std::uint32_t group : ListOf(net_, dep, kTypeDep, kGroupsOfDep)) {
      if (!expanded_.insert(group).second) continue;
      for (const std::uint32_t node : ListOf(net_, group, kTypeNGrp, kNodesOfGroup))
        Add(linked_, dep, node);
    }
  }

  void Add(std::string& text, std::uint32_t dep, std::uint32_t node) {
    const CHDBRecord* record = FindObject(net_, dep, kTypeDep);
    if (record == nullptr || FindNode(net_, node) == nullptr) return;
    if (!written_.emplace(dep, node).second) return;
    text += "0000 " + network_;
    AppendHex4(text, node);
    text += "0 ";
    AppendHex4(text, dep);
    text += ' ';
    text += EntryOf<CDepEntry>(*record).name;
    text += '\n';
  }

  const NetState& net_;
  std::string network_;
  std::string own_;
  std::string linked_;
  std::set<std::pair<std::uint32_t, std::uint32_t>> written_;  // Dep, node
  std::set<std::uint32_t> expanded_;
  std::size_t callbacks_ = 0;
};

GroupText Placements(const NetState& net, const Numbers& groups) {
  PlacementWriter writer(net);
  for (const std::uint32_t group : groups) writer.AddGroup(group);
  return writer.Finish();
}

// Writes an AP's text of its groups, after calling the progress callback as often as composing it
// takes; what the callback changes is in the text.
template <class Compose>
void WriteGroupText(NetState& net, const std::string& path, std::uint32_t ap,
                    std::optional<GroupText> GroupView::*part, Compose compose) {
  const auto text = [&]() -> GroupText& {
    return OutputCache::Of(net).PartOf(RecordOf(net, {kFolderSpace, ap}), part,
                                       [&](const Numbers& groups) { return compose(net, groups); });
  };
  if (net.callback != nullptr) {
    for (std::size_t left = text().callbacks; left > 0; --left) net.Progress();
  }
  WriteShared(net, path, ap, text().content);
}

}  // namespace

void WriteApDepLinks(Generation& run, const std::string& folder, std::uint32_t ap) {
  WriteGroupText(run.Net(), folder + HexName("apc", ap, ".txt"), ap, &GroupView::dep_links,
                 DepLinks);
}

void WriteApDepPlaces(Generation& run, const std::string& folder, std::uint32_t ap) {
  WriteGroupText(run.Net(), folder + HexName("apu", ap, ".txt"), ap, &GroupView::placements,
                 Placements);
}

}  // namespace ncc
