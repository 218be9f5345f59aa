#include "network/object_writer.h"

#include <fmt/format.h>

#include "console/text.h"
#include "network/nodes.h"
#include "network/view.h"

namespace ncc::tool {
namespace {

template <class Items>
Json DescribeLinks(const Items& items) {
  Json all = Json::array();
  for (const auto& item : items) all.push_back(ObjectWriter::DescribeLink(item));
  return all;
}

template <class Items>
std::string JoinNames(const Items& items) {
  std::string text;
  for (const auto& item : items) text += (text.empty() ? "" : ", ") + PrintableName(item.name);
  return text;
}

// The name of a Dep or of a node; nothing when there is none of this id.
std::optional<std::string> NameOfId(View& view, std::uint32_t id, bool is_dep) {
  if (is_dep) {
    const auto dep = view.ObjectById(Kind::kDep, id);
    return dep ? std::optional(dep->name) : std::nullopt;
  }
  const auto node = view.NodeById(id);
  return node ? std::optional(node->name) : std::nullopt;
}

}  // namespace

ObjectWriter::ObjectWriter(Session& session) : session_(session), view_(session.Shown()) {}

Json ObjectWriter::DescribeLink(const Object& object) {
  if (object.network != 0) {
    return {{"network", object.network}, {"id", object.id}, {"name", nullptr}};
  }
  return {{"id", object.id}, {"name", Utf8FromBytes(object.name)}};
}

Json ObjectWriter::DescribeLink(const Node& node) {
  return {{"id", node.id}, {"name", Utf8FromBytes(node.name)}};
}

const std::vector<Object>& ObjectWriter::DepsOfUser(std::uint32_t user) {
  if (!has_deps_) {
    has_deps_ = true;
    for (const Object& dep : view_.Objects(Kind::kDep)) {
      for (const Object& member : view_.UsersOf(dep.id)) {
        std::vector<Object>& deps = deps_of_users_[member.id];
        // A user can stand in a Dep more than once.
        if (deps.empty() || deps.back().id != dep.id) deps.push_back(dep);
      }
    }
  }
  return deps_of_users_[user];
}

Json ObjectWriter::DescribeId(std::uint32_t id, bool is_dep) {
  const auto name = NameOfId(view_, id, is_dep);
  return {{"id", id}, {"name", name ? Json(Utf8FromBytes(*name)) : Json(nullptr)}};
}

std::string ObjectWriter::TextOfId(std::uint32_t id, bool is_dep) {
  if (id == 0) return "none";
  const auto name = NameOfId(view_, id, is_dep);
  return name ? PrintableName(*name) : fmt::format("id:{} (does not exist)", id);
}

std::string ObjectWriter::PrimaryOf(const Object& user) {
  if (user.primary_dep == 0 && user.primary_node == 0) return "none";
  return fmt::format("{} at {}", TextOfId(user.primary_dep, true),
                     TextOfId(user.primary_node, false));
}

Json ObjectWriter::DescribeMemberships(const std::vector<Membership>& memberships) {
  Json all = Json::array();
  for (const Membership& one : memberships) {
    all.push_back({{"dep", DescribeId(one.dep, true)},
                   {"node", DescribeId(one.node, false)},
                   {"kind", one.kind}});
  }
  return all;
}

Table ObjectWriter::MembershipTable(const std::vector<Membership>& memberships) {
  Table table = {{"DEP", "NODE", "KIND"}};
  for (const Membership& one : memberships) {
    table.push_back({TextOfId(one.dep, true), TextOfId(one.node, false), std::to_string(one.kind)});
  }
  return table;
}

Json ObjectWriter::Describe(const Object& object) {
  Json json = {{"kind", KeyOf(object.kind)},
               {"id", object.id},
               {"address", view_.AddressOf(object.id)},
               {"name", Utf8FromBytes(object.name)}};
  if (object.kind == Kind::kUser) {
    const bool has_primary = object.primary_dep != 0 || object.primary_node != 0;
    json["primary"] = nullptr;
    if (has_primary) {
      json["primary"] = {{"dep", DescribeId(object.primary_dep, true)},
                         {"node", DescribeId(object.primary_node, false)}};
    }
    json["deps"] = DescribeLinks(DepsOfUser(object.id));
    json["memberships"] = DescribeMemberships(view_.MembershipsOf(object.id));
  } else if (object.kind == Kind::kDep) {
    json["group"] = object.group == 0 ? Json(nullptr) : Json(object.group);
    if (object.home_node != 0) json["home"] = DescribeId(object.home_node, false);
    json["groups"] = DescribeLinks(view_.GroupsOf(object.id));
    json["users"] = DescribeLinks(view_.UsersOf(object.id));
    json["links"] = DescribeLinks(view_.LinkedDeps(object.id));
  } else {
    json["number"] = object.number;
    json["nodes"] = DescribeLinks(view_.NodesOf(object.id));
    json["deps"] = DescribeLinks(view_.DepsOf(object.id));
  }
  return json;
}

std::vector<std::string> ObjectWriter::Heading(Kind kind) {
  if (kind == Kind::kUser) return {"ID", "NAME", "PRIMARY", "DEPS", "MEMBERSHIPS"};
  if (kind == Kind::kDep) return {"ID", "NAME", "NODE GROUPS", "USERS", "LINKS"};
  return {"ID", "NAME", "NODES", "DEPS"};
}

std::vector<std::string> ObjectWriter::Row(const Object& object) {
  const auto count = [](const auto& items) { return std::to_string(items.size()); };
  std::vector<std::string> row = {fmt::format("id:{}", object.id), PrintableName(object.name)};
  if (object.kind == Kind::kUser) {
    row.insert(row.end(), {PrimaryOf(object), JoinNames(DepsOfUser(object.id)),
                           count(view_.MembershipsOf(object.id))});
  } else if (object.kind == Kind::kDep) {
    row.insert(row.end(), {JoinNames(view_.GroupsOf(object.id)), count(view_.UsersOf(object.id)),
                           count(view_.LinkedDeps(object.id))});
  } else {
    row.insert(row.end(), {count(view_.NodesOf(object.id)), count(view_.DepsOf(object.id))});
  }
  return row;
}

void ObjectWriter::Show(const Object& object) {
  Output& out = session_.Out();
  if (out.IsJson()) return out.Document({{KeyOf(object.kind), Describe(object)}});
  const auto field = [&out](const char* label, const std::string& text) {
    out.Line(fmt::format("{:<14}{}", label, text));
  };
  const auto fields = [&field](const char* label, const auto& items) {
    for (const auto& item : items) field(label, PrintableName(item.name));
  };
  field("name", out.Paint(Style::kName, PrintableName(object.name)));
  field("kind", WordOf(object.kind));
  field("id", fmt::format("id:{}", object.id));
  field("address", view_.AddressOf(object.id));
  if (object.kind == Kind::kUser) {
    field("primary", PrimaryOf(object));
    fields("Dep", DepsOfUser(object.id));
    for (const Membership& one : view_.MembershipsOf(object.id)) {
      field("membership", fmt::format("{} at {}, kind {}", TextOfId(one.dep, true),
                                      TextOfId(one.node, false), one.kind));
    }
  } else if (object.kind == Kind::kDep) {
    if (object.home_node != 0) field("home", TextOfId(object.home_node, false));
    fields("node group", view_.GroupsOf(object.id));
    fields("user", view_.UsersOf(object.id));
    fields("link", view_.LinkedDeps(object.id));
  } else {
    field("number", std::to_string(object.number));
    fields("node", view_.NodesOf(object.id));
    fields("Dep", view_.DepsOf(object.id));
  }
}

void ObjectWriter::ShowAll(Kind kind, const std::vector<Object>& objects) {
  Output& out = session_.Out();
  if (out.IsJson()) {
    return out.List({}, KeyOfAll(kind), objects,
                    [this](const Object& object) { return Describe(object); });
  }
  if (objects.empty()) return out.Say(fmt::format("There are no such {}.", WordOfAll(kind)));
  Table table = {Heading(kind)};
  for (const Object& object : objects) table.push_back(Row(object));
  out.PrintTable(table);
}

}  // namespace ncc::tool
