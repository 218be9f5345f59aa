// What the readers of the parts of a description share: values with their places, and complaints.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "console/text.h"
#include "description/description.h"

namespace ncc::tool {

// What to do with the value of one key.
struct Field {
  const char* key;
  std::function<void(const YamlNode&)> read;
};

class FieldReader {
 public:
  explicit FieldReader(ProblemList& problems) : problems_(problems) {}

  bool Expect(const YamlNode& node, YamlNode::Kind kind, std::string_view what);
  void ReadMap(const YamlNode& map, const std::vector<Field>& fields);

  // Calls `read` for each item of a list; an empty value is an empty list.
  void ReadList(const YamlNode& node, const char* what,
                const std::function<void(const YamlNode&)>& read);

  // An object that may be written as its name alone or, with more, as a mapping of `fields`.
  void ReadObject(const YamlNode& node, const char* what, ObjectDescription& object,
                  std::vector<Field> fields);
  // The field of one whose kind has ordinals.
  Field NumberField(ObjectDescription& object);

  bool ReadName(const YamlNode& node, const std::string& what, NamePlace& result);
  // A name, or {id: NUMBER}, of an object that stands elsewhere.
  bool ReadReference(const YamlNode& node, const std::string& what, NamePlace& result);
  bool ReadNodeName(const YamlNode& node, NodeName& result);
  void ReadNames(const YamlNode& node, const char* list, const char* what,
                 std::vector<NamePlace>& names);

  template <class Number>
  void ReadNumber(const YamlNode& node, const char* what, std::optional<Number>& result) {
    constexpr std::uint64_t kLimit = std::numeric_limits<Number>::max();
    if (!Expect(node, YamlNode::Kind::kScalar, what)) return;
    const auto number = ParseNumber(node.text, kLimit);
    if (number) {
      result = static_cast<Number>(*number);
    } else {
      Complain(node.place, fmt::format("{} must be a number from 0 to {}, not \"{}\"", what, kLimit,
                                       node.text));
    }
  }

  void Complain(Place place, std::string what) { problems_.Add(place, std::move(what)); }

 private:
  void ComplainAboutKey(const YamlNode& key, const std::vector<Field>& fields);
  void ReadNotes(const YamlNode& node, std::optional<Notes>& notes);
  std::optional<std::string> ReadNote(const std::string& key, const YamlNode& node);
  bool ReadId(const YamlNode& node, std::optional<std::uint32_t>& id);
  void CheckUnique(const ObjectDescription& object, const char* what);

  ProblemList& problems_;
  struct Seen {
    int line;
    bool with_id;
  };
  // Per kind of object: where a folded name stood first.
  std::unordered_map<std::string_view, std::unordered_map<std::string, Seen>> seen_;
  std::unordered_map<std::uint32_t, int> lines_of_ids_;
};

// The parts that are about node groups, Deps and users, as fields of the document.
std::vector<Field> PopulationFields(FieldReader& reader, Description& result);

}  // namespace ncc::tool
