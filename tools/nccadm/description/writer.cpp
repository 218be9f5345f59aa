#include <algorithm>

#include <fmt/format.h>

#include "console/text.h"
#include "description/description.h"
#include "description/yaml_writer.h"

namespace ncc::tool {
namespace {

using Form = YamlWriter::Form;

class Writer {
 public:
  Writer(const Applications& applications, const std::function<void()>& after_each)
      : applications_(applications), after_each_(after_each) {}

  std::string Write(const Description& description) {
    out_.BeginMap();
    out_.Key("network");
    out_.Word(fmt::format("0x{:04X}", description.network));
    WritePreferences(description.preferences);
    WriteList("servers", description.servers);
    WritePairs("links", description.links);
    WriteList("groups", description.groups);
    WritePairs("group_nodes", description.group_nodes);
    WritePairs("group_deps", description.group_deps);
    WriteList("deps", description.deps);
    WritePairs("dep_links", description.dep_links);
    WriteList("users", description.users);
    out_.End();
    return out_.Finish();
  }

 private:
  template <class Number>
  void WriteField(const char* key, const std::optional<Number>& number) {
    if (!number) return;
    out_.Key(key);
    out_.Word(std::to_string(*number));
  }

  void WriteName(const std::string& bytes) { out_.Text(Utf8FromBytes(bytes)); }

  void WritePreferences(const PreferencesDescription& preferences) {
    out_.Key("preferences");
    out_.BeginMap(Form::kFlow);
    VisitPreferences([this](const char* key, const auto& value) { WriteField(key, value); },
                     preferences);
    VisitCounters([this](const char* key, const auto& value) { WriteField(key, value); },
                  preferences);
    out_.End();
  }

  void WriteHead(const ObjectDescription& object) {
    out_.Key("name");
    WriteName(object.name);
    WriteField("id", object.id);
    WriteField("number", object.number);
    if (object.notes) WriteNotes(*object.notes);
  }

  void WriteNotes(const Notes& notes) {
    out_.Key("notes");
    out_.BeginMap(Form::kFlow);
    for (const auto& [key, value] : notes) {
      out_.TextKey(key);
      if (key == "tags") {
        WriteTags(value);
      } else {
        out_.Text(value);
      }
    }
    out_.End();
  }

  void WriteTags(std::string_view tags) {
    out_.BeginSequence(Form::kFlow);
    while (!tags.empty()) {
      const std::string_view tag = tags.substr(0, tags.find(','));
      out_.Text(tag);
      tags.remove_prefix(std::min(tag.size() + 1, tags.size()));
    }
    out_.End();
  }

  // One without anything else.
  void WriteBare(const ObjectDescription& object) {
    if (!object.id && !object.notes) return WriteName(object.name);
    out_.BeginMap(Form::kFlow);
    WriteHead(object);
    out_.End();
  }

  // The keys that servers and APs share.
  void WriteNode(const ApDescription& node) {
    WriteHead(node);
    if (node.applications) {
      out_.Key("applications");
      out_.BeginSequence(Form::kFlow);
      for (const std::string& name : applications_.NamesOf(*node.applications)) out_.Word(name);
      out_.End();
    }
    WriteField("settings", node.settings);
  }

  template <class Items>
  void WriteList(const char* key, const Items& items) {
    if (items.empty()) return;
    out_.Key(key);
    out_.BeginSequence();
    for (const auto& item : items) WriteOne(item);
    out_.End();
  }

  // On one line while that is readable.
  template <class Names>
  void WriteNames(const char* key, const Names& names) {
    constexpr std::size_t kOneLine = 8;
    if (names.empty()) return;
    out_.Key(key);
    out_.BeginSequence(names.size() <= kOneLine ? Form::kFlow : Form::kBlock);
    for (const auto& name : names) WriteReference(name);
    out_.End();
  }

  void WriteReference(const NamePlace& name) {
    if (!name.id) return WriteName(name.name);
    out_.BeginMap(Form::kFlow);
    WriteField("id", name.id);
    out_.End();
  }

  void WriteReference(const NodeName& node) {
    if (node.sort == NodeName::Sort::kAny) {
      return WriteReference(static_cast<const NamePlace&>(node));
    }
    out_.BeginMap(Form::kFlow);
    out_.Key(node.sort == NodeName::Sort::kServer ? "server" : "ap");
    WriteName(node.name);
    out_.End();
  }

  template <class Name>
  void WriteNamed(const char* key, const Name& name) {
    if (name.IsNone()) return;
    out_.Key(key);
    WriteReference(name);
  }

  void WriteOne(const ServerDescription& server) {
    after_each_();
    out_.BeginMap();
    WriteNode(server);
    WriteField("value", server.value);
    WriteNames("links", server.links);
    WriteList("aps", server.aps);
    out_.End();
  }

  void WriteOne(const GroupDescription& group) {
    after_each_();
    if (group.nodes.empty() && group.deps.empty()) return WriteBare(group);
    out_.BeginMap();
    WriteHead(group);
    WriteNames("nodes", group.nodes);
    WriteNames("deps", group.deps);
    out_.End();
  }

  void WriteOne(const DepDescription& dep) {
    after_each_();
    if (dep.links.empty() && dep.users.empty() && !dep.group) return WriteBare(dep);
    out_.BeginMap();
    WriteHead(dep);
    WriteNames("links", dep.links);
    WriteNames("users", dep.users);
    if (dep.group && dep.group->IsNone()) {
      out_.Key("group");
      out_.Word("~");
    } else if (dep.group) {
      WriteNamed("group", *dep.group);
    }
    out_.End();
  }

  void WriteOne(const UserDescription& user) {
    after_each_();
    if (user.deps.empty() && user.memberships.empty() && !user.primary) {
      return WriteBare(user);
    }
    out_.BeginMap();
    WriteHead(user);
    WriteNames("deps", user.deps);
    WriteList("memberships", user.memberships);
    if (user.primary) {
      out_.Key("primary");
      out_.BeginMap(Form::kFlow);
      WriteNamed("dep", user.primary->dep);
      WriteNamed("node", user.primary->node);
      out_.End();
    }
    out_.End();
  }

  void WriteOne(const MembershipDescription& membership) {
    out_.BeginMap(Form::kFlow);
    WriteNamed("dep", membership.dep);
    WriteNamed("node", membership.node);
    if (membership.kind != 0) {
      out_.Key("kind");
      out_.Word(std::to_string(membership.kind));
    }
    out_.End();
  }

  void WriteOne(const ApDescription& ap) {
    after_each_();
    if (!ap.applications && !ap.settings) return WriteBare(ap);
    out_.BeginMap(Form::kFlow);
    WriteNode(ap);
    out_.End();
  }

  template <class Pairs>
  void WritePairs(const char* key, const Pairs& pairs) {
    if (pairs.empty()) return;
    out_.Key(key);
    out_.BeginSequence();
    for (const auto& [one, other] : pairs) {
      out_.BeginSequence(Form::kFlow);
      WriteReference(one);
      WriteReference(other);
      out_.End();
    }
    out_.End();
  }

  const Applications& applications_;
  const std::function<void()>& after_each_;
  YamlWriter out_;
};

}  // namespace

std::string WriteDescription(const Description& description, const Applications& applications,
                             const std::function<void()>& after_each) {
  return Writer(applications, after_each).Write(description);
}

}  // namespace ncc::tool
