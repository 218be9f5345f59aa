#include <algorithm>
#include <functional>
#include <limits>
#include <unordered_map>

#include <fmt/format.h>

#include "description.h"
#include "text.h"

namespace ncc::tool {
namespace {

using Kind = YamlNode::Kind;

// What to do with the value of one key.
struct Field {
  const char* key;
  std::function<void(const YamlNode&)> read;
};

const char* WordFor(Kind kind) {
  switch (kind) {
    case Kind::kNull:
      return "nothing";
    case Kind::kScalar:
      return "a single value";
    case Kind::kSequence:
      return "a list";
    case Kind::kMap:
      return "a mapping";
  }
  return "";
}

class Reader {
 public:
  Reader(const Applications& applications, ProblemList& problems)
      : applications_(applications), problems_(problems) {}

  Description Read(const YamlNode& root) {
    Description result;
    bool has_network = false;
    const auto network = [&](const YamlNode& node) {
      has_network = true;
      ReadNetwork(node, result);
    };
    if (!Expect(root, Kind::kMap, "the description")) return result;
    ReadMap(root,
            {{"network", network},
             {"preferences", [&](const YamlNode& n) { ReadPreferences(n, result.preferences); }},
             {"servers", [&](const YamlNode& n) { ReadServers(n, result.servers); }},
             {"links", [&](const YamlNode& n) { ReadPairs(n, result.links); }}});
    if (!has_network) {
      problems_.Add(root.place, "the key \"network\" is missing: the number of the network");
    }
    return result;
  }

 private:
  bool Expect(const YamlNode& node, Kind kind, std::string_view what) {
    if (node.kind == kind) return true;
    problems_.Add(node.place,
                  fmt::format("{} must be {}, not {}", what, WordFor(kind), WordFor(node.kind)));
    return false;
  }

  void ReadMap(const YamlNode& map, const std::vector<Field>& fields) {
    std::vector<bool> seen(fields.size());
    for (std::size_t i = 0; i < map.keys.size(); ++i) {
      const YamlNode& key = map.keys[i];
      if (!Expect(key, Kind::kScalar, "a key")) continue;
      const auto field = std::find_if(fields.begin(), fields.end(),
                                      [&key](const Field& f) { return key.text == f.key; });
      if (field == fields.end()) {
        ComplainAboutKey(key, fields);
        continue;
      }
      const auto index = static_cast<std::size_t>(field - fields.begin());
      if (seen[index]) {
        problems_.Add(key.place, fmt::format("the key \"{}\" is given twice", key.text));
        continue;
      }
      seen[index] = true;
      field->read(map.items[i]);
    }
  }

  void ComplainAboutKey(const YamlNode& key, const std::vector<Field>& fields) {
    std::vector<std::string> known;
    known.reserve(fields.size());
    for (const Field& field : fields) known.emplace_back(field.key);
    const std::string closest = ClosestMatch(key.text, known);
    problems_.Add(key.place,
                  closest.empty()
                      ? fmt::format("unknown key \"{}\"; known: {}", key.text, Join(known))
                      : fmt::format("unknown key \"{}\"; did you mean \"{}\"?", key.text, closest));
  }

  static std::string Join(const std::vector<std::string>& words) {
    std::string joined;
    for (const std::string& word : words) joined += (joined.empty() ? "" : ", ") + word;
    return joined;
  }

  // Calls `read` for each item of a list; an empty value is an empty list.
  void ReadList(const YamlNode& node, const char* what,
                const std::function<void(const YamlNode&)>& read) {
    if (node.kind == Kind::kNull || !Expect(node, Kind::kSequence, what)) return;
    for (const YamlNode& item : node.items) read(item);
  }

  template <class Number>
  void ReadNumber(const YamlNode& node, const char* what, std::optional<Number>& result) {
    constexpr std::uint64_t kLimit = std::numeric_limits<Number>::max();
    if (!Expect(node, Kind::kScalar, what)) return;
    const auto number = ParseNumber(node.text, kLimit);
    if (!number) {
      problems_.Add(node.place, fmt::format("{} must be a number from 0 to {}, not \"{}\"", what,
                                            kLimit, node.text));
      return;
    }
    result = static_cast<Number>(*number);
  }

  bool ReadName(const YamlNode& node, const char* what, NamePlace& result) {
    result.place = node.place;
    if (node.kind == Kind::kNull) {
      problems_.Add(node.place, fmt::format("{} is missing; put it in quotes if it is \"null\" or "
                                            "\"~\"",
                                            what));
      return false;
    }
    if (!Expect(node, Kind::kScalar, what)) return false;
    NameBytes name = BytesFromName(node.text);
    if (!name.reason.empty()) {
      problems_.Add(node.place, fmt::format("{} {}", what, name.reason));
      return false;
    }
    result.name = std::move(name.bytes);
    return true;
  }

  void ReadNetwork(const YamlNode& node, Description& result) {
    std::optional<std::uint32_t> number;
    ReadNumber(node, "the network number", number);
    result.network = number.value_or(0);
    result.network_place = node.place;
  }

  void ReadPreferences(const YamlNode& node, PreferencesDescription& result) {
    if (node.kind == Kind::kNull || !Expect(node, Kind::kMap, "preferences")) return;
    ReadMap(node,
            {{"byte_12", [&](const YamlNode& n) { ReadNumber(n, "byte_12", result.byte_12); }},
             {"node_settings",
              [&](const YamlNode& n) { ReadNumber(n, "node_settings", result.node_settings); }},
             {"value_14", [&](const YamlNode& n) { ReadNumber(n, "value_14", result.value_14); }},
             {"byte_18", [&](const YamlNode& n) { ReadNumber(n, "byte_18", result.byte_18); }},
             {"byte_19", [&](const YamlNode& n) { ReadNumber(n, "byte_19", result.byte_19); }},
             {"value_20", [&](const YamlNode& n) { ReadNumber(n, "value_20", result.value_20); }}});
  }

