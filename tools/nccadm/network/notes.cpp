#include "network/notes.h"

#include <algorithm>
#include <list>
#include <string_view>

#include "console/text.h"
#include "nccnet/notes.h"

namespace ncc::tool {
namespace {

// Notes have more letters than names: while one lives, texts are UTF-8.
class Utf8Scope {
 public:
  explicit Utf8Scope(CNCCNet& net) : net_(net), before_(net.GetTextEncoding()) {
    net_.SetTextEncoding(CTextEncoding::kUtf8);
  }
  ~Utf8Scope() { net_.SetTextEncoding(before_); }
  Utf8Scope(const Utf8Scope&) = delete;
  Utf8Scope& operator=(const Utf8Scope&) = delete;

 private:
  CNCCNet& net_;
  const CTextEncoding before_;
};

Notes Collect(CNCCNet& net, unsigned long id) {
  std::list<CNote> list;
  ListNotes(net, id, list);
  Notes notes;
  for (CNote& note : list) notes.emplace(std::move(note.key), std::move(note.value));
  return notes;
}

// Letters of the code page; others are as they stand.
std::string FoldText(std::string_view utf8) {
  std::string folded;
  for (std::size_t at = 0; at < utf8.size();) {
    const std::size_t start = at;
    if (!NextCharacter(utf8, at)) at = start + 1;
    const std::string_view character = utf8.substr(start, at - start);
    const auto byte = BytesFromUtf8(character);
    folded += byte ? Utf8FromBytes(FoldForSearch(*byte)) : std::string(character);
  }
  return folded;
}

bool HasTag(const Notes& notes, const std::string& tag) {
  const auto tags = notes.find("tags");
  if (tags == notes.end()) return false;
  std::string all = ",";
  all.append(FoldText(tags->second)).append(",");
  std::string wanted = ",";
  wanted.append(FoldText(tag)).append(",");
  return all.find(wanted) != std::string::npos;
}

}  // namespace

Notes NotesOf(CNCCNet& net, std::uint32_t id) {
  const Utf8Scope utf8(net);
  return Collect(net, id);
}

std::unordered_map<std::uint32_t, Notes> AllNotes(CNCCNet& net) {
  const Utf8Scope utf8(net);
  std::list<unsigned long> ids;
  ListNoted(net, ids);
  std::unordered_map<std::uint32_t, Notes> all;
  for (const unsigned long id : ids) all.emplace(id, Collect(net, id));
  return all;
}

void SetNotes(Session& session, std::uint32_t id, const Notes& notes) {
  CNCCNet& net = session.Net();
  const Utf8Scope utf8(net);
  Batch batch(session);
  const auto require = [&session](bool done) {
    if (!done) throw session.Refusal("the notes were not changed");
  };
  for (const auto& [key, value] : Collect(net, id)) {
    if (!notes.contains(key)) require(RemoveNote(net, id, key.c_str()));
  }
  for (const auto& [key, value] : notes) require(SetNote(net, id, key.c_str(), value.c_str()));
  batch.Store();
}

bool MatchesNotes(const Notes& notes, const std::string& wanted) {
  constexpr std::string_view kTag = "tag:";
  if (notes.empty()) return false;
  if (wanted.starts_with(kTag)) return HasTag(notes, wanted.substr(kTag.size()));
  const std::string pattern = FoldText(wanted);
  return std::any_of(notes.begin(), notes.end(), [&](const auto& note) {
    return MatchesPattern(pattern, FoldText(note.second));
  });
}

}  // namespace ncc::tool
