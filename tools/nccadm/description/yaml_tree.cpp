#include "description/yaml_tree.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <tuple>

#include <fmt/format.h>
#include <yaml.h>

#include "console/text.h"

namespace ncc::tool {
namespace {

// Ends the parse.
struct Stop {
  Place place;
  std::string what;
};

Place PlaceOf(const yaml_mark_t& mark) {
  return {static_cast<int>(mark.line) + 1, static_cast<int>(mark.column)};
}

// None, or the one that leaves the kind of a value open.
bool IsOpenTag(const yaml_char_t* tag) {
  return tag == nullptr || std::string_view(reinterpret_cast<const char*>(tag)) == "!";
}

class TreeBuilder {
 public:
  void Handle(const yaml_event_t& event) {
    const Place place = PlaceOf(event.start_mark);
    switch (event.type) {
      case YAML_DOCUMENT_START_EVENT:
        ++documents_;
        return;
      case YAML_ALIAS_EVENT:
        throw Stop{place, "aliases are not accepted here; write the value out"};
      case YAML_SCALAR_EVENT:
        return Add(ScalarOf(event, place));
      case YAML_SEQUENCE_START_EVENT:
        return Begin(Make(YamlNode::Kind::kSequence, place, event.data.sequence_start));
      case YAML_MAPPING_START_EVENT:
        return Begin(Make(YamlNode::Kind::kMap, place, event.data.mapping_start));
      case YAML_SEQUENCE_END_EVENT:
      case YAML_MAPPING_END_EVENT:
        return End();
      default:
        return;
    }
  }

  YamlNode TakeRoot() { return std::move(root_); }

 private:
  template <class Data>
  YamlNode Make(YamlNode::Kind kind, Place place, const Data& data) {
    if (documents_ > 1) throw Stop{place, "a second document; one file holds one description"};
    if (data.anchor != nullptr) throw Stop{place, "anchors are not accepted here"};
    if (!IsOpenTag(data.tag)) throw Stop{place, "tags are not accepted here"};
    if (++count_ > kMaxYamlNodes) {
      throw Stop{place, fmt::format("the file has more than {} values", kMaxYamlNodes)};
    }
    YamlNode node;
    node.kind = kind;
    node.place = place;
    return node;
  }

  YamlNode ScalarOf(const yaml_event_t& event, Place place) {
    static constexpr std::array<std::string_view, 5> kNulls = {"", "~", "null", "Null", "NULL"};
    const auto& data = event.data.scalar;
    YamlNode node = Make(YamlNode::Kind::kScalar, place, data);
    node.text.assign(reinterpret_cast<const char*>(data.value), data.length);
    const bool is_null = std::find(kNulls.begin(), kNulls.end(), node.text) != kNulls.end();
    if (data.style == YAML_PLAIN_SCALAR_STYLE && is_null &&
        (data.tag == nullptr || node.text.empty())) {
      node.kind = YamlNode::Kind::kNull;
      node.text.clear();
    }
    return node;
  }

  void Begin(YamlNode node) {
    if (open_.size() == kMaxYamlDepth) {
      throw Stop{node.place, fmt::format("nested more than {} deep", kMaxYamlDepth)};
    }
    open_.push_back(std::move(node));
  }

  void End() {
    YamlNode node = std::move(open_.back());
    open_.pop_back();
    Add(std::move(node));
  }

  void Add(YamlNode node) {
    if (open_.empty()) {
      root_ = std::move(node);
      return;
    }
    YamlNode& parent = open_.back();
    const bool key =
        parent.kind == YamlNode::Kind::kMap && parent.keys.size() == parent.items.size();
    (key ? parent.keys : parent.items).push_back(std::move(node));
  }

  YamlNode root_;
  std::vector<YamlNode> open_;
  std::size_t count_ = 0;
  int documents_ = 0;
};

// The library's parser over a text in memory.
class Parser {
 public:
  Parser(std::string_view text, const YamlProgress& progress) : rest_(text), progress_(progress) {
    if (yaml_parser_initialize(&parser_) == 0) throw std::bad_alloc();
    yaml_parser_set_encoding(&parser_, YAML_UTF8_ENCODING);
    yaml_parser_set_input(&parser_, GiveBytes, this);
  }
  ~Parser() { yaml_parser_delete(&parser_); }
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;

