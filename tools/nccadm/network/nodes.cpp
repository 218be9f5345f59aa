#include "network/nodes.h"

#include <algorithm>
#include <string_view>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "console/nearest.h"
#include "console/text.h"
#include "network/reference.h"
#include "network/view.h"

namespace ncc::tool {
namespace {

enum class Kinds { kServers, kAps, kBoth };

const char* Word(Kinds kinds) {
  switch (kinds) {
    case Kinds::kServers:
      return "server";
    case Kinds::kAps:
      return "AP";
    case Kinds::kBoth:
      return "server or AP";
  }
  return "";
}

std::vector<Node> Candidates(View& view, Kinds kinds) {
  switch (kinds) {
    case Kinds::kServers:
      return view.Servers();
    case Kinds::kAps:
      return view.Aps();
    case Kinds::kBoth:
      return view.ServersAndAps();
  }
  return {};
}

Failure Unknown(const std::string& text, Kinds kinds, const std::vector<Node>& candidates) {
  std::vector<std::string> names;
  names.reserve(candidates.size());
  for (const Node& node : candidates) names.push_back(node.name);
  const std::string closest = ClosestMatch(BytesFromUtf8(text).value_or(text), names);
  const std::string list = kinds == Kinds::kServers ? "server list" : "ap list";
  return Failure(fmt::format("there is no {} named \"{}\"", Word(kinds), text),
                 closest.empty() ? fmt::format("'nccadm {}' shows the names that exist.", list)
                                 : fmt::format("Did you mean \"{}\"?", PrintableName(closest)));
}

Failure Ambiguous(View& view, const std::string& text, const std::vector<Node>& found) {
  std::vector<std::string> ids;
  ids.reserve(found.size());
  for (const Node& node : found) ids.push_back(DescribeId(view, node));
  return Failure(fmt::format("{} objects are named \"{}\"", found.size(), text),
                 fmt::format("Give the id of the one that is meant: {}.", fmt::join(ids, ", ")));
}

bool HasKind(const Node& node, Kinds kinds) {
  return node.is_server ? kinds != Kinds::kAps : kinds != Kinds::kServers;
}

Node Find(Session& session, const std::string& text, Kinds kinds) {
  const Reference reference = ParseReference(text);
  View& view = session.Shown();
  if (reference.id) {
    const auto node = view.NodeById(*reference.id);
    if (!node || !HasKind(*node, kinds)) {
      throw Failure(fmt::format("no {} has the id {}", Word(kinds), *reference.id));
    }
    return *node;
  }
  const std::string wanted = FoldName(reference.name);
  const std::vector<Node> candidates = Candidates(view, kinds);
  std::vector<Node> found;
  for (const Node& node : candidates) {
    if (FoldName(node.name) == wanted) found.push_back(node);
  }
  if (found.empty()) throw Unknown(text, kinds, candidates);
  if (found.size() > 1) throw Ambiguous(view, text, found);
  return found.front();
}

}  // namespace

Node FindServer(Session& session, const std::string& reference) {
  return Find(session, reference, Kinds::kServers);
}

Node FindAp(Session& session, const std::string& reference) {
  return Find(session, reference, Kinds::kAps);
}

Node FindNode(Session& session, const std::string& reference) {
  return Find(session, reference, Kinds::kBoth);
}

std::string RequireName(const std::string& utf8) {
  NameBytes name = BytesFromName(utf8);
  if (name.reason.empty() && IsBlank(name.bytes)) name.reason = "holds nothing but blanks";
  if (!name.reason.empty()) throw Failure(fmt::format("the name \"{}\" {}", utf8, name.reason));
  return std::move(name.bytes);
}

std::string ServerNameOf(CNCCNet& net, const Node& ap) {
  const auto server = NodeById(net, ap.server_id);
  return server ? server->name : std::string();
}

void RenameAside(Session& session, const Node& node) {
  CNCCNet& net = session.Net();
  std::string aside = fmt::format("\x01{}", node.id);
  while (node.is_server ? net.CheckServerName(aside.c_str()) : net.CheckAPName(aside.c_str()))
    aside += '\x01';
  const bool done = node.is_server ? net.ModifyServer(node.id, aside.c_str())
                                   : net.ModifyAP(node.id, aside.c_str());
  if (!done) throw session.Refusal(fmt::format("{} cannot be renamed", Quoted(node)));
}

bool DeleteAp(Session& session, const Node& ap) {
  // Deleting goes by name within a server, and another AP there may have the same one.
  RenameAside(session, ap);
  CNCCNet& net = session.Net();
  const Node aside = Reload(net, ap.id);
  return net.DeleteAP(aside.server_id, aside.name.c_str());
}

std::string Quoted(const Node& node) { return fmt::format("\"{}\"", PrintableName(node.name)); }

std::string DescribeId(View& view, const Node& node) {
  if (node.is_server) return fmt::format("id:{} (a server)", node.id);
  const auto server = view.NodeById(node.server_id);
  return fmt::format("id:{} (AP at \"{}\")", node.id,
                     PrintableName(server ? server->name : std::string()));
}

std::string AddressOf(CNCCNet& net, std::uint32_t id) {
  std::string buffer(32, '\0');
  return net.GetAddr8(id, buffer.data());
}

NodeWriter::NodeWriter(Session& session) : session_(session), view_(session.Shown()) {}

const char* NodeWriter::KindOf(const Node& node) { return node.is_server ? "server" : "ap"; }

const std::string& NodeWriter::ServerName(std::uint32_t id) {
  if (server_names_.empty()) {
    for (const Node& server : view_.Servers()) {
      server_names_.emplace(server.id, Utf8FromBytes(server.name));
    }
  }
  return server_names_[id];
}

std::string NodeWriter::ApplicationsOf(const Node& node) {
  return fmt::format("{}", fmt::join(session_.Apps().Describe(node.flags), ","));
}

Json NodeWriter::Describe(const Node& node) {
  Json json = {{"kind", KindOf(node)},
               {"id", node.id},
               {"address", view_.AddressOf(node.id)},
               {"name", Utf8FromBytes(node.name)},
               {"number", node.number},
               {"applications", session_.Apps().Describe(node.flags)},
               {"mask", node.flags}};
  if (view_.IsOwn()) json["settings"] = node.settings;
  if (!node.is_server) {
    json["server"] = {{"id", node.server_id}, {"name", ServerName(node.server_id)}};
    return json;
  }
  if (view_.IsOwn()) json["value"] = node.value;
  json["aps"] = node.ap_count;
  if (!view_.IsOwn()) return json;
  json["links"] = Json::array();
  for (const Node& linked : view_.LinkedServers(node.id)) {
    json["links"].push_back({{"id", linked.id}, {"name", Utf8FromBytes(linked.name)}});
  }
  return json;
}

std::vector<std::string> NodeWriter::ServerHeading() {
  return {"ID", "ADDRESS", "NAME", "VALUE", "APS", "LINKS", "APPLICATIONS"};
}

std::vector<std::string> NodeWriter::ServerRow(const Node& server) {
  return {fmt::format("id:{}", server.id), view_.AddressOf(server.id),
          PrintableName(server.name),      std::to_string(server.value),
          std::to_string(server.ap_count), std::to_string(view_.LinkedServers(server.id).size()),
          ApplicationsOf(server)};
}

std::vector<std::string> NodeWriter::ApHeading() {
  return {"ID", "ADDRESS", "NAME", "SERVER", "APPLICATIONS"};
}

std::vector<std::string> NodeWriter::ApRow(const Node& ap) {
  return {fmt::format("id:{}", ap.id), view_.AddressOf(ap.id), PrintableName(ap.name),
          Printable(ServerName(ap.server_id)), ApplicationsOf(ap)};
}

void NodeWriter::Show(const Node& node) {
  Output& out = session_.Out();
  if (out.IsJson()) return out.Document({{KindOf(node), Describe(node)}});
  const auto field = [&out](const char* label, const std::string& text) {
    out.Line(fmt::format("{:<14}{}", label, text));
  };
  field("name", out.Paint(Style::kName, PrintableName(node.name)));
  field("kind", node.is_server ? "server" : "AP");
  field("id", fmt::format("id:{}", node.id));
  field("address", view_.AddressOf(node.id));
  field("number", std::to_string(node.number));
  field("applications", node.flags == 0 ? "none" : ApplicationsOf(node));
  if (view_.IsOwn()) field("settings", std::to_string(node.settings));
  if (!node.is_server) return field("server", Printable(ServerName(node.server_id)));
  if (view_.IsOwn()) field("value", std::to_string(node.value));
  field("APs", std::to_string(node.ap_count));
  for (const Node& linked : view_.LinkedServers(node.id)) field("link", PrintableName(linked.name));
}

void NodeWriter::ShowMixed(const std::vector<Node>& nodes, const char* key) {
  Output& out = session_.Out();
  if (out.IsJson()) {
    return out.List({}, key, nodes, [this](const Node& node) { return Describe(node); });
  }
  if (nodes.empty()) return out.Say("There are no such servers and APs.");
  Table table = {{"ID", "ADDRESS", "KIND", "NAME", "SERVER", "APPLICATIONS"}};
  for (const Node& node : nodes) {
    table.push_back({fmt::format("id:{}", node.id), view_.AddressOf(node.id),
                     node.is_server ? "server" : "AP", PrintableName(node.name),
                     node.is_server ? "" : Printable(ServerName(node.server_id)),
                     ApplicationsOf(node)});
  }
  out.PrintTable(table);
}

}  // namespace ncc::tool
