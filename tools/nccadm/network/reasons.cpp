#include "network/reasons.h"

#include <algorithm>
#include <string_view>

#include <fmt/format.h>

#include "console/text.h"

namespace ncc::tool {
namespace {

constexpr std::string_view kKeys[] = {"file-of",     "flags",       "role",          "server-of-ap",
                                      "server-link", "value",       "node-in-group", "dep-in-group",
                                      "dep-link",    "user-in-dep", "membership",    "primary",
                                      "stamp-of",    "always"};

// What a shell takes as one word as it stands.
bool IsPlain(std::string_view text) {
  return std::ranges::all_of(text, [](char c) {
    const bool is_letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    return is_letter || (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.' ||
           static_cast<unsigned char>(c) >= 0x80;
  });
}

}  // namespace

ReasonWriter::ReasonWriter(Session& session) : session_(session), view_(session.Shown()) {}

std::string ReasonWriter::NameOf(std::uint32_t id) {
  const auto object = view_.AnyById(id);
  if (!object) return fmt::format("id:{} (does not exist)", id);
  return fmt::format("{} {} (id:{})", WordOf(object->kind), Quoted(*object), id);
}

std::string ReasonWriter::FlagsText(std::uint32_t mask) {
  const std::string name = session_.Apps().TextOf(mask);
  const std::string number = fmt::format("0x{:04X}", mask);
  return name.starts_with("0x") ? number : fmt::format("{} ({})", number, name);
}

std::string ReasonWriter::TextOf(const CReason& fact) {
  const auto the = [&](std::uint32_t id) { return "the " + NameOf(id); };
  const auto tie = [&](const char* words) {
    return fmt::format("{} {} {}", the(fact.object), words, the(fact.other));
  };
  switch (fact.kind) {
    case CReason::kFileOf:
      return fmt::format("it is the file of {}", the(fact.object));
    case CReason::kFlags:
      return fmt::format("{} has the flag {}", the(fact.object), FlagsText(fact.mask));
    case CReason::kRole:
      if (fact.object == 0) return fmt::format("no AP has the flag {}", FlagsText(fact.mask));
      return fmt::format("{} is the first AP with the flag {}", the(fact.object),
                         FlagsText(fact.mask));
    case CReason::kServerOfAP:
      return tie("is at");
    case CReason::kServerLink:
    case CReason::kDepLink:
      return tie("is linked to");
    case CReason::kValue: {
      const auto server = view_.ById(Kind::kServer, fact.object);
      return fmt::format("{} has the value {}", the(fact.object), server ? server->value : 0);
    }
    case CReason::kNodeInGroup:
    case CReason::kDepInGroup:
    case CReason::kUserInDep:
      return tie("is in");
    case CReason::kMembership:
      return fmt::format("{} at {}", tie("is a member of"), the(fact.node));
    case CReason::kPrimary:
      return fmt::format("that is the primary collective of {}", the(fact.object));
    case CReason::kStampOf:
      return fact.file.empty() ? std::string("it is the stamp of the lines before it")
                               : fmt::format("it is the stamp of the file {}", fact.file);
    case CReason::kAlways:
      break;
  }
  return "every such file has it";
}

std::string ReasonWriter::TextOfMissing(const CReason& fact) {
  const auto the = [&](std::uint32_t id) { return "the " + NameOf(id); };
  const auto tie = [&](const char* words) {
    return fmt::format("{} {} {}", the(fact.object), words, the(fact.other));
  };
  switch (fact.kind) {
    case CReason::kFlags:
      return fmt::format("the flag {} of {} is not set", FlagsText(fact.mask), the(fact.object));
    case CReason::kNodeInGroup:
    case CReason::kDepInGroup:
      if (fact.object == 0) return fmt::format("{} holds no Dep", the(fact.other));
      if (fact.other == 0) return fmt::format("{} is in no node group", the(fact.object));
      return tie("is not in");
    case CReason::kUserInDep:
      if (fact.other == 0) return fmt::format("{} is in no Dep", the(fact.object));
      return tie("is not in");
    case CReason::kDepLink:
      return tie("is not linked to");
    case CReason::kMembership:
      return fmt::format("{} at {}", tie("is no member of"), the(fact.node));
    default:
      return fmt::format("it is not so that {}", TextOf(fact));
  }
}

std::string ReasonWriter::Argument(std::uint32_t id) {
  const auto object = view_.AnyById(id);
  std::string by_id = fmt::format("id:{}", id);
  if (!object) return by_id;
  const std::string name = Utf8FromBytes(object->name);
  if (name.starts_with('-') || name.starts_with("id:") || name.starts_with("name:") ||
      name.find('\'') != std::string::npos || IsBlank(object->name) || Printable(name) != name)
    return by_id;
  const auto all = object->IsNode() ? view_.ServersAndAps() : view_.All(object->kind);
  const auto is_same = [&](const Object& one) {
    return FoldName(one.name) == FoldName(object->name);
  };
  if (std::ranges::count_if(all, is_same) != 1) return by_id;
  return IsPlain(name) ? name : fmt::format("'{}'", name);
}

std::string ReasonWriter::CommandFor(const CReason& fact) {
  const auto command = [&](const char* words, std::uint32_t one, std::uint32_t other) {
    return fmt::format("nccadm {} {} {}", words, Argument(one), Argument(other));
  };
  switch (fact.kind) {
    case CReason::kFlags:
      return fmt::format("nccadm app set {} --add {}", Argument(fact.object),
                         session_.Apps().TextOf(fact.mask));
    case CReason::kServerLink:
      return command("server link", fact.object, fact.other);
    case CReason::kNodeInGroup:
      return command("group add-node", fact.other, fact.object);
    case CReason::kDepInGroup:
      return command("group add-dep", fact.other, fact.object);
    case CReason::kDepLink:
      return command("dep link", fact.object, fact.other);
    case CReason::kUserInDep:
      return command("user join", fact.object, fact.other);
    case CReason::kMembership:
      return fmt::format("{} --add {}", command("user memberships", fact.object, fact.other),
                         Argument(fact.node));
    default:
      return {};
  }
}

Json ReasonWriter::JsonOfObject(std::uint32_t id) {
  const auto object = view_.AnyById(id);
  return {{"kind", object ? Json(KeyOf(object->kind)) : Json()},
          {"id", id},
          {"name", object ? Json(Utf8FromBytes(object->name)) : Json()}};
}

Json ReasonWriter::JsonOf(const CReason& fact, const std::string& text) {
  Json json = {{"fact", kKeys[fact.kind]}, {"text", text}};
  Json objects = Json::array();
  for (const std::uint32_t id : {fact.object, fact.other, fact.node}) {
    if (id != 0) objects.push_back(JsonOfObject(id));
  }
  json["objects"] = std::move(objects);
  if (fact.mask != 0) json["mask"] = fact.mask;
  if (!fact.file.empty()) json["file"] = fact.file;
  return json;
}

Json ReasonWriter::JsonOf(const Reasons& facts) {
  Json list = Json::array();
  for (const CReason& fact : facts) list.push_back(JsonOf(fact, TextOf(fact)));
  return list;
}

Json ReasonWriter::JsonOfMissing(const Reasons& facts) {
  Json list = Json::array();
  for (const CReason& fact : facts) list.push_back(JsonOf(fact, TextOfMissing(fact)));
  return list;
}

std::vector<std::uint32_t> ObjectsOf(const Reasons& facts) {
  std::vector<std::uint32_t> objects;
  for (const CReason& fact : facts) {
    for (const std::uint32_t id : {fact.object, fact.other, fact.node}) {
      if (id != 0 && std::ranges::find(objects, id) == objects.end()) objects.push_back(id);
    }
  }
  return objects;
}

}  // namespace ncc::tool
