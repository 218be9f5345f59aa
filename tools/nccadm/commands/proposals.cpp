#include "commands/proposals.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <list>
#include <sstream>
#include <string_view>
#include <utility>

#include "commands/line_walk.h"
#include "console/output.h"
#include "console/text.h"
#include "network/reference.h"
#include "network/session.h"
#include "network/view.h"

namespace ncc::tool {
namespace {

// What usage writes where the name of an object of these kinds goes.
struct ObjectWord {
  std::string_view word;
  std::vector<Kind> kinds;
};

const std::vector<ObjectWord>& ObjectWords() {
  static const std::vector<ObjectWord> kWords = {
      {"SERVER", {Kind::kServer}},
      {"AP", {Kind::kAp}},
      {"USER", {Kind::kUser}},
      {"DEP", {Kind::kDep}},
      {"GROUP", {Kind::kGroup}},
      {"NODE", {Kind::kServer, Kind::kAp}},
      {"ONE", {Kind::kServer, Kind::kAp, Kind::kUser}},
      {"OBJECT", {std::begin(kKinds), std::end(kKinds)}},
  };
  return kWords;
}

constexpr std::array<std::string_view, 6> kFileWords = {"FILE",   "DIR",  "DIR/NAME",
                                                        "BACKUP", "PLAN", "PROGRAM"};
constexpr std::string_view kApplicationWord = "APP";

// As a shell takes a path in a line that nobody has expanded.
std::string WithHome(const std::string& path) {
  const char* home = std::getenv("HOME");
  return path.starts_with("~/") && home != nullptr ? home + path.substr(1) : path;
}

// All that can be typed: names with control characters are reached by their ids alone.
std::vector<std::string> NamesIn(const std::string& database, const std::vector<Kind>& kinds) {
  std::vector<std::string> names;
  Options options;
  options.database = WithHome(database);
  Output output;
  CNCCNet net;
  if (!Session(options, output).Peek(net)) return names;
  OwnView view(net);
  for (const Kind kind : kinds) {
    for (const Object& object : view.All(kind)) {
      std::string text = ReferenceTo(object.name);
      if (BytesFromName(Utf8FromBytes(object.name)).reason.empty())
        names.push_back(std::move(text));
    }
  }
  return names;
}

std::vector<std::string> ApplicationNames() {
  std::list<std::string> names;
  CNCCNet().GetAPP(0, names);
  std::vector<std::string> folded;
  for (const std::string& name : names) folded.push_back(FoldName(name));
  return folded;
}

class Proposer {
 public:
  Proposer(const LineWalk& walk, std::string typed, const std::string& database)
      : walk_(walk), typed_(std::move(typed)), database_(database) {}

  Proposals Find() {
    const std::size_t equals = typed_.find('=');
    if (!walk_.IsOption(typed_)) {
      for (const std::string& command : walk_.Commands()) Offer("", command, false);
      OfferFor(walk_.Placeholder(), "");
    } else if (equals == std::string::npos) {
      OfferOptions();
    } else if (const CLI::Option* option = walk_.Option(typed_.substr(0, equals))) {
      OfferFor(PlaceholderOf(*option, 0), typed_.substr(0, equals + 1));
    }
    std::vector<std::string>& words = found_.words;
    std::sort(words.begin(), words.end());
    words.erase(std::unique(words.begin(), words.end()), words.end());
    return std::move(found_);
  }

 private:
  // A word behind what is typed of its whole. Where letter case does not count, what is typed
  // stays.
  void Offer(const std::string& head, const std::string& word, bool folds) {
    const std::string whole = head + word;
    const bool begins_so =
        folds ? FoldName(whole).starts_with(FoldName(typed_)) : whole.starts_with(typed_);
    if (begins_so) found_.words.push_back(typed_ + whole.substr(typed_.size()));
  }

  void OfferOptions() {
    for (const CLI::App* app : walk_.Apps()) {
      for (const CLI::Option* option : app->get_options()) {
        for (const std::string& name : option->get_lnames()) Offer("--", name, false);
      }
    }
  }

  void OfferFor(const std::string& place, const std::string& head) {
    if (std::find(kFileWords.begin(), kFileWords.end(), place) != kFileWords.end()) {
      found_.are_files = found_.words.empty();
    } else if (place == kApplicationWord) {
      const std::size_t comma = typed_.rfind(',');
      const std::string list = comma == std::string::npos ? head : typed_.substr(0, comma + 1);
      for (const std::string& name : ApplicationNames()) Offer(list, name, true);
    } else if (place.find('|') != std::string::npos) {
      std::istringstream choice(place);
      for (std::string word; std::getline(choice, word, '|');) Offer(head, word, false);
    } else {
      OfferNames(place, head);
    }
  }

  void OfferNames(const std::string& place, const std::string& head) {
    const auto& all = ObjectWords();
    const auto found = std::find_if(
        all.begin(), all.end(), [&place](const ObjectWord& each) { return each.word == place; });
    if (found == all.end()) return;
    const std::string& database = walk_.Database().empty() ? database_ : walk_.Database();
    if (database.empty()) return;
    for (const std::string& name : NamesIn(database, found->kinds)) {
      const bool is_option = head.empty() && name.starts_with("-") && !walk_.TakesDashes();
      if (!is_option) Offer(head, name, true);
    }
  }

  const LineWalk& walk_;
  const std::string typed_;
  const std::string& database_;
  Proposals found_;
};

}  // namespace

Proposals Propose(const CLI::App& root, const TypedLine& line, const std::string& database) {
  if (line.ends_in_remark || line.ends_in_escape) return {};
  LineWalk walk(root);
  const std::size_t before = line.words.size() - (line.ends_in_word ? 1 : 0);
  for (std::size_t i = 0; i < before; ++i) walk.Take(line.words[i]);
  return Proposer(walk, line.Typed(), database).Find();
}

}  // namespace ncc::tool