  YamlNode Run() {
    TreeBuilder builder;
    for (bool at_end = false; !at_end;) {
      yaml_event_t event;
      if (yaml_parser_parse(&parser_, &event) == 0) Fail();
      const EventGuard guard{event};
      builder.Handle(event);
      at_end = event.type == YAML_STREAM_END_EVENT;
    }
    return builder.TakeRoot();
  }

 private:
  struct EventGuard {
    yaml_event_t& event;
    ~EventGuard() { yaml_event_delete(&event); }
  };

  static int GiveBytes(void* self, unsigned char* buffer, std::size_t size, std::size_t* given) {
    auto& parser = *static_cast<Parser*>(self);
    *given = std::min(size, parser.rest_.size());
    std::memcpy(buffer, parser.rest_.data(), *given);
    parser.rest_.remove_prefix(*given);
    parser.progress_(parser.given_ += *given);
    return 1;
  }

  [[noreturn]] void Fail() const {
    if (parser_.error == YAML_MEMORY_ERROR) throw std::bad_alloc();
    std::string what = parser_.problem == nullptr ? "no YAML" : parser_.problem;
    if (parser_.context != nullptr) what += fmt::format(" {}", parser_.context);
    throw Stop{PlaceOf(parser_.problem_mark), std::move(what)};
  }

  std::string_view rest_;
  const YamlProgress& progress_;
  std::size_t given_ = 0;
  yaml_parser_t parser_;
};

// Passes each character and what follows it to `accept` until that refuses; `place` is the
// character's. False when the bytes there are not UTF-8.
template <class Accept>
bool WalkText(std::string_view text, Place& place, Accept accept) {
  place = {1, 0};
  for (std::size_t position = 0; position < text.size();) {
    const auto character = NextCharacter(text, position);
    if (!character) return false;
    if (!accept(*character, text.substr(position))) return true;
    ++place.column;
    if (*character == '\n') place = {place.line + 1, 0};
  }
  return true;
}

// What the format leaves out, and what some of its readers take for the end of a line.
bool IsRefused(std::uint32_t character, std::string_view behind) {
  if (character == '\t' || character == '\n') return false;
  if (character == '\r') return !behind.starts_with('\n');
  return IsControl(character) || character == 0x2028 || character == 0x2029 ||
         character == 0xFEFF || character == 0xFFFE || character == 0xFFFF;
}

bool CheckUtf8(std::string_view text, ProblemList& problems) {
  Place place;
  const bool valid = WalkText(text, place, [](std::uint32_t, std::string_view) { return true; });
  if (!valid) problems.Add(place, "not UTF-8 text; save the file as UTF-8");
  return valid;
}

bool CheckText(std::string_view text, ProblemList& problems) {
  Place place;
  bool accepted = true;
  if (!CheckUtf8(text, problems)) return false;
  WalkText(text, place, [&](std::uint32_t character, std::string_view behind) {
    accepted = !IsRefused(character, behind);
    if (!accepted) problems.Add(place, fmt::format("a control character (U+{:04X})", character));
    return accepted;
  });
  return accepted;
}

}  // namespace

void ProblemList::Add(Place place, std::string what) {
  if (IsFull()) {
    ++left_out_;
  } else {
    problems_.push_back({place.line, place.line == 0 ? 0 : place.column + 1, std::move(what)});
  }
}

std::vector<Problem> ProblemList::TakeSorted() {
  std::stable_sort(problems_.begin(), problems_.end(), [](const Problem& a, const Problem& b) {
    return std::tie(a.line, a.column) < std::tie(b.line, b.column);
  });
  if (left_out_ > 0) problems_.push_back({0, 0, fmt::format("{} more problems", left_out_)});
  return std::move(problems_);
}

YamlNode ReadYaml(std::string_view text, ProblemList& problems, const YamlProgress& progress) {
  if (text.size() > kMaxYamlBytes) {
    problems.Add({}, fmt::format("the file has more than {} MiB", kMaxYamlBytes >> 20));
    return {};
  }
  if (!CheckText(text, problems)) return {};
  try {
    return Parser(text, progress).Run();
  } catch (const Stop& stop) {
    problems.Add(stop.place, stop.what);
  }
  return {};
}

}  // namespace ncc::tool
