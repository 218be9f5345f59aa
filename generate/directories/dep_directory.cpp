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

GroupText DepLinks(const NetState& net, const Numbers& groups, Reasons* why) {
  const std::string network = Hex4(net.prefs.net_number);
  GroupText links;
  std::string text;
  for (const std::uint32_t group : groups) {
    for (const std::uint32_t dep : ListOf(net, group, kTypeNGrp, kDepsOfGroup)) {
      links.callbacks += 1 + OpenFolder(net, dep)->Entries().Size();
      for (const std::uint32_t linked : LinkedDeps(net, dep)) {
        text.append(network).append(Hex4(dep)).append(" ");
        text.append(network).append(Hex4(linked)).append("\n");
        if (why == nullptr) continue;
        why->Add("\n", {{CReason::kNodeInGroup, why->reader, group},
                        {CReason::kDepInGroup, dep, group},
                        {CReason::kDepLink, dep, linked}});
      }
    }
  }
  links.content.bytes = WithLineEnds(text);
  return links;
}

class PlacementWriter {
 public:
  PlacementWriter(const NetState& net, Reasons* why)
      : net_(net), network_(Hex4(net.prefs.net_number)), why_(why) {}

  void AddGroup(std::uint32_t group) {
    const Numbers nodes = ListOf(net_, group, kTypeNGrp, kNodesOfGroup);
    for (const std::uint32_t dep : ListOf(net_, group, kTypeNGrp, kDepsOfGroup)) {
      ++callbacks_;
      for (const std::uint32_t node : nodes) {
        ++callbacks_;
        Add(own_, dep, node, {group, dep, 0, group});
      }
      for (const std::uint32_t linked : LinkedDeps(net_, dep)) {
        ++callbacks_;
        AddLinked(linked, {group, dep, linked});
      }
    }
  }

  GroupText Finish() const {
    GroupText placements;
    placements.content.bytes = WithLineEnds(own_.text + linked_.text);
    placements.callbacks = callbacks_;
    if (why_ != nullptr) {
      why_->Append(own_.why);
      why_->Append(linked_.why);
    }
    return placements;
  }

 private:
  struct Lines {
    std::string text;
    Reasons why;
  };

  // A group is expanded once for the whole file, for the linked Dep that reaches it first.
  void AddLinked(std::uint32_t dep, Way way) {
    for (const std::uint32_t group : ListOf(net_, dep, kTypeDep, kGroupsOfDep)) {
      if (!expanded_.insert(group).second) continue;
      way.home = group;
      for (const std::uint32_t node : ListOf(net_, group, kTypeNGrp, kNodesOfGroup))
        Add(linked_, dep, node, way);
    }
  }

  void Add(Lines& lines, std::uint32_t dep, std::uint32_t node, const Way& way) {
    const CHDBRecord* record = FindObject(net_, dep, kTypeDep);
    if (record == nullptr || FindNode(net_, node) == nullptr) return;
    if (!written_.emplace(dep, node).second) return;
    std::string& text = lines.text;
    const std::size_t start = text.size();
    text += "0000 " + network_;
    AppendHex4(text, node);
    text += "0 ";
    AppendHex4(text, dep);
    text += ' ';
    text += EntryOf<CDepEntry>(*record).name;
    text += '\n';
    if (why_ == nullptr) return;
    ReasonList reasons;
    AppendWay(reasons, why_->reader, way, node);
    lines.why.Add(std::string_view(text).substr(start), reasons);
  }

  const NetState& net_;
  std::string network_;
  Reasons* why_;
  Lines own_;
  Lines linked_;
  std::set<std::pair<std::uint32_t, std::uint32_t>> written_;  // Dep, node
  std::set<std::uint32_t> expanded_;
  std::size_t callbacks_ = 0;
};

GroupText Placements(const NetState& net, const Numbers& groups, Reasons* why) {
  PlacementWriter writer(net, why);
  for (const std::uint32_t group : groups) writer.AddGroup(group);
  return writer.Finish();
}

// Writes an AP's text of its groups, after calling the progress callback as often as composing it
// takes; what the callback changes is in the text.
template <class Compose>
void WriteGroupText(NetState& net, const NodeFile& file, const std::string& folder,
                    std::uint32_t ap, std::optional<GroupText> GroupView::*part, Compose compose) {
  const auto text = [&]() -> GroupText& {
    return OutputCache::Of(net).PartOf(
        RecordOf(net, {kFolderSpace, ap}), part,
        [&](const Numbers& groups) { return compose(net, groups, nullptr); });
  };
  if (net.callback != nullptr) {
    for (std::size_t left = text().callbacks; left > 0; --left) net.Progress();
  }
  WriteShared(net, file.Path(net, folder, ap), ap, text().content);
}

}  // namespace

std::string ComposeDepLinks(const NetState& net, const CHDBRecord& ap, Reasons& why) {
  return DepLinks(net, OutputCache::GroupsOf(ap), &why).content.bytes;
}

std::string ComposeDepPlaces(const NetState& net, const CHDBRecord& ap, Reasons& why) {
  return Placements(net, OutputCache::GroupsOf(ap), &why).content.bytes;
}

void WriteApDepLinks(Generation& run, const std::string& folder, std::uint32_t ap) {
  WriteGroupText(run.Net(), kApDepLinks, folder, ap, &GroupView::dep_links, DepLinks);
}

void WriteApDepPlaces(Generation& run, const std::string& folder, std::uint32_t ap) {
  WriteGroupText(run.Net(), kApDepPlaces, folder, ap, &GroupView::placements, Placements);
}

}  // namespace ncc
