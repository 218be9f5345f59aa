// The part of a description that is about node groups, Deps and users.
#include <utility>

#include "description/fields.h"
#include "description/yaml_tree.h"

namespace ncc::tool {
namespace {

using Form = YamlNode::Kind;

void ReadNodeNames(FieldReader& reader, const YamlNode& node, std::vector<NodeName>& names) {
  reader.ReadList(node, "nodes", [&](const YamlNode& item) {
    NodeName name;
    if (reader.ReadNodeName(item, name)) names.push_back(std::move(name));
  });
}

void ReadGroup(FieldReader& reader, const YamlNode& node, GroupDescription& group) {
  reader.ReadObject(node, "node group", group,
                    {reader.NumberField(group),
                     {"nodes", [&](const YamlNode& n) { ReadNodeNames(reader, n, group.nodes); }},
                     {"deps", [&](const YamlNode& n) {
                        reader.ReadNames(n, "deps", "the Dep's name", group.deps);
                      }}});
}

void ReadDep(FieldReader& reader, const YamlNode& node, DepDescription& dep) {
  const auto group = [&](const YamlNode& n) {
    dep.group.emplace().place = n.place;
    if (n.kind != Form::kNull) reader.ReadReference(n, "the node group's name", *dep.group);
  };
  reader.ReadObject(
      node, "Dep", dep,
      {{"links",
        [&](const YamlNode& n) {
          reader.ReadNames(n, "links", "the linked Dep's name", dep.links);
        }},
       {"users",
        [&](const YamlNode& n) { reader.ReadNames(n, "users", "the user's name", dep.users); }},
       {"group", group}});
}

void ReadMembership(FieldReader& reader, const YamlNode& node,
                    std::vector<MembershipDescription>& memberships) {
  if (!reader.Expect(node, Form::kMap, "a membership")) return;
  MembershipDescription membership;
  std::optional<std::uint8_t> kind;
  reader.ReadMap(
      node,
      {{"dep",
        [&](const YamlNode& n) { reader.ReadReference(n, "the Dep's name", membership.dep); }},
       {"node", [&](const YamlNode& n) { reader.ReadNodeName(n, membership.node); }},
       {"kind", [&](const YamlNode& n) { reader.ReadNumber(n, "the kind", kind); }}});
  if (membership.dep.place.line == 0 || membership.node.place.line == 0) {
    reader.Complain(node.place, "a membership names a Dep and a node: {dep: NAME, node: NAME}");
    return;
  }
  membership.kind = kind.value_or(0);
  memberships.push_back(std::move(membership));
}

void ReadPrimary(FieldReader& reader, const YamlNode& node, UserDescription& user) {
  PrimaryDescription& primary = user.primary.emplace();
  if (node.kind == Form::kNull || !reader.Expect(node, Form::kMap, "the primary collective")) {
    return;
  }
  reader.ReadMap(
      node,
      {{"dep", [&](const YamlNode& n) { reader.ReadReference(n, "the Dep's name", primary.dep); }},
       {"node", [&](const YamlNode& n) { reader.ReadNodeName(n, primary.node); }}});
}

void ReadUser(FieldReader& reader, const YamlNode& node, UserDescription& user) {
  const auto memberships = [&](const YamlNode& n) {
    reader.ReadList(n, "memberships",
                    [&](const YamlNode& item) { ReadMembership(reader, item, user.memberships); });
  };
  reader.ReadObject(
      node, "user", user,
      {{"deps",
        [&](const YamlNode& n) { reader.ReadNames(n, "deps", "the Dep's name", user.deps); }},
       {"memberships", memberships},
       {"primary", [&](const YamlNode& n) { ReadPrimary(reader, n, user); }}});
}

template <class Part>
Field ListField(FieldReader& reader, const char* key, std::vector<Part>& result,
                void (*read)(FieldReader&, const YamlNode&, Part&)) {
  return {key, [&reader, key, &result, read](const YamlNode& node) {
            reader.ReadList(node, key, [&](const YamlNode& item) {
              read(reader, item, result.emplace_back());
            });
          }};
}

void ReadPair(FieldReader& reader, const YamlNode& node, const char* form,
              const std::function<void(const YamlNode&)>& first,
              const std::function<void(const YamlNode&)>& second) {
  if (!reader.Expect(node, Form::kSequence, "a pair")) return;
  if (node.items.size() != 2) return reader.Complain(node.place, fmt::format("a pair is {}", form));
  first(node.items[0]);
  second(node.items[1]);
}

void ReadGroupNode(FieldReader& reader, const YamlNode& node,
                   std::pair<NamePlace, NodeName>& pair) {
  ReadPair(
      reader, node, "[GROUP, NODE]",
      [&](const YamlNode& n) {
        return reader.ReadReference(n, "the node group's name", pair.first);
      },
      [&](const YamlNode& n) { return reader.ReadNodeName(n, pair.second); });
}

void ReadGroupDep(FieldReader& reader, const YamlNode& node, NamePair& pair) {
  ReadPair(
      reader, node, "[GROUP, DEP]",
      [&](const YamlNode& n) {
        return reader.ReadReference(n, "the node group's name", pair.first);
      },
      [&](const YamlNode& n) { return reader.ReadReference(n, "the Dep's name", pair.second); });
}

void ReadDepLink(FieldReader& reader, const YamlNode& node, NamePair& pair) {
  const auto name = [&](NamePlace& place) {
    return [&](const YamlNode& n) { return reader.ReadReference(n, "the Dep's name", place); };
  };
  ReadPair(reader, node, "[DEP, OTHER]", name(pair.first), name(pair.second));
}

}  // namespace

std::vector<Field> PopulationFields(FieldReader& reader, Description& result) {
  return {ListField(reader, "groups", result.groups, ReadGroup),
          ListField(reader, "group_nodes", result.group_nodes, ReadGroupNode),
          ListField(reader, "group_deps", result.group_deps, ReadGroupDep),
          ListField(reader, "deps", result.deps, ReadDep),
          ListField(reader, "dep_links", result.dep_links, ReadDepLink),
          ListField(reader, "users", result.users, ReadUser)};
}

}  // namespace ncc::tool
