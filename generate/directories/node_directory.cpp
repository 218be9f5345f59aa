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

#include <algorithm>

namespace ncc {
namespace {

constexpr std::size_t kNameColumns = 50;
constexpr std::uint32_t kFlagDirectory = 0x0001;
constexpr std::uint32_t kFlagSelf = 0x0400;
constexpr std::uint32_t kFlagTunnel = 0x1000;
constexpr std::uint32_t kFlagTunnelServer = 0x8000;

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

// A line for each of the nodes with the flag: before, a blank for the mark, after.
MarkedLines LinesOf(const NetState& net, const std::vector<std::uint32_t>& nodes,
                    std::uint32_t flag, const std::string& before, std::string_view after) {
  MarkedLines lines;
  const std::string head = before + " " + std::string(after);
  for (const std::uint32_t number : nodes) {
    const CHDBRecord* record = FindNode(net, number);
    if (record == nullptr) continue;
    const CNNEntry node = EntryOf<CNNEntry>(*record);
    if ((node.flags & flag) == 0) continue;
    lines.marks.emplace_back(node.id, lines.text.size() + before.size());
    AppendNode(lines.text, net, head, node);
  }
  return lines;
}

// Appends the lines, with the mark in that of one node.
void AppendMarked(std::string& text, const MarkedLines& lines, std::uint32_t id, char mark) {
  const std::size_t start = text.size();
  text += lines.text;
  const auto own = std::lower_bound(lines.marks.begin(), lines.marks.end(), std::pair(id, 0UL));
  if (own != lines.marks.end() && own->first == id) text[start + own->second] = mark;
}

// The lines of all APs that see these nodes.
const DirectoryLines& LinesFor(NetState& net, const CHDBRecord& ap, unsigned char mode) {
  OutputCache& cache = OutputCache::Of(net);
  const auto compose = [&](const std::vector<std::uint32_t>&) {
    const VisibleNodes visible = cache.VisibleFrom(net, ap);
    const std::string head17 = "0017 " + std::to_string(mode) + " ";
    return DirectoryLines{mode, LinesOf(net, visible.aps, kFlagDirectory, "0000 ", "   "),
                          LinesOf(net, visible.aps, kFlagTunnel, head17, " "),
                          LinesOf(net, visible.servers, kFlagTunnelServer, "001A ", " S ")};
  };
  DirectoryLines& lines = cache.PartOf(ap, &GroupView::directory, compose);
  if (lines.mode != mode) lines = compose({});
  return lines;
}

// Line ends are in it.
std::string ApDirectory(NetState& net, const CHDBRecord& record, unsigned char mode) {
  const CNNEntry ap = EntryOf<CNNEntry>(record);
  const CNNEntry server = ServerOf(net, ap);
  const DirectoryLines none;
  const bool has_lines = (ap.flags & (kFlagDirectory | kFlagTunnel)) != 0;
  const DirectoryLines& lines = has_lines ? LinesFor(net, record, mode) : none;
  std::string text;
  if ((ap.flags & kFlagDirectory) != 0) AppendMarked(text, lines.aps, ap.id, 'A');
  AppendLine(text, net, "0000 S S ", server, server.id, 0);
  for (const auto& [head, flag] : {std::pair("0004   ", kFlagNCC), std::pair("0008   ", kFlagKC)}) {
    const CNNEntry& centre = OutputCache::Of(net).Role(net, flag);
    AppendNode(text, net, std::string(head) + (centre.id == ap.id ? "A " : "  "), centre);
  }
  if ((ap.flags & kFlagSelf) != 0) AppendLine(text, net, "0015   A ", ap, server.id, ap.id);
  if ((ap.flags & kFlagTunnel) != 0) {
    AppendMarked(text, lines.tunnel_aps, ap.id, 'A');
    AppendMarked(text, lines.tunnel_servers, ap.server_id, 'S');
  }
  return text;
}

// Line ends are in it.
std::string ServerDirectory(NetState& net, const CHDBRecord& record, unsigned char mode) {
  const CNNEntry server = EntryOf<CNNEntry>(record);
  std::string text;
  if ((server.flags & kFlagTunnelServer) == 0) return text;
  const VisibleNodes& visible = OutputCache::Of(net).VisibleFrom(net, record);
  text = LinesOf(net, visible.aps, kFlagTunnel, "0017 " + std::to_string(mode) + "  ", "").text;
  AppendMarked(text, LinesOf(net, visible.servers, kFlagTunnelServer, "001A S ", " "), server.id,
               'A');
  return text;
}

}  // namespace

void WriteApNodes(Generation& run, const std::string& folder, std::uint32_t ap) {
  NetState& net = run.Net();
  WriteStamped(net, folder + HexName("apn", ap, ".txt"), ap,
               ApDirectory(net, *FindObject(net, ap, kTypeAP), run.Mode()));
}

void WriteServerNodes(Generation& run, const std::string& folder, std::uint32_t server) {
  NetState& net = run.Net();
  WriteStamped(net, folder + HexName("apn", server, ".txt"), server,
               ServerDirectory(net, *FindObject(net, server, kTypeServer), run.Mode()));
}

}  // namespace ncc
