#include <algorithm>
#include <array>

#include <fmt/format.h>
#include <yaml-cpp/emitter.h>
#include <yaml-cpp/emittermanip.h>

#include "description.h"
#include "text.h"

namespace ncc::tool {
namespace {

// Plain is what every reader of YAML takes for text: it begins with a letter, holds nothing with a
// meaning and is not a word for a truth value or for nothing.
bool IsPlain(const std::string& utf8) {
  static constexpr std::array<std::string_view, 9> kWords = {"true", "false", "yes", "no", "on",
                                                             "off",  "null",  "y",   "n"};
  const std::string folded = FoldName(utf8);
  if (std::find(kWords.begin(), kWords.end(), folded) != kWords.end()) return false;
  const auto is_letter = [](char c) {
    return (c >= 'a' && c <= 'z') || (static_cast<unsigned char>(c) & 0x80U) != 0;
  };
  const auto is_plain = [&](char c) {
    return is_letter(c) || (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.' || c == ' ';
  };
  // U+00A0 and the like, which look like blanks, begin with C2; Cyrillic letters never do.
  return is_letter(folded.front()) && folded.back() != ' ' &&
         folded.find('\xC2') == std::string::npos && folded.find("  ") == std::string::npos &&
         std::all_of(folded.begin(), folded.end(), is_plain);
}

class Writer {
 public:
  Writer(const Applications& applications, const std::function<void()>& after_each)
      : applications_(applications), after_each_(after_each) {
    out_.SetOutputCharset(YAML::EmitNonAscii);
  }

  std::string Write(const Description& description) {
    out_ << YAML::BeginMap << YAML::Key << "network" << YAML::Value
         << fmt::format("0x{:04X}", description.network);
    WritePreferences(description.preferences);
    WriteList("servers", description.servers);
    WritePairs("links", description.links);
    WriteList("groups", description.groups);
    WritePairs("group_nodes", description.group_nodes);
    WritePairs("group_deps", description.group_deps);
    WriteList("deps", description.deps);
    WritePairs("dep_links", description.dep_links);
    WriteList("users", description.users);
    out_ << YAML::EndMap;
    return std::string(out_.c_str(), out_.size()) + "\n";
  }

 private:
  template <class Number>
  void WriteField(const char* key, const std::optional<Number>& number) {
    if (number) out_ << YAML::Key << key << YAML::Value << std::uint64_t{*number};
  }

  void WriteName(const std::string& bytes) {
    const std::string utf8 = Utf8FromBytes(bytes);
    if (!IsPlain(utf8)) out_ << YAML::DoubleQuoted;
    out_ << utf8;
  }

  void WritePreferences(const PreferencesDescription& preferences) {
    out_ << YAML::Key << "preferences" << YAML::Value << YAML::Flow << YAML::BeginMap;
    WriteField("byte_12", preferences.byte_12);
    WriteField("node_settings", preferences.node_settings);
    WriteField("value_14", preferences.value_14);
    WriteField("byte_18", preferences.byte_18);
    WriteField("byte_19", preferences.byte_19);
    WriteField("value_20", preferences.value_20);
    out_ << YAML::EndMap;
  }

  // The keys that servers and APs share.
  void WriteNode(const ApDescription& node) {
    out_ << YAML::Key << "name" << YAML::Value;
    WriteName(node.name);
    if (node.applications) {
      out_ << YAML::Key << "applications" << YAML::Value << YAML::Flow << YAML::BeginSeq;
      for (const std::string& name : applications_.Describe(*node.applications)) out_ << name;
      out_ << YAML::EndSeq;
    }
    WriteField("settings", node.settings);
  }

  template <class Items>
  void WriteList(const char* key, const Items& items) {
    if (items.empty()) return;
    out_ << YAML::Key << key << YAML::Value << YAML::BeginSeq;
    for (const auto& item : items) WriteOne(item);
    out_ << YAML::EndSeq;
  }

  // On one line while that is readable.
  template <class Names>
  void WriteNames(const char* key, const Names& names) {
    constexpr std::size_t kOneLine = 8;
    if (names.empty()) return;
    out_ << YAML::Key << key << YAML::Value;
    if (names.size() <= kOneLine) out_ << YAML::Flow;
    out_ << YAML::BeginSeq;
    for (const auto& name : names) WriteReference(name);
    out_ << YAML::EndSeq;
  }

  void WriteReference(const NamePlace& name) { WriteName(name.name); }

  void WriteReference(const NodeName& node) {
    if (node.sort == NodeName::Sort::kAny) return WriteName(node.name);
    out_ << YAML::Flow << YAML::BeginMap << YAML::Key
         << (node.sort == NodeName::Sort::kServer ? "server" : "ap") << YAML::Value;
    WriteName(node.name);
    out_ << YAML::EndMap;
  }

  template <class Name>
  void WriteNamed(const char* key, const Name& name) {
    if (name.name.empty()) return;
    out_ << YAML::Key << key << YAML::Value;
    WriteReference(name);
  }

  void WriteOne(const ServerDescription& server) {
    after_each_();
    out_ << YAML::BeginMap;
    WriteNode(server);
    WriteField("value", server.value);
    WriteNames("links", server.links);
    WriteList("aps", server.aps);
    out_ << YAML::EndMap;
  }

  void WriteOne(const GroupDescription& group) {
    after_each_();
    if (group.nodes.empty() && group.deps.empty()) return WriteName(group.name);
    out_ << YAML::BeginMap;
    WriteNamed("name", group);
    WriteNames("nodes", group.nodes);
    WriteNames("deps", group.deps);
    out_ << YAML::EndMap;
  }

  void WriteOne(const DepDescription& dep) {
    after_each_();
    if (dep.links.empty() && dep.users.empty() && !dep.group) return WriteName(dep.name);
    out_ << YAML::BeginMap;
    WriteNamed("name", dep);
    WriteNames("links", dep.links);
    WriteNames("users", dep.users);
    if (dep.group && dep.group->name.empty()) {
      out_ << YAML::Key << "group" << YAML::Value << YAML::Null;
    } else if (dep.group) {
      WriteNamed("group", *dep.group);
    }
    out_ << YAML::EndMap;
  }

  void WriteOne(const UserDescription& user) {
    after_each_();
    if (user.deps.empty() && user.memberships.empty() && !user.primary) {
      return WriteName(user.name);
    }
    out_ << YAML::BeginMap;
    WriteNamed("name", user);
    WriteNames("deps", user.deps);
    WriteList("memberships", user.memberships);
    if (user.primary) {
      out_ << YAML::Key << "primary" << YAML::Value << YAML::Flow << YAML::BeginMap;
      WriteNamed("dep", user.primary->dep);
      WriteNamed("node", user.primary->node);
      out_ << YAML::EndMap;
    }
    out_ << YAML::EndMap;
  }

  void WriteOne(const MembershipDescription& membership) {
    out_ << YAML::Flow << YAML::BeginMap;
    WriteNamed("dep", membership.dep);
    WriteNamed("node", membership.node);
    if (membership.kind != 0) {
      out_ << YAML::Key << "kind" << YAML::Value << unsigned{membership.kind};
    }
    out_ << YAML::EndMap;
  }

  void WriteOne(const ApDescription& ap) {
    after_each_();
    if (!ap.applications && !ap.settings) return WriteName(ap.name);
    out_ << YAML::Flow << YAML::BeginMap;
    WriteNode(ap);
    out_ << YAML::EndMap;
  }

  template <class Pairs>
  void WritePairs(const char* key, const Pairs& pairs) {
    if (pairs.empty()) return;
    out_ << YAML::Key << key << YAML::Value << YAML::BeginSeq;
    for (const auto& [one, other] : pairs) {
      out_ << YAML::Flow << YAML::BeginSeq;
      WriteReference(one);
      WriteReference(other);
      out_ << YAML::EndSeq;
    }
    out_ << YAML::EndSeq;
  }

  const Applications& applications_;
  const std::function<void()>& after_each_;
  YAML::Emitter out_;
};

}  // namespace

std::string WriteDescription(const Description& description, const Applications& applications,
                             const std::function<void()>& after_each) {
  return Writer(applications, after_each).Write(description);
}

}  // namespace ncc::tool
