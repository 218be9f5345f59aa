// The node directory files, of an AP and of a server.
//
// Each line is a head of nine columns, then "%-50.50s %4.4X%4.4X0 0000%4.4X%4.4X%4.4X\n" of name,
// network, id, network, server id, AP id. A marks the node itself. Of an AP:
//
//   0000 A            visible APs with flag 0x0001, if the AP has it
//   0000 S S          its server
//   0004   A          the network control centre
//   0008   A          the key centre
//   0015   A          the AP, if it has flag 0x0400
//   0017 <mode> A     visible APs with flag 0x1000, if the AP has it
//   001A S S          and visible servers with flag 0x8000; S marks the AP's own
//
// Of a server with flag 0x8000 (the file of another one is empty):
//
//   0017 <mode>       visible APs with flag 0x1000
//   001A S A          visible servers with flag 0x8000

#include "core/entry.h"
#include "core/find.h"
#include "generate/directories/directory_files.h"
#include "generate/file_names.h"
#include "generate/output_cache.h"
#include "generate/visible_nodes.h"

#include <algorithm>

namespace ncc {
namespace {

constexpr std::size_t kNameColumns = 50;
constexpr std::uint32_t kFlagDirectory = 0x0001;
constexpr std::uint32_t kFlagSelf = 0x0400;
constexpr std::uint32_t kFlagTunnel = 0x1000;
constexpr std::uint32_t kFlagTunnelServer = 0x8000;

constexpr SightRule kApOfAp = {"0000", kTypeAP, kFlagDirectory, kTypeAP, kFlagDirectory};
constexpr SightRule kTunnelApOfAp = {"0017", kTypeAP, kFlagTunnel, kTypeAP, kFlagTunnel};
constexpr SightRule kTunnelServerOfAp = {"001A", kTypeAP, kFlagTunnel, kTypeServer,
                                         kFlagTunnelServer};
constexpr SightRule kTunnelApOfServer = {"0017", kTypeServer, kFlagTunnelServer, kTypeAP,
                                         kFlagTunnel};
constexpr SightRule kTunnelServerOfServer = {"001A", kTypeServer, kFlagTunnelServer, kTypeServer,
                                             kFlagTunnelServer};
constexpr SightRule kSightRules[] = {kApOfAp, kTunnelApOfAp, kTunnelServerOfAp, kTunnelApOfServer,
                                     kTunnelServerOfServer};

// The entry of an AP's server; one without name and identifier when there is none.
CNNEntry ServerOf(const NetState& net, const CNNEntry& ap) {
  const CHDBRecord* server = FindObject(net, ap.server_id, kTypeServer);
  return server != nullptr ? EntryOf<CNNEntry>(*server) : CNNEntry();
}

void AppendLine(std::string& text, const NetState& net, std::string_view head, const CNNEntry& node,
                std::uint32_t server, std::uint32_t ap) {
  text += head;
  std::string column;
  AppendColumn(column, node.name, kNameColumns);
  text += column.find('\n') == std::string::npos ? column : WithLineEnds(column);
  text += ' ';
  AppendHex4(text, net.prefs.net_number);
  AppendHex4(text, node.id);
  text += "0 0000";
  AppendHex4(text, net.prefs.net_number);
  AppendHex4(text, server);
  AppendHex4(text, ap);
  text += TextLineEnd();
}

// An AP's line has its server; the line of anything else, itself in its place and no AP.
void AppendNode(std::string& text, const NetState& net, std::string_view head,
                const CNNEntry& node) {
  const bool is_ap = node.type == kTypeAP;
  AppendLine(text, net, head, node, is_ap ? ServerOf(net, node).id : node.id, is_ap ? node.id : 0);
}

// What a node sees, to explain the lines about it.
struct Sight {
  std::uint32_t reader;
  Ways ways;

