#include "network/object_tree.h"

#include <fmt/format.h>

#include "console/text.h"
#include "network/object_writer.h"
#include "network/view.h"

namespace ncc::tool {
namespace {

struct Branch {
  std::string name;  // bytes
  std::uint32_t id = 0;
  const char* word = "";
  std::vector<Branch> children;
};

Branch BranchOf(const Object& object) { return {object.name, object.id, WordOf(object.kind), {}}; }

Branch BranchOf(View& view, const Object& object, int depth) {
  Branch branch = BranchOf(object);
  if (depth < 2) return branch;
  if (object.kind == Kind::kDep) {
    for (const Object& user : view.UsersOf(object.id)) {
      branch.children.push_back(BranchOf(user));
    }
    return branch;
  }
  for (const Node& node : view.NodesOf(object.id)) {
    branch.children.push_back({node.name, node.id, node.is_server ? "server" : "AP", {}});
  }
  for (const Object& dep : view.DepsOf(object.id)) {
    branch.children.push_back(BranchOf(view, dep, depth - 1));
  }
  return branch;
}

void Print(Session& session, const std::vector<Branch>& branches, const std::string& indent) {
  Output& out = session.Out();
  for (std::size_t i = 0; i < branches.size(); ++i) {
    const Branch& branch = branches[i];
    const bool last = i + 1 == branches.size();
    const std::string rest =
        fmt::format("{} {}", branch.word, session.Shown().AddressOf(branch.id));
    out.Line(fmt::format("{}{}{}  {}", indent, last ? "└─ " : "├─ ",
                         out.Paint(Style::kName, PrintableName(branch.name)),
                         out.Paint(Style::kFaint, rest)));
    Print(session, branch.children, indent + (last ? "   " : "│  "));
  }
}

// The JSON of an object names what belongs to it; `children` has the next level whole.
Json Describe(View& view, ObjectWriter& writer, const Object& object, int depth) {
  Json json = writer.Describe(object);
  if (depth < 2 || object.kind == Kind::kUser) return json;
  const bool is_dep = object.kind == Kind::kDep;
  json["children"] = Json::array();
  for (const Object& child : is_dep ? view.UsersOf(object.id) : view.DepsOf(object.id)) {
    json["children"].push_back(Describe(view, writer, child, depth - 1));
  }
  return json;
}

}  // namespace

void ShowObjectTree(Session& session, Kind kind, int depth) {
  View& view = session.Shown();
  const std::uint32_t network = view.Number();
  std::vector<Object> objects;
  if (depth > 0) objects = view.Objects(kind);
  if (session.IsJson()) {
    ObjectWriter writer(session);
    return session.Out().List(
        {{"network", network}}, KeyOfAll(kind), objects,
        [&](const Object& object) { return Describe(view, writer, object, depth); });
  }
  std::vector<Branch> branches;
  branches.reserve(objects.size());
  for (const Object& object : objects) branches.push_back(BranchOf(view, object, depth));
  session.Out().Line(fmt::format("network 0x{:04X}", network));
  Print(session, branches, "");
}

}  // namespace ncc::tool
