// show-map
#include <memory>
#include <utility>

#include <fmt/format.h>

#include "commands/command_line.h"
#include "console/failure.h"
#include "console/output.h"
#include "console/text.h"
#include "files/files.h"
#include "files/routing_map.h"
#include "network/object.h"

namespace ncc::tool {
namespace {

const char* WordOf(MapKind kind) {
  switch (kind) {
    case MapKind::kAp:
      return "AP";
    case MapKind::kLinkedServer:
      return "linked server";
    case MapKind::kThisServer:
      return "this server";
  }
  return "";
}

Json MapNodeJson(const MapNode& node) {
  return {{"id", node.id},
          {"address", fmt::format("{:08X}", node.address)},
          {"name", Utf8FromBytes(node.name)},
          {"name_length", node.name_length}};
}

Json MapJson(const std::string& file, const RoutingMap& map) {
  Json links = Json::array();
  Json aps = Json::array();
  for (const MapNode& node : map.linked) links.push_back(MapNodeJson(node));
  for (const MapNode& node : map.aps) aps.push_back(MapNodeJson(node));
  return {{"file", file},
          {"network", map.server.network},
          {"servers_in_network", map.network_servers},
          {"server", MapNodeJson(map.server)},
          {"links", std::move(links)},
          {"aps", std::move(aps)}};
}

bool IsCut(const MapNode& node) { return node.name.size() < node.name_length; }

int ShowMap(Session& session, const std::string& file) {
  const std::string bytes = ReadFile(file, kLargestFile);
  const RoutingMap map = ReadRoutingMap(file, bytes);
  Output& out = session.Out();
  if (session.IsJson()) {
    out.Document(MapJson(file, map));
    return kExitDone;
  }
  out.Line(fmt::format("{:<10}{}", "server", PrintableName(map.server.name)));
  out.Line(fmt::format("{:<10}0x{:04X}, with {}", "network", map.server.network,
                       CountOf(map.network_servers, Kind::kServer)));
  out.Line(fmt::format("{:<10}{}, and {}", "links", map.linked.size(),
                       CountOf(map.aps.size(), Kind::kAp)));
  Table table = {{"KIND", "ID", "ADDRESS", "NAME"}};
  std::size_t cut = 0;
  const auto add = [&](const MapNode& node) {
    if (IsCut(node)) ++cut;
    table.push_back({WordOf(node.kind), fmt::format("{:04X}", node.id),
                     fmt::format("{:08X}", node.address),
                     PrintableName(node.name) + (IsCut(node) ? " (cut)" : "")});
  };
  for (const MapNode& node : map.linked) add(node);
  add(map.server);
  for (const MapNode& node : map.aps) add(node);
  out.PrintTable(table);
  // A record has room for 50 bytes of the name. The zero behind 50, and the last of 51, run into
  // the next record and are lost there under its kind; behind the last record they are kept.
  if (cut > 0) {
    out.Line(
        fmt::format("{} of the names lost the last of 51 bytes: it lies where the next record "
                    "begins. The format is such; nothing is damaged.",
                    cut));
  }
  return kExitDone;
}

}  // namespace

void AddMapCommand(CommandLine& line) {
  auto file = std::make_shared<std::string>();
  CLI::App& show =
      line.AddCommand(line.Root(), "show-map", "Show what a binary routing map says",
                      "show-map MAP/node1.map\nshow-map MAP/node1.map --json", file, ShowMap);
  show.add_option("FILE", *file, "The map")->required();
  line.RefuseAt(show);
}

}  // namespace ncc::tool
