// explain FILE[:LINE]: what a generated file is, and what put a line into it
#include <algorithm>
#include <filesystem>
#include <limits>
#include <list>
#include <optional>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "commands/explain.h"
#include "console/text.h"
#include "console/time.h"
#include "files/files.h"
#include "files/package.h"
#include "files/routing_map.h"
#include "network/reasons.h"

namespace ncc::tool {
namespace {

const char* WordsOf(CFileKind kind) {
  static constexpr const char* kWords[] = {"an unknown file",
                                           "the nodes that a node sees",
                                           "memberships of users",
                                           "places of Deps",
                                           "links between Deps",
                                           "an empty file",
                                           "a list of stamps",
                                           "a routing map",
                                           "the tunnels",
                                           "a registration",
                                           "a full package",
                                           "a short package",
                                           "a user for the key centre",
                                           "an AP for the key centre",
                                           "users and their addresses for the key centre",
                                           "an empty file",
                                           "the addresses of NCC and KC",
                                           "users and the nodes at which they are members",
                                           "names of node groups, APs and servers",
                                           "the matrix of who sees whom",
                                           "the journal of generated files"};
  return kWords[static_cast<std::size_t>(kind)];
}

bool IsPackage(CFileKind kind) {
  return kind == CFileKind::kFullPackage || kind == CFileKind::kShortPackage;
}

struct Target {
  std::string file;
  std::optional<std::size_t> line;
};

// "FILE" or "FILE:LINE"; the name of a file that is there is taken whole.
Target ParseTarget(const std::string& text) {
  std::error_code error;
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos || std::filesystem::exists(text, error)) return {text, {}};
  const auto line = ParseNumber(text.substr(colon + 1), std::numeric_limits<std::uint32_t>::max());
  if (!line) return {text, {}};
  if (*line == 0) throw Failure("lines are counted from 1", {}, kExitUsage);
  return {text.substr(0, colon), static_cast<std::size_t>(*line)};
}

std::vector<std::string> LinesOf(const std::string& bytes) {
  std::vector<std::string> lines;
  std::istringstream text(bytes);
  for (std::string line; std::getline(text, line);) {
    if (line.ends_with('\r')) line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

// The mode that the file was generated with, which lines of kind 0017 hold.
unsigned char ModeOf(const std::vector<std::string>& lines) {
  for (const std::string& line : lines) {
    if (!line.starts_with("0017 ")) continue;
    const auto mode = ParseNumber(line.substr(5, line.find(' ', 5) - 5), 255);
    return static_cast<unsigned char>(mode.value_or(0));
  }
  return 0;
}

bool IsStamp(const Reasons& reasons) {
  return std::ranges::count(reasons, CReason::kStampOf, &CReason::kind) > 0;
}

// Whether the text, on a disk or in another revision, is the line's, a stamp behind it apart. A map
// may lose the last of 51 bytes of a name.
bool IsSame(const CExplainedFile& file, const CExplainedLine& line, const std::string& text) {
  constexpr std::size_t kKept = 50;
  if (file.kind == CFileKind::kMap) return line.text.substr(0, kKept) == text.substr(0, kKept);
  return IsStamp(line.reasons) ? text.starts_with(line.text) : line.text == text;
}

// Null when there is none.
const CExplainedLine* Find(const CExplainedFile& file, const std::string& text) {
  const auto found = std::ranges::find_if(
      file.lines, [&](const CExplainedLine& line) { return IsSame(file, line, text); });
  return found != file.lines.end() ? &*found : nullptr;
}

// Whether these are the file's bytes, but for the stamps in it.
bool HasBytes(const CExplainedFile& file, std::string_view bytes) {
  if (file.kind == CFileKind::kMap) return bytes == file.bytes;
  const auto take = [&](std::string_view text) {
    const bool is_next = bytes.starts_with(text);
    if (is_next) bytes.remove_prefix(text.size());
    return is_next;
  };
  for (const CExplainedLine& line : file.lines) {
    if (!take(line.text)) return false;
    if (IsStamp(line.reasons))
      bytes.remove_prefix(std::min(bytes.find_first_not_of("0123456789ABCDEF"), bytes.size()));
    if (!take("\r\n")) return false;
  }
  return bytes.empty();
}

// The names in its records.
std::vector<std::string> LinesOfMap(const std::string& file, const std::string& bytes) {
  std::vector<std::string> lines;
  for (const MapNode& node : ReadMapNodes(file, bytes)) {
    lines.push_back(node.name);
    std::ranges::replace(lines.back(), '\n', ' ');  // as the network gives them
  }
  return lines;
}

using Cause = std::optional<CHistoryEntry>;

// A file as it lies on the disk, if it does, and as the network gives it, or gave it last.
class GeneratedFile {
 public:
  GeneratedFile(Session& session, const std::string& file) : session_(session), file_(file) {
    std::error_code error;
    if (std::filesystem::is_regular_file(file, error)) bytes_ = ReadFile(file, kLargestFile);
    if (bytes_) stored_ = LinesOf(*bytes_);
    mode_ = ModeOf(stored_);
    if (!Compose(now_)) FindFormer();
    if (bytes_ && now_.kind == CFileKind::kMap) ReadMap();
  }

  const std::string& File() const { return file_; }
  const CExplainedFile& Now() const { return now_; }
  const std::optional<std::string>& Bytes() const { return bytes_; }
  // The change with which it went; nothing while it is there.
  const Cause& GoneWith() const { return gone_with_; }
  // Why the bytes cannot be read as such a file; empty when they can.
  const std::string& Damage() const { return damage_; }
  bool HasStoredLines() const { return bytes_ && now_.has_lines && damage_.empty(); }
  const std::vector<std::string>& Stored() const { return stored_; }

  // The file as the revision that is shown gives it; false when it would not be there.
  bool Compose(CExplainedFile& composed) {
    return ExplainFile(session_.Net(), file_.c_str(), mode_, composed);
  }

  // How many of the lines on the disk the network does not give now, and the other way round.
  std::pair<std::size_t, std::size_t> Differences() const {
    std::size_t old = 0;
    std::size_t missing = 0;
    for (const std::string& line : stored_) old += Find(now_, line) == nullptr ? 1U : 0U;
    for (const CExplainedLine& line : now_.lines) {
      const auto is_same = [&](const std::string& text) { return IsSame(now_, line, text); };
      missing += std::ranges::none_of(stored_, is_same) ? 1U : 0U;
    }
    return {old, missing};
  }

 private:
  // The revision that is shown is then the last one that gives the file.
  void FindFormer() {
    const Failure unknown = session_.Refusal(fmt::format("{} cannot be explained", file_));
    const std::uint64_t now = session_.Net().GetRevision();
    std::list<CHistoryEntry> entries;
    session_.Net().GetHistory(0, now, entries);
    for (CHistoryEntry& entry : entries) {
      if (entry.revision <= 1) break;
      session_.ShowRevision(entry.revision - 1);
      if (!Compose(now_)) continue;
      gone_with_ = std::move(entry);
      return;
    }
    throw unknown;
  }

  void ReadMap() {
    stored_.clear();
    try {
      stored_ = LinesOfMap(file_, *bytes_);
    } catch (const Failure& failure) {
      damage_ = failure.what();
    }
  }

  Session& session_;
  std::string file_;
  std::optional<std::string> bytes_;
  std::vector<std::string> stored_;
  unsigned char mode_ = 0;
  CExplainedFile now_;
  Cause gone_with_;
  std::string damage_;
};

// History -----------------------------------------------------------------------------------------

// Whether what decides over a line can have changed without a change of the objects it names.
bool RestsOnAll(const Reasons& reasons) {
  return std::ranges::count(reasons, CReason::kRole, &CReason::kind) > 0;
}

// The newest change after which the line was there, or was not, and before which it was not so. As
// long as none of the objects that explain it changes, and neither whose file it is, a line stays;
// so only such changes are looked into, and what explains it is asked anew at each.
Cause FindCause(Session& session, GeneratedFile& file, const std::string& text) {
  CNCCNet& net = session.Net();
  const std::uint64_t now = net.GetRevision();
  std::list<CHistoryEntry> entries;
  net.GetHistory(0, now, entries);
  const CExplainedLine* const line = Find(file.Now(), text);
  const bool is_there = line != nullptr;
  Reasons reasons = is_there ? line->reasons : Reasons();
  Cause found;
  for (CHistoryEntry& entry : entries) {
    const auto is_touched = [&](std::uint32_t id) {
      return std::binary_search(entry.objects.begin(), entry.objects.end(), id);
    };
    const bool matters = !is_there || RestsOnAll(reasons) ||
                         is_touched(static_cast<std::uint32_t>(file.Now().object)) ||
                         std::ranges::any_of(ObjectsOf(reasons), is_touched);
    if (!matters && entry.revision > 1) continue;
    CExplainedFile before;
    const CExplainedLine* same = nullptr;
    if (entry.revision > 1) {
      session.ShowRevision(entry.revision - 1);
      if (file.Compose(before)) same = Find(before, text);
    }
    if ((same != nullptr) != is_there) {
      found = std::move(entry);
      break;
    }
    if (same != nullptr) reasons = same->reasons;
  }
  session.ShowRevision(now);
  return found;
}

std::string TextOf(const CHistoryEntry& entry) {
  const std::string& what = entry.text.empty() ? entry.program : entry.text;
  return fmt::format("revision {}, {}, {}: {}", entry.revision, LocalTime(entry.time),
                     Printable(entry.person), Printable(what));
}

Json JsonOf(const Cause& change) {
  if (!change) return nullptr;
  return {{"revision", change->revision},
          {"time", UtcTime(change->time)},
          {"operator", change->person},
          {"text", change->text}};
}

// One line ----------------------------------------------------------------------------------------

std::string HeadOf(ReasonWriter& writer, const CExplainedFile& file) {
  const auto id = static_cast<std::uint32_t>(file.object);
  std::string head = WordsOf(file.kind);
  if (id != 0) head += fmt::format(", of the {}", writer.NameOf(id));
  return head;
}

std::string LineText(const GeneratedFile& file, std::size_t line) {
  const bool is_stored = file.HasStoredLines();
  const std::size_t lines = is_stored ? file.Stored().size() : file.Now().lines.size();
  if (!file.Now().has_lines) {
    throw Failure(fmt::format("lines of {} are not explained: it is {}", file.File(),
                              WordsOf(file.Now().kind)),
                  fmt::format("'nccadm explain {}' tells what it is.", file.File()));
  }
  if (!file.Damage().empty()) throw Failure(file.Damage(), "Generate it anew.");
  if (line > lines) throw Failure(fmt::format("{} has {} lines", file.File(), lines));
  return is_stored ? file.Stored()[line - 1] : file.Now().lines[line - 1].text;
}

// What is told about a line, in the words of the network as it is shown.
struct Answer {
  std::string text;
  std::string head;
  const CExplainedLine* line;  // null when the network gives no such line
  Reasons reasons;
  Cause cause;
};

Answer AnswerFor(Session& session, GeneratedFile& file, std::size_t number) {
  Answer answer{LineText(file, number), {}, nullptr, {}, {}};
  const CExplainedFile& now = file.Now();
  if (file.GoneWith()) {
    answer.cause = file.GoneWith();
    ReasonWriter writer(session);
    answer.head = HeadOf(writer, now);
    return answer;
  }
  answer.line = Find(now, answer.text);
  // Of several with the same text the one at the place that was named.
  if (answer.line != nullptr && number <= now.lines.size() &&
      now.lines[number - 1].text == answer.line->text)
    answer.line = &now.lines[number - 1];
  if (answer.line != nullptr) answer.reasons = answer.line->reasons;
  if (!IsStamp(answer.reasons)) answer.cause = FindCause(session, file, answer.text);
  ReasonWriter writer(session);
  answer.head = HeadOf(writer, now);
  return answer;
}

void Print(Session& session, const Target& target, const Answer& answer) {
  Output& out = session.Out();
  ReasonWriter writer(session);
  const bool is_there = answer.line != nullptr;
  out.Line(out.Paint(Style::kHeading,
                     fmt::format("{}:{}: {}", Printable(target.file), *target.line, answer.head)));
  out.Line("  " + PrintableName(answer.text));
  out.Line(is_there ? "It is there because" : "The network gives no such line.");
  for (const CReason& reason : answer.reasons) out.Line("  " + writer.TextOf(reason));
  const std::vector<std::uint32_t> objects = ObjectsOf(answer.reasons);
  if (!objects.empty()) out.Line("To look at what it rests on:");
  for (const std::uint32_t id : objects) out.Line(fmt::format("  nccadm show id:{}", id));
  if (IsStamp(answer.reasons)) {
    out.Line("It changes whenever what it stamps does; 'nccadm explain' tells of that file.");
  } else if (answer.cause) {
    out.Line(
        fmt::format("{} {}", is_there ? "Last altered by" : "Gone since", TextOf(*answer.cause)));
  } else {
    out.Line(is_there ? "It has been so since the history begins."
                      : "As far as the history goes back there was no such line.");
  }
}

int ExplainOneLine(Session& session, const Target& target) {
  GeneratedFile file(session, target.file);
  const Answer answer = AnswerFor(session, file, *target.line);
  if (session.IsJson()) {
    ReasonWriter writer(session);
    session.Out().Document({{"file", target.file},
                            {"line", *target.line},
                            {"text", Utf8FromBytes(answer.text)},
                            {"kind", answer.head},
                            {"there", answer.line != nullptr},
                            {"reasons", writer.JsonOf(answer.reasons)},
                            {"change", JsonOf(answer.cause)}});
  } else {
    Print(session, target, answer);
  }
  return answer.line != nullptr ? kExitDone : kExitFound;
}

// A whole file ------------------------------------------------------------------------------------

std::string ConditionOf(const GeneratedFile& file) {
  if (file.GoneWith()) return "gone: the network gives no such file";
  if (!file.Bytes()) return "not generated here";
  if (!file.Damage().empty()) return fmt::format("damaged: {}; generate it anew", file.Damage());
  if (!file.HasStoredLines()) return fmt::format("{} bytes", file.Bytes()->size());
  if (HasBytes(file.Now(), *file.Bytes())) {
    const bool has_stamps =
        std::ranges::any_of(file.Now().lines, IsStamp, &CExplainedLine::reasons);
    return has_stamps
               ? "as the network gives it but for the stamps, which 'nccadm verify-stamps' tests"
               : "as the network gives it";
  }
  const auto [old, missing] = file.Differences();
  if (old == 0 && missing == 0)
    return "old: it has the same lines, but in another order, repeated or with other ends; "
           "generate "
           "it anew";
  return fmt::format("old: {} lines are no more, {} are missing; generate it anew", old, missing);
}

struct Member {
  std::string name;
  std::size_t bytes = 0;
  CExplainedFile file;
};

std::vector<Member> MembersOf(Session& session, const GeneratedFile& package) {
  std::vector<Member> members;
  if (!package.Bytes()) return members;
  for (const PackedFile& packed : ReadPackage(package.File(), *package.Bytes())) {
    Member& member = members.emplace_back();
    member.name = packed.name;
    member.bytes = packed.contents.size();
    ExplainFile(session.Net(), packed.name.c_str(), 0, member.file);
  }
  return members;
}

Json JsonOf(ReasonWriter& writer, const GeneratedFile& file, const std::vector<Member>& members) {
  const auto id = static_cast<std::uint32_t>(file.Now().object);
  Json json = {{"file", file.File()},
               {"kind", HeadOf(writer, file.Now())},
               {"object", id != 0 ? writer.JsonOfObject(id) : Json()},
               {"lines", file.Now().has_lines ? Json(file.Now().lines.size()) : Json()},
               {"state", ConditionOf(file)}};
  if (file.GoneWith()) json["change"] = JsonOf(file.GoneWith());
  Json packed = Json::array();
  for (const Member& member : members) {
    packed.push_back({{"name", Printable(member.name)},
                      {"bytes", member.bytes},
                      {"kind", HeadOf(writer, member.file)}});
  }
  if (IsPackage(file.Now().kind)) json["members"] = std::move(packed);
  return json;
}

int ExplainWhole(Session& session, const std::string& text) {
  const GeneratedFile file(session, text);
  ReasonWriter writer(session);
  const std::vector<Member> members =
      IsPackage(file.Now().kind) ? MembersOf(session, file) : std::vector<Member>();
  Output& out = session.Out();
  const int code = file.GoneWith() ? kExitFound : kExitDone;
  if (session.IsJson()) {
    out.Document(JsonOf(writer, file, members));
    return code;
  }
  out.Line(out.Paint(Style::kHeading,
                     fmt::format("{}: {}", Printable(text), HeadOf(writer, file.Now()))));
  Table table = {{"state", ConditionOf(file)}};
  if (file.Now().has_lines) table.push_back({"lines", std::to_string(file.Now().lines.size())});
  if (file.Now().object != 0 && !file.GoneWith())
    table.push_back({"look", fmt::format("nccadm show id:{}", file.Now().object)});
  if (!file.Now().lines.empty())
    table.push_back({"each line", fmt::format("nccadm explain {}:LINE", Printable(text))});
  out.PrintTable(table);
  if (file.GoneWith()) out.Line(fmt::format("Gone since {}", TextOf(*file.GoneWith())));
  if (members.empty()) return code;
  Table list = {{"BYTES", "MEMBER", "IS"}};
  for (const Member& member : members) {
    list.push_back(
        {std::to_string(member.bytes), Printable(member.name), HeadOf(writer, member.file)});
  }
  out.PrintTable(list);
  return code;
}

}  // namespace

int ExplainFileOrLine(Session& session, const std::string& text) {
  const Target target = ParseTarget(text);
  return target.line ? ExplainOneLine(session, target) : ExplainWhole(session, target.file);
}

}  // namespace ncc::tool
