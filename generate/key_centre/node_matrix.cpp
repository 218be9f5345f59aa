// The node matrix "NMATRIX.DAT", little-endian: which node sees which.
//
//   "NMATRIX" and a zero; u32 1; u32 network number; u32 n
//   n times, servers and APs by ascending identifier: u32 id, u8 type, u32 server id, u32 flags
//   n rows of ceil(n / 8) bytes in the same order: bit j%8 of byte j/8 is set when node j is
//   visible

#include "core/entry.h"
#include "core/find.h"
#include "generate/key_centre/key_centre_files.h"
#include "generate/output_cache.h"
#include "platform/text/bytes.h"

#include <algorithm>

namespace ncc {
namespace {

constexpr std::size_t kMostKept = 1U << 20;

std::vector<std::uint32_t> AllNodes(const NetState& net) {
  const std::vector<std::uint32_t> servers = NumbersOf(net, kTypeServer);
  const std::vector<std::uint32_t> aps = NumbersOf(net, kTypeAP);
  std::vector<std::uint32_t> nodes(servers.size() + aps.size());
  std::merge(servers.begin(), servers.end(), aps.begin(), aps.end(), nodes.begin());
  return nodes;
}

std::string MatrixRow(NetState& net, const std::vector<std::uint32_t>& nodes, std::uint32_t node) {
  const VisibleNodes& visible = OutputCache::Of(net).VisibleFrom(net, *FindNode(net, node));
  std::string row((nodes.size() + 7) / 8, '\0');
  for (const auto* seen : {&visible.servers, &visible.aps}) {
    for (const std::uint32_t other : *seen) {
      const auto j = static_cast<std::size_t>(std::lower_bound(nodes.begin(), nodes.end(), other) -
                                              nodes.begin());
      row[j / 8] = static_cast<char>(row[j / 8] | 1 << j % 8);
    }
  }
  return row;
}

}  // namespace

void ComposeNodeMatrix(NetState& net, ComposedFile& file) {
  const std::vector<std::uint32_t> nodes = AllNodes(net);
  std::string head("NMATRIX\0", 8);
  AppendU32(head, 1);
  AppendU32(head, net.prefs.net_number);
  AppendU32(head, static_cast<std::uint32_t>(nodes.size()));
  for (const std::uint32_t number : nodes) {
    const CNNEntry node = EntryOf<CNNEntry>(*FindNode(net, number));
    AppendU32(head, node.id);
    head += static_cast<char>(node.type);
    AppendU32(head, node.server_id);
    AppendU32(head, node.flags);
  }
  file.Append(head);
  for (const std::uint32_t node : nodes) {
    file.Append(MatrixRow(net, nodes, node));
    if (file.Contents().size() > kMostKept) file.FlushAndForget();
  }
}

}  // namespace ncc
