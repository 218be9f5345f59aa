#include "network/tree.h"

#include <cstddef>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "console/output.h"
#include "console/text.h"
#include "network/object_writer.h"
#include "network/view.h"

namespace ncc::tool {
namespace {

std::vector<Object> ChildrenOf(View& view, const Object& object) {
  switch (object.kind) {
    case Kind::kServer:
      return view.Related(Relation::kApsOfServer, object.id);
    case Kind::kDep:
      return view.Related(Relation::kUsersOfDep, object.id);
    case Kind::kGroup:
      return view.Related(Relation::kDepsOfGroup, object.id);
    default:
      return {};
  }
}

class TreePrinter {
 public:
  TreePrinter(Session& session, Kind kind)
      : view_(session.Shown()), out_(session.Out()), has_words_(kind != Kind::kServer) {}

  void Print(const std::vector<Object>& objects, int depth, const std::string& indent) {
    for (std::size_t i = 0; i < objects.size(); ++i) {
      const Object& object = objects[i];
      const bool last = i + 1 == objects.size();
      const std::string address = view_.AddressOf(object.id);
      const std::string rest =
          has_words_ ? fmt::format("{} {}", WordOf(object.kind), address) : address;
      out_.Line(fmt::format("{}{}{}  {}", indent, last ? "└─ " : "├─ ",
                            out_.Paint(Style::kName, PrintableName(object.name)),
                            out_.Paint(Style::kFaint, rest)));
      // A node group's nodes end there, whatever belongs to them elsewhere.
      if (depth > 1 && !(object.IsServer() && has_words_)) {
        Print(BranchesOf(object), depth - 1, indent + (last ? "   " : "│  "));
      }
    }
  }

 private:
  std::vector<Object> BranchesOf(const Object& object) {
    std::vector<Object> branches;
    if (object.kind == Kind::kGroup) branches = view_.Related(Relation::kNodesOfGroup, object.id);
    for (Object& child : ChildrenOf(view_, object)) branches.push_back(std::move(child));
    return branches;
  }

  View& view_;
  Output& out_;
  const bool has_words_;
};

// The JSON of an object names what belongs to it; `children` has the next level whole.
Json JsonOf(View& view, ObjectWriter& writer, const Object& object, int depth) {
  Json json = writer.JsonOf(object);
  if (depth < 2 || object.kind == Kind::kUser || object.kind == Kind::kAp) return json;
  json["children"] = Json::array();
  for (const Object& child : ChildrenOf(view, object)) {
    json["children"].push_back(JsonOf(view, writer, child, depth - 1));
  }
  return json;
}

}  // namespace

void ShowTree(Session& session, Kind kind, const std::vector<Object>& objects, int depth) {
  View& view = session.Shown();
  if (session.IsJson()) {
    ObjectWriter writer(session);
    return session.Out().List(
        {{"network", view.Number()}}, KeyOfAll(kind), objects,
        [&](const Object& object) { return JsonOf(view, writer, object, depth); });
  }
  session.Out().Line(fmt::format("network 0x{:04X}", view.Number()));
  TreePrinter(session, kind).Print(objects, depth, "");
}

}  // namespace ncc::tool
