// The node directory files, of an AP and of a server.
//
// Each line is a head of ten columns, then "%-50.50s %4.4X%4.4X0 0000%4.4X%4.4X%4.4X\n" of name,
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

#include "generate/file_names.h"
#include "generate/output_cache.h"

using namespace ncc;

namespace {

constexpr std::size_t kNameColumns = 50;
constexpr std::uint32_t kFlagDirectory = 0x0001;
constexpr std::uint32_t kFlagSelf = 0x0400;
constexpr std::uint32_t kFlagTunnel = 0x1000;
constexpr std::uint32_t kFlagTunnelServer = 0x8000;

class NodeLines {
 public:
  explicit NodeLines(const NetState& net) : net_(net) {}

  // A server's line names it as its own server, and no AP.
  void Add(std::string_view head, const CNNEntry& node) {
    const bool is_ap = node.type == kTypeAP;
    Add(head, node, is_ap ? ServerOf(node).id : node.id, is_ap ? node.id : 0);
  }

  // A line for each of the nodes with the flag; head(id) begins it.
  template <class Head>
  void AddAll(const std::vector<std::uint32_t>& nodes, std::uint32_t flag, Head head) {
    for (const std::uint32_t number : nodes) {
      const CHDBRecord* record = FindNode(net_, number);
      if (record == nullptr) continue;
      const CNNEntry node = EntryOf<CNNEntry>(*record);
      if ((node.flags & flag) != 0) Add(head(node.id), node);
    }
  }

  // The entry of an AP's server; one without name and identifier when there is none.
  CNNEntry ServerOf(const CNNEntry& ap) const {
    const CHDBRecord* server = FindObject(net_, ap.server_id, kTypeServer);
    return server != nullptr ? EntryOf<CNNEntry>(*server) : CNNEntry();
  }

  void Add(std::string_view head, const CNNEntry& node, std::uint32_t server, std::uint32_t ap) {
    text_ += head;
    AppendColumn(text_, node.name, kNameColumns);
    text_ += ' ';
    AppendHex4(text_, net_.prefs.net_number);
    AppendHex4(text_, node.id);
    text_ += "0 0000";
    AppendHex4(text_, net_.prefs.net_number);
    AppendHex4(text_, server);
    AppendHex4(text_, ap);
    text_ += '\n';
  }

  const std::string& Text() const { return text_; }

 private:
  const NetState& net_;
  std::string text_;
};

std::string Marked(std::string_view before, bool mark, char with, std::string_view after) {
  std::string head(before);
  head += mark ? with : ' ';
  return head.append(after);
}

std::string ApDirectory(NetState& net, const CHDBRecord& record, unsigned char mode) {
  OutputCache& cache = OutputCache::Of(net);
  const VisibleNodes& visible = cache.VisibleFrom(net, record);
  const CNNEntry ap = EntryOf<CNNEntry>(record);
  NodeLines lines(net);
  const CNNEntry server = lines.ServerOf(ap);
  if ((ap.flags & kFlagDirectory) != 0) {
    lines.AddAll(visible.aps, kFlagDirectory,
                 [&](std::uint32_t id) { return Marked("0000 ", id == ap.id, 'A', "   "); });
  }
  lines.Add("0000 S S ", server, server.id, 0);
  for (const auto& [head, flag] : {std::pair("0004   ", kFlagNCC), std::pair("0008   ", kFlagKC)}) {
    const CNNEntry& centre = cache.Role(net, flag);
    lines.Add(Marked(head, centre.id == ap.id, 'A', " "), centre);
  }
  if ((ap.flags & kFlagSelf) != 0) lines.Add("0015   A ", ap, server.id, ap.id);
  if ((ap.flags & kFlagTunnel) != 0) {
    const std::string head17 = "0017 " + std::to_string(mode) + " ";
    lines.AddAll(visible.aps, kFlagTunnel,
                 [&](std::uint32_t id) { return Marked(head17, id == ap.id, 'A', " "); });
    lines.AddAll(visible.servers, kFlagTunnelServer,
                 [&](std::uint32_t id) { return Marked("001A ", id == ap.server_id, 'S', " S "); });
  }
  return lines.Text();
}

std::string ServerDirectory(NetState& net, const CHDBRecord& record, unsigned char mode) {
  const VisibleNodes& visible = OutputCache::Of(net).VisibleFrom(net, record);
  const CNNEntry server = EntryOf<CNNEntry>(record);
  NodeLines lines(net);
  if ((server.flags & kFlagTunnelServer) == 0) return lines.Text();
  const std::string head17 = "0017 " + std::to_string(mode) + "   ";
  lines.AddAll(visible.aps, kFlagTunnel, [&](std::uint32_t) { return head17; });
  lines.AddAll(visible.servers, kFlagTunnelServer,
               [&](std::uint32_t id) { return Marked("001A S ", id == server.id, 'A', " "); });
  return lines.Text();
}

}  // namespace

bool CNCCNet::GenApn(const char* folder, unsigned char mode, TDBObjId& ap) {
  NetState& net = *state_;
  return Run(net, false, [&] {
    const std::string path = Prefix(folder) + HexName("apn", ap.number, ".txt");
    WriteStamped(net, path, ap.number, ApDirectory(net, RecordOf(net, ap), mode));
    return true;
  });
}

bool CNCCNet::GenMAPApn(const char* folder, unsigned char mode, TDBObjId& server) {
  NetState& net = *state_;
  return Run(net, false, [&] {
    const std::string path = Prefix(folder) + HexName("apn", server.number, ".txt");
    WriteStamped(net, path, server.number, ServerDirectory(net, RecordOf(net, server), mode));
    return true;
  });
}