  void ReadServers(const YamlNode& node, std::vector<ServerDescription>& result) {
    ReadList(node, "servers", [&](const YamlNode& item) {
      ServerDescription& server = result.emplace_back();
      server.place = item.place;
      if (item.kind == Kind::kScalar) {
        if (ReadName(item, "the server's name", server)) CheckUnique(server, "server", servers_);
        return;
      }
      if (Expect(item, Kind::kMap, "a server")) ReadServer(item, server);
    });
  }

  void ReadServer(const YamlNode& map, ServerDescription& server) {
    std::vector<Field> fields = NodeFields(server, "server", servers_);
    fields.push_back({"value", [&](const YamlNode& n) {
                        server.value_place = n.place;
                        ReadNumber(n, "the value", server.value);
                      }});
    fields.push_back({"links", [&](const YamlNode& n) { ReadLinks(n, server.links); }});
    fields.push_back({"aps", [&](const YamlNode& n) { ReadAps(n, server.aps); }});
    ReadMap(map, fields);
    CheckNamed(map, "server");
    for (const NamePlace& link : server.links) CheckEnds(server, link);
  }

  void ReadAps(const YamlNode& node, std::vector<ApDescription>& result) {
    ReadList(node, "aps", [&](const YamlNode& item) {
      ApDescription& ap = result.emplace_back();
      ap.place = item.place;
      if (item.kind == Kind::kScalar) {
        if (ReadName(item, "the AP's name", ap)) CheckUnique(ap, "AP", aps_);
      } else if (Expect(item, Kind::kMap, "an AP")) {
        ReadMap(item, NodeFields(ap, "AP", aps_));
        CheckNamed(item, "AP");
      }
    });
  }

  using Seen = std::unordered_map<std::string, int>;  // folded name, line

  std::vector<Field> NodeFields(ApDescription& node, const char* kind, Seen& seen) {
    return {{"name",
             [this, &node, kind, &seen](const YamlNode& n) {
               if (ReadName(n, "the name", node)) CheckUnique(node, kind, seen);
             }},
            {"applications",
             [this, &node](const YamlNode& n) { ReadApplications(n, node.applications); }},
            {"settings",
             [this, &node](const YamlNode& n) { ReadNumber(n, "the settings", node.settings); }}};
  }

  void CheckNamed(const YamlNode& map, const char* kind) {
    const auto is_name = [](const YamlNode& key) { return key.text == "name"; };
    if (std::none_of(map.keys.begin(), map.keys.end(), is_name)) {
      problems_.Add(map.place, fmt::format("the {} has no name", kind));
    }
  }

  void CheckUnique(const NamePlace& node, const char* kind, Seen& seen) {
    const auto [first, added] = seen.emplace(FoldName(node.name), node.place.line);
    if (added) return;
    problems_.Add(node.place, fmt::format("the {} \"{}\" stands in line {} already", kind,
                                          Utf8FromBytes(node.name), first->second));
  }

  void CheckEnds(const NamePlace& server, const NamePlace& link) {
    if (server.name.empty() || FoldName(server.name) != FoldName(link.name)) return;
    problems_.Add(link.place,
                  fmt::format("the server \"{}\" is linked to itself", Utf8FromBytes(server.name)));
  }

  void ReadLinks(const YamlNode& node, std::vector<NamePlace>& links) {
    ReadList(node, "links", [&](const YamlNode& item) {
      NamePlace link;
      if (ReadName(item, "the linked server's name", link)) links.push_back(std::move(link));
    });
  }

  void ReadPairs(const YamlNode& node, std::vector<std::pair<NamePlace, NamePlace>>& links) {
    ReadList(node, "links", [&](const YamlNode& item) {
      std::vector<NamePlace> ends;
      if (!Expect(item, Kind::kSequence, "a link")) return;
      ReadLinks(item, ends);
      if (item.items.size() != 2) {
        problems_.Add(item.place, "a link names two servers: [ONE, OTHER]");
      } else if (ends.size() == 2) {
        CheckEnds(ends[0], ends[1]);
        links.emplace_back(std::move(ends[0]), std::move(ends[1]));
      }
    });
  }

  void ReadApplications(const YamlNode& node, std::optional<std::uint32_t>& result) {
    std::uint32_t mask = 0;
    const auto add = [&](const YamlNode& item) {
      if (!Expect(item, Kind::kScalar, "an application")) return;
      const auto bits = applications_.Parse(item.text);
      if (!bits) problems_.Add(item.place, applications_.Complain(item.text));
      mask |= bits.value_or(0);
    };
    if (node.kind == Kind::kScalar) {
      add(node);
    } else {
      ReadList(node, "applications", add);
    }
    result = mask;
  }

  const Applications& applications_;
  ProblemList& problems_;
  Seen servers_;
  Seen aps_;
};

}  // namespace

Description ReadDescription(std::string_view text, const Applications& applications,
                            ProblemList& problems) {
  const YamlNode root = ReadYaml(text, problems);
  if (!problems.Empty()) return {};
  return Reader(applications, problems).Read(root);
}

}  // namespace ncc::tool
