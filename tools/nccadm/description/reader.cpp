#include <utility>

#include "description/fields.h"
#include "description/yaml_tree.h"
#include "network/applications.h"

namespace ncc::tool {
namespace {

using Form = YamlNode::Kind;

class Reader {
 public:
  Reader(const Applications& applications, ProblemList& problems)
      : applications_(applications), fields_(problems) {}

  Description Read(const YamlNode& root) {
    Description result;
    bool has_network = false;
    const auto network = [&](const YamlNode& node) {
      has_network = true;
      ReadNetwork(node, result);
    };
    if (!fields_.Expect(root, Form::kMap, "the description")) return result;
    std::vector<Field> fields = {
        {"network", network},
        {"preferences", [&](const YamlNode& n) { ReadPreferences(n, result.preferences); }},
        {"servers", [&](const YamlNode& n) { ReadServers(n, result.servers); }},
        {"links", [&](const YamlNode& n) { ReadPairs(n, result.links); }}};
    for (Field& field : PopulationFields(fields_, result)) fields.push_back(std::move(field));
    fields_.ReadMap(root, fields);
    if (!has_network) {
      fields_.Complain(root.place, "the key \"network\" is missing: the number of the network");
    }
    return result;
  }

 private:
  void ReadNetwork(const YamlNode& node, Description& result) {
    std::optional<std::uint32_t> number;
    fields_.ReadNumber(node, "the network number", number);
    result.network = number.value_or(0);
    result.network_place = node.place;
  }

  void ReadPreferences(const YamlNode& node, PreferencesDescription& result) {
    if (node.kind == Form::kNull || !fields_.Expect(node, Form::kMap, "preferences")) return;
    std::vector<Field> fields;
    const auto add = [&](const char* key, auto& value) {
      fields.push_back(
          {key, [this, key, &value](const YamlNode& n) { fields_.ReadNumber(n, key, value); }});
    };
    VisitPreferences(add, result);
    VisitCounters(add, result);
    fields_.ReadMap(node, fields);
  }

  void ReadServers(const YamlNode& node, std::vector<ServerDescription>& result) {
    fields_.ReadList(node, "servers", [&](const YamlNode& item) {
      ServerDescription& server = result.emplace_back();
      std::vector<Field> fields = NodeFields(server);
      fields.push_back({"value", [&](const YamlNode& n) {
                          server.value_place = n.place;
                          fields_.ReadNumber(n, "the value", server.value);
                        }});
      fields.push_back({"links", [&](const YamlNode& n) { ReadLinks(n, server.links); }});
      fields.push_back({"aps", [&](const YamlNode& n) { ReadAps(n, server.aps); }});
      fields_.ReadObject(item, "server", server, std::move(fields));
      for (const NamePlace& link : server.links) CheckEnds(server, link);
    });
  }

  void ReadAps(const YamlNode& node, std::vector<ApDescription>& result) {
    fields_.ReadList(node, "aps", [&](const YamlNode& item) {
      ApDescription& ap = result.emplace_back();
      fields_.ReadObject(item, "AP", ap, NodeFields(ap));
    });
  }

  std::vector<Field> NodeFields(ApDescription& node) {
    return {fields_.NumberField(node),
            {"applications",
             [this, &node](const YamlNode& n) { ReadApplications(n, node.applications); }},
            {"settings", [this, &node](const YamlNode& n) {
               fields_.ReadNumber(n, "the settings", node.settings);
             }}};
  }

  void CheckEnds(const NamePlace& server, const NamePlace& link) {
    const bool is_same = link.id
                             ? server.id == link.id
                             : !server.name.empty() && FoldName(server.name) == FoldName(link.name);
    if (!is_same) return;
    fields_.Complain(link.place, fmt::format("the server \"{}\" is linked to itself",
                                             Utf8FromBytes(server.name)));
  }

  void ReadLinks(const YamlNode& node, std::vector<NamePlace>& links) {
    fields_.ReadNames(node, "links", "the linked server's name", links);
  }

  void ReadPairs(const YamlNode& node, std::vector<NamePair>& links) {
    fields_.ReadList(node, "links", [&](const YamlNode& item) {
      std::vector<NamePlace> ends;
      if (!fields_.Expect(item, Form::kSequence, "a link")) return;
      ReadLinks(item, ends);
      if (item.items.size() != 2) {
        fields_.Complain(item.place, "a link names two servers: [ONE, OTHER]");
      } else if (ends.size() == 2) {
        CheckEnds(ends[0], ends[1]);
        links.emplace_back(std::move(ends[0]), std::move(ends[1]));
      }
    });
  }

  void ReadApplications(const YamlNode& node, std::optional<std::uint32_t>& result) {
    std::uint32_t mask = 0;
    const auto add = [&](const YamlNode& item) {
      if (!fields_.Expect(item, Form::kScalar, "an application")) return;
      const auto bits = applications_.Parse(item.text);
      if (!bits) fields_.Complain(item.place, applications_.Complain(item.text));
      mask |= bits.value_or(0);
    };
    if (node.kind == Form::kScalar) {
      add(node);
    } else {
      fields_.ReadList(node, "applications", add);
    }
    result = mask;
  }

  const Applications& applications_;
  FieldReader fields_;
};

}  // namespace

Description ReadDescription(std::string_view text, const Applications& applications,
                            ProblemList& problems, const YamlProgress& progress) {
  const YamlNode root = ReadYaml(text, problems, progress);
  if (!problems.Empty()) return {};
  return Reader(applications, problems).Read(root);
}

}  // namespace ncc::tool
