#include "yaml_tree.h"

#include <algorithm>
#include <sstream>
#include <tuple>

#include <fmt/format.h>
#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/exceptions.h>
#include <yaml-cpp/mark.h>
#include <yaml-cpp/parser.h>

#include "text.h"

namespace ncc::tool {
namespace {

// Ends the parse from inside a handler.
struct Stop {
  Place place;
  std::string what;
};

Place PlaceOf(const YAML::Mark& mark) { return {mark.line + 1, mark.column}; }

class TreeBuilder final : public YAML::EventHandler {
 public:
  explicit TreeBuilder(const YamlProgress& progress) : progress_(progress) {}

  YamlNode TakeRoot() { return std::move(root_); }

  void OnDocumentStart(const YAML::Mark&) override {}
  void OnDocumentEnd() override {}

  void OnNull(const YAML::Mark& mark, YAML::anchor_t anchor) override {
    Add(Make(YamlNode::Kind::kNull, mark, "", anchor));
  }
  void OnAlias(const YAML::Mark& mark, YAML::anchor_t) override {
    throw Stop{PlaceOf(mark), "aliases are not accepted here; write the value out"};
  }
  void OnScalar(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
                const std::string& value) override {
    YamlNode node = Make(YamlNode::Kind::kScalar, mark, tag, anchor);
    node.text = value;
    Add(std::move(node));
  }
  void OnSequenceStart(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
                       YAML::EmitterStyle::value) override {
    Begin(Make(YamlNode::Kind::kSequence, mark, tag, anchor));
  }
  void OnSequenceEnd() override { End(); }
  void OnMapStart(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
                  YAML::EmitterStyle::value) override {
    Begin(Make(YamlNode::Kind::kMap, mark, tag, anchor));
  }
  void OnMapEnd() override { End(); }

 private:
  YamlNode Make(YamlNode::Kind kind, const YAML::Mark& mark, const std::string& tag,
                YAML::anchor_t anchor) {
    const Place place = PlaceOf(mark);
    progress_(static_cast<std::size_t>(mark.pos));
    if (anchor != 0) throw Stop{place, "anchors are not accepted here"};
    if (!tag.empty() && tag != "?" && tag != "!") throw Stop{place, "tags are not accepted here"};
    if (++count_ > kMaxYamlNodes) {
      throw Stop{place, fmt::format("the file has more than {} values", kMaxYamlNodes)};
    }
    YamlNode node;
    node.kind = kind;
    node.place = place;
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

  const YamlProgress& progress_;
  YamlNode root_;
  std::vector<YamlNode> open_;
  std::size_t count_ = 0;
};

// The parser guesses other encodings and passes control characters on, so the bytes are tested
// before.
bool CheckText(std::string_view text, ProblemList& problems) {
  Place place{1, 0};
  for (std::size_t position = 0; position < text.size();) {
    const std::size_t start = position;
    const auto character = NextCharacter(text, position);
    if (!character) {
      problems.Add(place, "not UTF-8 text; save the file as UTF-8");
      return false;
    }
    if (IsControl(*character) && *character != '\t' && *character != '\n' && *character != '\r') {
      problems.Add(place, fmt::format("a control character (U+{:04X})", *character));
      return false;
    }
    place.column += static_cast<int>(position - start);
    if (*character == '\n') place = {place.line + 1, 0};
  }
  return true;
}

YamlNode ParseDocument(std::string_view text, const YamlProgress& progress) {
  std::istringstream stream{std::string(text)};
  YAML::Parser parser(stream);
  TreeBuilder builder(progress);
  if (!parser.HandleNextDocument(builder)) return {};
  TreeBuilder second(progress);
  if (parser.HandleNextDocument(second)) {
    throw Stop{second.TakeRoot().place, "a second document; one file holds one description"};
  }
  return builder.TakeRoot();
}

}  // namespace

void ProblemList::Add(Place place, std::string what) {
  if (problems_.size() == kMaxProblems) {
    ++left_out_;
    return;
  }
  problems_.push_back({place.line, ColumnOf(place), std::move(what)});
}

int ProblemList::ColumnOf(Place place) const {
  if (place.line == 0) return 0;
  std::size_t start = 0;
  for (int line = 1; line < place.line && start < text_.size(); ++line) {
    start = std::min(text_.find('\n', start), text_.size() - 1) + 1;
  }
  return static_cast<int>(Width(text_.substr(start, static_cast<std::size_t>(place.column)))) + 1;
}

std::vector<Problem> ProblemList::Take() {
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
    return ParseDocument(text, progress);
  } catch (const Stop& stop) {
    problems.Add(stop.place, stop.what);
  } catch (const YAML::Exception& error) {
    const bool known = !error.mark.is_null();
    problems.Add(known ? PlaceOf(error.mark) : Place{}, error.msg);
  }
  return {};
}

}  // namespace ncc::tool