  ReasonList ReasonsOf(const SightRule& rule, const CNNEntry& node) const {
    ReasonList reasons = {{CReason::kFileOf, reader},
                          {CReason::kFlags, reader, 0, 0, rule.reader_flag}};
    if (const auto way = ways.To(node.id)) AppendWay(reasons, reader, *way, node.id);
    reasons.push_back({CReason::kFlags, node.id, 0, 0, rule.seen_flag});
    if (node.type == kTypeAP) reasons.push_back({CReason::kServerOfAP, node.id, node.server_id});
    return reasons;
  }
};

// A line for each of the nodes that the rule takes: before, a blank for the mark, after. With their
// reasons when the sight is given.
MarkedLines LinesOf(const NetState& net, const VisibleNodes& visible, const SightRule& rule,
                    const std::string& before, std::string_view after, const Sight* sight) {
  MarkedLines lines;
  const std::string head = before + " " + std::string(after);
  for (const std::uint32_t number : rule.seen == kTypeAP ? visible.aps : visible.servers) {
    const CHDBRecord* record = FindNode(net, number);
    if (record == nullptr) continue;
    const CNNEntry node = EntryOf<CNNEntry>(*record);
    if (!rule.Takes(node)) continue;
    const std::size_t start = lines.text.size();
    lines.marks.emplace_back(node.id, start + before.size());
    AppendNode(lines.text, net, head, node);
    if (sight != nullptr)
      lines.why.Add(std::string_view(lines.text).substr(start), sight->ReasonsOf(rule, node));
  }
  return lines;
}

// Appends the lines, with the mark in that of one node.
void AppendMarked(std::string& text, const MarkedLines& lines, std::uint32_t id, char mark,
                  Reasons* why) {
  const std::size_t start = text.size();
  text += lines.text;
  const auto own = std::lower_bound(lines.marks.begin(), lines.marks.end(), std::pair(id, 0UL));
  if (own != lines.marks.end() && own->first == id) text[start + own->second] = mark;
  if (why != nullptr) why->Append(lines.why);
}

DirectoryLines ComposeLines(const NetState& net, const VisibleNodes& visible, unsigned char mode,
                            const Sight* sight) {
  const std::string head17 = "0017 " + std::to_string(mode) + " ";
  return DirectoryLines{mode, LinesOf(net, visible, kApOfAp, "0000 ", "   ", sight),
                        LinesOf(net, visible, kTunnelApOfAp, head17, " ", sight),
                        LinesOf(net, visible, kTunnelServerOfAp, "001A ", " S ", sight)};
}

// The lines of all APs that see these nodes.
const DirectoryLines& LinesFor(NetState& net, const CHDBRecord& ap, unsigned char mode) {
  OutputCache& cache = OutputCache::Of(net);
  const auto compose = [&](const std::vector<std::uint32_t>&) {
    const VisibleNodes visible = cache.VisibleFrom(net, ap);
    return ComposeLines(net, visible, mode, nullptr);
  };
  DirectoryLines& lines = cache.PartOf(ap, &GroupView::directory, compose);
  if (lines.mode != mode) lines = compose({});
  return lines;
}

Sight SightOf(const NetState& net, const CHDBRecord& node) {
  return {node.Number(), FindWays(net, OutputCache::GroupsOf(node))};
}

// The lines about what is not seen but belongs to every AP, or to itself.
void AppendCentres(std::string& text, NetState& net, const CNNEntry& ap, Reasons* why) {
  for (const auto& [head, flag] : {std::pair("0004   ", kFlagNCC), std::pair("0008   ", kFlagKC)}) {
    const std::size_t start = text.size();
    const CNNEntry& centre = OutputCache::Of(net).Role(net, flag);
    AppendNode(text, net, std::string(head) + (centre.id == ap.id ? "A " : "  "), centre);
    if (why == nullptr) continue;
    ReasonList reasons = {{CReason::kFileOf, ap.id}, {CReason::kRole, centre.id, 0, 0, flag}};
    if (centre.id != 0) reasons.push_back({CReason::kServerOfAP, centre.id, centre.server_id});
    why->Add(std::string_view(text).substr(start), reasons);
  }
}

}  // namespace

bool SightRule::Takes(const CNNEntry& node) const { return (node.flags & seen_flag) != 0; }
bool SightRule::IsFor(const CNNEntry& node) const { return (node.flags & reader_flag) != 0; }
std::span<const SightRule> SightRules() { return kSightRules; }

std::string ComposeApNodes(NetState& net, const CHDBRecord& record, unsigned char mode,
                           Reasons* why) {
  const CNNEntry ap = EntryOf<CNNEntry>(record);
  const CNNEntry server = ServerOf(net, ap);
  DirectoryLines explained;
  if (why != nullptr) {
    const Sight sight = SightOf(net, record);
    explained = ComposeLines(net, VisibleBy(net, sight.ways), mode, &sight);
  }
  const bool has_lines = kApOfAp.IsFor(ap) || kTunnelApOfAp.IsFor(ap);
  const DirectoryLines& lines =
      why == nullptr && has_lines ? LinesFor(net, record, mode) : explained;
  const auto tell = [&](const std::string& text, std::size_t start, const CReason& reason) {
    if (why == nullptr) return;
    why->Add(std::string_view(text).substr(start),
             {{CReason::kFileOf, ap.id}, reason, {CReason::kServerOfAP, ap.id, ap.server_id}});
  };
  std::string text;
  if (kApOfAp.IsFor(ap)) AppendMarked(text, lines.aps, ap.id, 'A', why);
  std::size_t start = text.size();
  AppendLine(text, net, "0000 S S ", server, server.id, 0);
  tell(text, start, {CReason::kAlways});
  AppendCentres(text, net, ap, why);
  if ((ap.flags & kFlagSelf) != 0) {
    start = text.size();
    AppendLine(text, net, "0015   A ", ap, server.id, ap.id);
    tell(text, start, {CReason::kFlags, ap.id, 0, 0, kFlagSelf});
  }
  if (kTunnelApOfAp.IsFor(ap)) {
    AppendMarked(text, lines.tunnel_aps, ap.id, 'A', why);
    AppendMarked(text, lines.tunnel_servers, ap.server_id, 'S', why);
  }
  return text;
}

std::string ComposeServerNodes(NetState& net, const CHDBRecord& record, unsigned char mode,
                               Reasons* why) {
  const CNNEntry server = EntryOf<CNNEntry>(record);
  std::string text;
  if (!kTunnelApOfServer.IsFor(server)) return text;
  std::optional<Sight> sight;
  if (why != nullptr) sight = SightOf(net, record);
  const VisibleNodes& visible = OutputCache::Of(net).VisibleFrom(net, record);
  const auto lines = [&](const SightRule& rule, const std::string& before, std::string_view after) {
    return LinesOf(net, visible, rule, before, after, sight ? &*sight : nullptr);
  };
  const MarkedLines aps = lines(kTunnelApOfServer, "0017 " + std::to_string(mode) + "  ", "");
  text = aps.text;
  if (why != nullptr) why->Append(aps.why);
  AppendMarked(text, lines(kTunnelServerOfServer, "001A S ", " "), server.id, 'A', why);
  return text;
}

void WriteApNodes(Generation& run, const std::string& folder, std::uint32_t ap) {
  NetState& net = run.Net();
  WriteStamped(net, kApNodes.Path(net, folder, ap), ap,
               ComposeApNodes(net, *FindObject(net, ap, kTypeAP), run.Mode()));
}

void WriteServerNodes(Generation& run, const std::string& folder, std::uint32_t server) {
  NetState& net = run.Net();
  WriteStamped(net, kServerNodes.Path(net, folder, server), server,
               ComposeServerNodes(net, *FindObject(net, server, kTypeServer), run.Mode()));
}

}  // namespace ncc
