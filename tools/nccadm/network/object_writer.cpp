#include "network/object_writer.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "console/text.h"

namespace ncc::tool {
namespace {

Json LinksJson(const std::vector<Object>& objects) {
  Json all = Json::array();
  for (const Object& object : objects) {
    Json link;
    if (object.network != 0) link["network"] = object.network;
    link["id"] = object.id;
    link["name"] = object.network != 0 ? Json(nullptr) : Json(Utf8FromBytes(object.name));
    all.push_back(std::move(link));
  }
  return all;
}

std::string JoinNames(const std::vector<Object>& objects) {
  std::string text;
  for (const Object& object : objects) {
    text += (text.empty() ? "" : ", ") + PrintableName(object.name);
  }
  return text;
}

}  // namespace

ObjectWriter::ObjectWriter(Session& session) : session_(session), view_(session.Shown()) {}

const std::string& ObjectWriter::ServerName(std::uint32_t id) {
  if (server_names_.empty()) {
    for (const Object& server : view_.All(Kind::kServer)) {
      server_names_.emplace(server.id, Utf8FromBytes(server.name));
    }
  }
  return server_names_[id];
}

std::string ObjectWriter::ServerOf(const Object& node) {
  return node.kind == Kind::kAp ? Printable(ServerName(node.server_id)) : std::string();
}

std::string ObjectWriter::ApplicationsOf(const Object& node) {
  return fmt::format("{}", fmt::join(session_.Apps().NamesOf(node.flags), ","));
}

const std::vector<Object>& ObjectWriter::DepsOfUser(std::uint32_t user) {
  if (!has_deps_) {
    has_deps_ = true;
    for (const Object& dep : view_.All(Kind::kDep)) {
      for (const Object& member : view_.Related(Relation::kUsersOfDep, dep.id)) {
        std::vector<Object>& deps = deps_of_users_[member.id];
        // A user can stand in a Dep more than once.
        if (deps.empty() || deps.back().id != dep.id) deps.push_back(dep);
      }
    }
  }
  return deps_of_users_[user];
}

Json ObjectWriter::IdJson(std::uint32_t id, bool is_dep) {
  const auto object = is_dep ? view_.ById(Kind::kDep, id) : view_.NodeById(id);
  return {{"id", id}, {"name", object ? Json(Utf8FromBytes(object->name)) : Json(nullptr)}};
}

std::string ObjectWriter::TextOfId(std::uint32_t id, bool is_dep) {
  if (id == 0) return "none";
  const auto object = is_dep ? view_.ById(Kind::kDep, id) : view_.NodeById(id);
  return object ? PrintableName(object->name) : fmt::format("id:{} (does not exist)", id);
}

std::string ObjectWriter::PrimaryOf(const Object& user) {
  if (user.primary_dep == 0 && user.primary_node == 0) return "none";
  return fmt::format("{} at {}", TextOfId(user.primary_dep, true),
                     TextOfId(user.primary_node, false));
}

Json ObjectWriter::MembershipsJson(const std::vector<Membership>& memberships) {
  Json all = Json::array();
  for (const Membership& membership : memberships) {
    all.push_back({{"dep", IdJson(membership.dep, true)},
                   {"node", IdJson(membership.node, false)},
                   {"kind", membership.kind}});
  }
  return all;
}

Table ObjectWriter::MembershipTable(const std::vector<Membership>& memberships) {
  Table table = {{"DEP", "NODE", "KIND"}};
  for (const Membership& membership : memberships) {
    table.push_back({TextOfId(membership.dep, true), TextOfId(membership.node, false),
                     std::to_string(membership.kind)});
  }
  return table;
}

void ObjectWriter::AddNode(Json& json, const Object& node) {
  json["number"] = node.number;
  json["applications"] = session_.Apps().NamesOf(node.flags);
  json["mask"] = node.flags;
  if (view_.IsOwn()) json["settings"] = node.settings;
  if (!node.IsServer()) {
    json["server"] = {{"id", node.server_id}, {"name", ServerName(node.server_id)}};
    return;
  }
  if (view_.IsOwn()) json["value"] = node.value;
  json["aps"] = node.ap_count;
  if (view_.IsOwn()) json["links"] = LinksJson(view_.Related(Relation::kLinksOfServer, node.id));
}

Json ObjectWriter::JsonOf(const Object& object) {
  const std::uint32_t id = object.id;
  Json json = {{"kind", KeyOf(object.kind)},
               {"id", id},
               {"address", view_.AddressOf(id)},
               {"name", Utf8FromBytes(object.name)}};
  if (object.IsNode()) {
    AddNode(json, object);
  } else if (object.kind == Kind::kUser) {
    const bool has_primary = object.primary_dep != 0 || object.primary_node != 0;
    json["primary"] = nullptr;
    if (has_primary) {
      json["primary"] = {{"dep", IdJson(object.primary_dep, true)},
                         {"node", IdJson(object.primary_node, false)}};
    }
    json["deps"] = LinksJson(DepsOfUser(id));
    json["memberships"] = MembershipsJson(view_.MembershipsOf(id));
  } else if (object.kind == Kind::kDep) {
    json["group"] = object.group == 0 ? Json(nullptr) : Json(object.group);
    if (object.home_node != 0) json["home"] = IdJson(object.home_node, false);
    json["groups"] = LinksJson(view_.Related(Relation::kGroupsOfDep, id));
    json["users"] = LinksJson(view_.Related(Relation::kUsersOfDep, id));
    json["links"] = LinksJson(view_.Related(Relation::kLinksOfDep, id));
  } else {
    json["number"] = object.number;
    json["nodes"] = LinksJson(view_.Related(Relation::kNodesOfGroup, id));
    json["deps"] = LinksJson(view_.Related(Relation::kDepsOfGroup, id));
  }
  const Notes notes = view_.NotesOf(id);
  if (!notes.empty()) json["notes"] = notes;
  return json;
}

std::vector<std::string> ObjectWriter::Heading(Kind kind) {
  switch (kind) {
    case Kind::kServer:
      return {"ID", "ADDRESS", "NAME", "VALUE", "APS", "LINKS", "APPLICATIONS"};
    case Kind::kAp:
      return {"ID", "ADDRESS", "NAME", "SERVER", "APPLICATIONS"};
    case Kind::kGroup:
      return {"ID", "NAME", "NODES", "DEPS"};
    case Kind::kDep:
      return {"ID", "NAME", "NODE GROUPS", "USERS", "LINKS"};
    case Kind::kUser:
      return {"ID", "NAME", "PRIMARY", "DEPS", "MEMBERSHIPS"};
  }
  return {};
}

std::vector<std::string> ObjectWriter::Row(const Object& object) {
  const std::string id = fmt::format("id:{}", object.id);
  const std::string name = PrintableName(object.name);
  const auto count = [&](Relation relation) {
    return std::to_string(view_.Related(relation, object.id).size());
  };
  switch (object.kind) {
    case Kind::kServer:
      return {id,
              view_.AddressOf(object.id),
              name,
              std::to_string(object.value),
              std::to_string(object.ap_count),
              count(Relation::kLinksOfServer),
              ApplicationsOf(object)};
    case Kind::kAp:
      return {id, view_.AddressOf(object.id), name, ServerOf(object), ApplicationsOf(object)};
    case Kind::kGroup:
      return {id, name, count(Relation::kNodesOfGroup), count(Relation::kDepsOfGroup)};
    case Kind::kDep:
      return {id, name, JoinNames(view_.Related(Relation::kGroupsOfDep, object.id)),
              count(Relation::kUsersOfDep), count(Relation::kLinksOfDep)};
    case Kind::kUser:
      return {id, name, PrimaryOf(object), JoinNames(DepsOfUser(object.id)),
              std::to_string(view_.MembershipsOf(object.id).size())};
  }
  return {};
}

void ObjectWriter::Show(const Object& object) {
  Output& out = session_.Out();
  if (out.IsJson()) return out.Document({{KeyOf(object.kind), JsonOf(object)}});
  const auto field = [&out](const char* label, const std::string& text) {
    out.Line(fmt::format("{:<14}{}", label, text));
  };
  const auto names = [&field](const char* label, const std::vector<Object>& objects) {
    for (const Object& node : objects) field(label, PrintableName(node.name));
  };
  const auto related = [&](const char* label, Relation relation) {
    names(label, view_.Related(relation, object.id));
  };
  field("name", out.Paint(Style::kName, PrintableName(object.name)));
  field("kind", WordOf(object.kind));
  field("id", fmt::format("id:{}", object.id));
  field("address", view_.AddressOf(object.id));
  for (const auto& [key, value] : view_.NotesOf(object.id)) {
    field("note", Printable(fmt::format("{}: {}", key, value)));
  }
  if (object.IsNode()) {
    field("number", std::to_string(object.number));
    field("applications", object.flags == 0 ? "none" : ApplicationsOf(object));
    if (view_.IsOwn()) field("settings", std::to_string(object.settings));
    if (!object.IsServer()) return field("server", ServerOf(object));
    if (view_.IsOwn()) field("value", std::to_string(object.value));
    field("APs", std::to_string(object.ap_count));
    related("link", Relation::kLinksOfServer);
  } else if (object.kind == Kind::kUser) {
    field("primary", PrimaryOf(object));
    names("Dep", DepsOfUser(object.id));
    for (const Membership& membership : view_.MembershipsOf(object.id)) {
      field("membership", fmt::format("{} at {}, kind {}", TextOfId(membership.dep, true),
                                      TextOfId(membership.node, false), membership.kind));
    }
  } else if (object.kind == Kind::kDep) {
    if (object.home_node != 0) field("home", TextOfId(object.home_node, false));
    related("node group", Relation::kGroupsOfDep);
    related("user", Relation::kUsersOfDep);
    related("link", Relation::kLinksOfDep);
  } else {
    field("number", std::to_string(object.number));
    related("node", Relation::kNodesOfGroup);
    related("Dep", Relation::kDepsOfGroup);
  }
}

void ObjectWriter::ShowAll(Kind kind, const std::vector<Object>& objects) {
  Output& out = session_.Out();
  if (out.IsJson()) {
    return out.List({}, KeyOfAll(kind), objects,
                    [this](const Object& object) { return JsonOf(object); });
  }
  if (objects.empty()) return out.Say(fmt::format("There are no such {}.", WordOfAll(kind)));
  Table table = {Heading(kind)};
  for (const Object& object : objects) table.push_back(Row(object));
  out.PrintTable(table);
}

void ObjectWriter::ShowMixed(const std::vector<Object>& objects, const char* key,
                             const char* none) {
  Output& out = session_.Out();
  if (out.IsJson()) {
    return out.List({}, key, objects, [this](const Object& object) { return JsonOf(object); });
  }
  if (objects.empty()) return out.Say(none);
  // Servers and APs alone have columns that only they have.
  const bool are_nodes = std::all_of(objects.begin(), objects.end(),
                                     [](const Object& object) { return object.IsNode(); });
  Table table = {{"ID", "ADDRESS", "KIND", "NAME"}};
  if (are_nodes) table[0].insert(table[0].end(), {"SERVER", "APPLICATIONS"});
  for (const Object& object : objects) {
    table.push_back({fmt::format("id:{}", object.id), view_.AddressOf(object.id),
                     WordOf(object.kind), PrintableName(object.name)});
    if (are_nodes) {
      table.back().push_back(ServerOf(object));
      table.back().push_back(ApplicationsOf(object));
    }
  }
  out.PrintTable(table);
}

}  // namespace ncc::tool
