#include "description/fields.h"

#include <algorithm>

#include <fmt/ranges.h>

#include "console/nearest.h"
#include "nccnet/identity.h"
#include "nccnet/notes.h"

namespace ncc::tool {
namespace {

using Form = YamlNode::Kind;

const char* WordFor(Form kind) {
  switch (kind) {
    case Form::kNull:
      return "nothing";
    case Form::kScalar:
      return "a single value";
    case Form::kSequence:
      return "a list";
    case Form::kMap:
      return "a mapping";
  }
  return "";
}

}  // namespace

bool FieldReader::Expect(const YamlNode& node, Form kind, std::string_view what) {
  if (node.kind == kind) return true;
  Complain(node.place,
           fmt::format("{} must be {}, not {}", what, WordFor(kind), WordFor(node.kind)));
  return false;
}

void FieldReader::ReadMap(const YamlNode& map, const std::vector<Field>& fields) {
  std::vector<bool> seen(fields.size());
  for (std::size_t i = 0; i < map.keys.size(); ++i) {
    const YamlNode& key = map.keys[i];
    if (!Expect(key, Form::kScalar, "a key")) continue;
    const auto field = std::find_if(fields.begin(), fields.end(),
                                    [&key](const Field& f) { return key.text == f.key; });
    if (field == fields.end()) {
      ComplainAboutKey(key, fields);
      continue;
    }
    const auto index = static_cast<std::size_t>(field - fields.begin());
    if (seen[index]) {
      Complain(key.place, fmt::format("the key \"{}\" is given twice", key.text));
      continue;
    }
    seen[index] = true;
    field->read(map.items[i]);
  }
}

void FieldReader::ComplainAboutKey(const YamlNode& key, const std::vector<Field>& fields) {
  std::vector<std::string> known;
  known.reserve(fields.size());
  for (const Field& field : fields) known.emplace_back(field.key);
  const std::string closest = ClosestMatch(key.text, known);
  Complain(key.place,
           closest.empty()
               ? fmt::format("unknown key \"{}\"; known: {}", key.text, fmt::join(known, ", "))
               : fmt::format("unknown key \"{}\"; did you mean \"{}\"?", key.text, closest));
}

void FieldReader::ReadList(const YamlNode& node, const char* what,
                           const std::function<void(const YamlNode&)>& read) {
  if (node.kind == Form::kNull || !Expect(node, Form::kSequence, what)) return;
  for (const YamlNode& item : node.items) read(item);
}

void FieldReader::ReadObject(const YamlNode& node, const char* what, ObjectDescription& object,
                             std::vector<Field> fields) {
  object.place = node.place;
  if (node.kind == Form::kScalar) {
    if (ReadName(node, fmt::format("the {}'s name", what), object)) CheckUnique(object, what);
    return;
  }
  if (!Expect(node, Form::kMap, fmt::format("{} {}", *what == 'A' ? "an" : "a", what))) return;
  bool has_name = false;
  bool is_named = false;
  const auto name = [&](const YamlNode& n) {
    has_name = true;
    is_named = ReadName(n, "the name", object);
  };
  const auto id = [&](const YamlNode& n) {
    object.id_place = n.place;
    ReadId(n, object.id);
  };
  const auto notes = [&](const YamlNode& n) { ReadNotes(n, object.notes); };
  fields.insert(fields.begin(), {{"name", name}, {"id", id}});
  fields.push_back({"notes", notes});
  ReadMap(node, fields);
  if (!has_name) Complain(node.place, fmt::format("the {} has no name", what));
  if (is_named) CheckUnique(object, what);
  if (object.number && object.id_place.line == 0) {
    Complain(object.number_place, "a number is only given beside an id");
  }
}

void FieldReader::ReadNotes(const YamlNode& node, std::optional<Notes>& notes) {
  notes.emplace();
  if (!Expect(node, Form::kMap, "notes")) return;
  for (std::size_t i = 0; i < node.keys.size(); ++i) {
    const YamlNode& key = node.keys[i];
    if (!Expect(key, Form::kScalar, "the key of a note")) continue;
    const auto value = ReadNote(key.text, node.items[i]);
    if (value && !notes->emplace(key.text, *value).second) {
      Complain(key.place, fmt::format("the note \"{}\" is given twice", key.text));
    }
  }
  if (notes->size() > kMaxNotes) {
    Complain(node.place, fmt::format("an object has at most {} notes", kMaxNotes));
  }
}

// Tags may be a list.
std::optional<std::string> FieldReader::ReadNote(const std::string& key, const YamlNode& node) {
  std::string value = node.text;
  if (key == "tags" && node.kind == Form::kSequence) {
    for (const YamlNode& tag : node.items) {
      if (!Expect(tag, Form::kScalar, "a tag")) return std::nullopt;
      value.append(value.empty() ? "" : ",").append(tag.text);
    }
  } else if (!Expect(node, Form::kScalar, fmt::format("the note \"{}\"", key))) {
    return std::nullopt;
  }
  const std::string fault = FaultOfNote(key, value);
  if (fault.empty()) return value;
  Complain(node.place, fault);
  return std::nullopt;
}

Field FieldReader::NumberField(ObjectDescription& object) {
  return {"number", [this, &object](const YamlNode& node) {
            object.number_place = node.place;
            ReadNumber(node, "the number", object.number);
          }};
}

bool FieldReader::ReadId(const YamlNode& node, std::optional<std::uint32_t>& id) {
  if (!Expect(node, Form::kScalar, "the id")) return false;
  const auto number = ParseNumber(node.text, kMaxIdentifier);
  if (!number || *number == 0) {
    Complain(node.place, fmt::format("the id must be a number from 1 to {}, not \"{}\"",
                                     kMaxIdentifier, node.text));
    return false;
  }
  id = static_cast<std::uint32_t>(*number);
  return true;
}

// Objects that only their ids tell apart can share a name; those of servers are always unique.
void FieldReader::CheckUnique(const ObjectDescription& object, const char* what) {
  const int line = object.place.line;
  const auto [name, is_new_name] =
      seen_[what].emplace(FoldName(object.name), Seen{line, object.id.has_value()});
  const bool may_repeat = name->second.with_id && object.id && std::string_view(what) != "server";
  if (!is_new_name && !may_repeat) {
    Complain(object.place, fmt::format("the {} \"{}\" stands in line {} already", what,
                                       Utf8FromBytes(object.name), name->second.line));
  }
  if (!object.id) return;
  const auto [id, is_new_id] = lines_of_ids_.emplace(*object.id, line);
  if (is_new_id) return;
  Complain(object.id_place, fmt::format("the id {} stands in line {} already; every object has "
                                        "one of its own",
                                        *object.id, id->second));
}

bool FieldReader::ReadName(const YamlNode& node, const std::string& what, NamePlace& result) {
  result.place = node.place;
  if (node.kind == Form::kNull) {
    Complain(node.place,
             fmt::format("{} is missing; put it in quotes if it is \"null\" or \"~\"", what));
    return false;
  }
  if (!Expect(node, Form::kScalar, what)) return false;
  NameBytes name = BytesFromName(node.text);
  if (!name.reason.empty()) {
    Complain(node.place, fmt::format("{} {}", what, name.reason));
    return false;
  }
  result.name = std::move(name.bytes);
  return true;
}

bool FieldReader::ReadReference(const YamlNode& node, const std::string& what, NamePlace& result) {
  if (node.kind != Form::kMap) return ReadName(node, what, result);
  result.place = node.place;
  bool read = false;
  ReadMap(node, {{"id", [&](const YamlNode& n) { read = ReadId(n, result.id); }}});
  if (node.keys.empty()) Complain(node.place, fmt::format("{} can also be {{id: NUMBER}}", what));
  return read;
}

bool FieldReader::ReadNodeName(const YamlNode& node, NodeName& result) {
  if (node.kind != Form::kMap) return ReadName(node, "the node's name", result);
  result.place = node.place;
  bool read = false;
  const auto take = [&](const YamlNode& n, NodeName::Sort sort) {
    result.sort = sort;
    read = ReadName(n, "the node's name", result);
  };
  ReadMap(node, {{"server", [&](const YamlNode& n) { take(n, NodeName::Sort::kServer); }},
                 {"ap", [&](const YamlNode& n) { take(n, NodeName::Sort::kAp); }},
                 {"id", [&](const YamlNode& n) { read = ReadId(n, result.id); }}});
  if (node.keys.size() == 1) return read;
  Complain(node.place, "a node is its name, or {server: NAME}, {ap: NAME} or {id: NUMBER}");
  return false;
}

void FieldReader::ReadNames(const YamlNode& node, const char* list, const char* what,
                            std::vector<NamePlace>& names) {
  ReadList(node, list, [&](const YamlNode& item) {
    NamePlace name;
    if (ReadReference(item, what, name)) names.push_back(std::move(name));
  });
}

}  // namespace ncc::tool
