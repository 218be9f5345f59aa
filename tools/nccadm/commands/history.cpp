// log, diff, undo, history
#include "commands/history.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <list>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "commands/command_line.h"
#include "console/failure.h"
#include "console/text.h"
#include "console/time.h"
#include "description/description.h"
#include "description/difference.h"
#include "network/reference.h"
#include "plan/difference.h"
#include "plan/view.h"

namespace ncc::tool {
namespace {

using Entries = std::list<CHistoryEntry>;

constexpr std::uint64_t kNewest = std::numeric_limits<std::int64_t>::max();
constexpr std::size_t kMostObjects = 200;  // whose changes are told unasked
constexpr std::uint64_t kFirstWithState = 2;

Entries ReadEntries(Session& session, std::uint64_t from, std::uint64_t to) {
  Entries entries;
  CNCCNet& net = session.Net();
  if (net.GetHistory(from, to, entries) == 0 && *net.LastError() != '\0')
    throw session.Refusal("the history cannot be read");
  return entries;
}

// What one unit changed. The snapshot shows the revision before it afterwards.
std::vector<Change> ChangesOf(Session& session, const CHistoryEntry& entry) {
  session.ShowRevision(entry.revision);
  const State after = TakeState(session.Net(), entry.objects);
  session.ShowRevision(entry.revision - 1);
  return Compare(TakeState(session.Net(), entry.objects), after, session.Apps());
}

Json ListOf(const std::vector<Change>& changes) {
  Json list = Json::array();
  for (const Change& change : changes) list.push_back(JsonOf(change));
  return list;
}

// log ---------------------------------------------------------------------------------------------

struct LogArguments {
  std::string object;
  std::string person;
  std::string since;
  std::size_t most = std::numeric_limits<std::size_t>::max();
  bool is_full = false;
};

// Of whichever kind; 0 for none.
std::uint32_t IdOf(CNCCNet& net, const std::string& name) {
  CNNEntry node;
  CABEntry user;
  CDepEntry dep;
  CNGrpEntry group;
  if (net.GetServerInfo(name.c_str(), node) || net.GetAPInfo(name.c_str(), node)) return node.id;
  if (net.GetABInfo(name.c_str(), user)) return user.id;
  if (net.GetDepInfo(name.c_str(), dep)) return dep.id;
  return net.GetNGrpInfo(name.c_str(), group) ? group.id : 0;
}

// An object that is there now, or else the one that had the name last.
std::uint32_t FindPast(Session& session, const std::string& text, const Entries& entries) {
  const Reference reference = ParseReference(text);
  if (reference.id) return *reference.id;
  CNCCNet& net = session.Net();
  if (IdOf(net, reference.name) != 0) return FindAnyObject(session, text).id;
  for (const CHistoryEntry& entry : entries) {
    if (entry.revision < kFirstWithState) break;
    session.ShowRevision(entry.revision - 1);
    if (const std::uint32_t id = IdOf(net, reference.name); id != 0) return id;
  }
  throw Failure(fmt::format("no object was ever named \"{}\"", text),
                "'nccadm log' shows all changes; id:NUMBER names an object by its id.");
}

void PrintEntry(Session& session, const CHistoryEntry& entry, bool is_full) {
  Output& out = session.Out();
  out.Line(out.Paint(Style::kHeading, TitleOf(entry)));
  if (entry.revision < kFirstWithState) return out.Line("    the database was made");
  if (!is_full && entry.objects.size() > kMostObjects) {
    return out.Line(fmt::format("    {} objects; 'nccadm diff {} {}' lists them",
                                entry.objects.size(), entry.revision - 1, entry.revision));
  }
  PrintChanges(out, ChangesOf(session, entry));
}

int ShowLog(Session& session, const LogArguments& arguments) {
  session.OnlyRead();
  CNCCNet& net = session.Net();
  const std::uint64_t first =
      arguments.since.empty() ? 0 : session.RevisionOrNone(arguments.since) + 1;
  const std::uint64_t revision = net.GetRevision();
  Entries entries = ReadEntries(session, 0, revision);
  if (!arguments.object.empty()) {
    const std::uint32_t id = FindPast(session, arguments.object, entries);
    entries.remove_if([id](const CHistoryEntry& entry) {
      return !std::binary_search(entry.objects.begin(), entry.objects.end(), id);
    });
  }
  entries.remove_if([&](const CHistoryEntry& entry) {
    return entry.revision < first ||
           (!arguments.person.empty() && entry.person != arguments.person);
  });
  if (entries.size() > arguments.most) entries.resize(arguments.most);
  Output& out = session.Out();
  if (!out.IsJson()) {
    for (const CHistoryEntry& entry : entries) PrintEntry(session, entry, arguments.is_full);
    if (entries.empty()) out.Say("Nothing is known of such changes.");
    return kExitDone;
  }
  out.List({{"revision", revision}}, "entries", entries, [&](const CHistoryEntry& entry) {
    Json json = JsonOf(entry);
    json["changes"] =
        entry.revision < kFirstWithState ? Json::array() : ListOf(ChangesOf(session, entry));
    return json;
  });
  return kExitDone;
}

// diff --------------------------------------------------------------------------------------------

struct DiffArguments {
  std::string from;
  std::string to;
  bool as_description = false;
};

std::string DescriptionAt(Session& session, std::uint64_t revision) {
  session.ShowRevision(revision);
  std::vector<std::string> unused;
  return WriteDescription(DescribeNetwork(LoadWholeNetwork(session.Net()), false, unused),
                          session.Apps(), [] {});
}

int CompareDescriptions(Session& session, std::uint64_t from, std::uint64_t to) {
  const auto title = [](std::uint64_t revision) { return fmt::format("revision {}", revision); };
  const std::string text = DifferenceOf(DescriptionAt(session, from), title(from),
                                        DescriptionAt(session, to), title(to));
  Output& out = session.Out();
  if (out.IsJson()) {
    out.Document({{"from", from}, {"to", to}, {"difference", text}});
  } else {
    out.Raw(text);
  }
  return kExitDone;
}

int ShowDiff(Session& session, const DiffArguments& arguments) {
  session.OnlyRead();
  CNCCNet& net = session.Net();
  const std::uint64_t now = net.GetRevision();
  std::uint64_t from = session.RevisionOf(arguments.from);
  std::uint64_t to = arguments.to.empty() ? now : session.RevisionOf(arguments.to);
  if (arguments.as_description) return CompareDescriptions(session, from, to);
  const bool is_backward = from > to;
  if (is_backward) std::swap(from, to);
  std::vector<std::uint32_t> objects;
  for (const CHistoryEntry& entry : ReadEntries(session, from + 1, to))
    objects.insert(objects.end(), entry.objects.begin(), entry.objects.end());
  std::sort(objects.begin(), objects.end());
  objects.erase(std::unique(objects.begin(), objects.end()), objects.end());
  session.ShowRevision(to);
  State after = TakeState(net, objects);
  session.ShowRevision(from);
  State before = TakeState(net, objects);
  if (is_backward) std::swap(before, after);
  const std::vector<Change> changes = Compare(before, after, session.Apps());
  Output& out = session.Out();
  if (out.IsJson()) {
    if (is_backward) std::swap(from, to);
    out.Document({{"from", from}, {"to", to}, {"changes", ListOf(changes)}});
  } else {
    PrintChanges(out, changes);
  }
  return kExitDone;
}

// undo --------------------------------------------------------------------------------------------

using Revisions = std::list<std::uint64_t>;

const char* Plural(const Revisions& revisions) { return revisions.size() == 1 ? "" : "s"; }

// The later ones are those together with which the library can take it back.
Failure InTheWay(Revisions wanted, Revisions later) {
  const std::string what = fmt::format(
      "revision{} {} cannot be taken back alone, because of revision{} {}; nothing was changed",
      Plural(wanted), fmt::join(wanted, ", "), Plural(later), fmt::join(later, ", "));
  wanted.merge(later);
  return Failure(what, fmt::format("To take all of it back together, type: nccadm undo {}",
                                   fmt::join(wanted, " ")));
}

int Undo(Session& session, const std::vector<std::string>& texts) {
  CNCCNet& net = session.Net();
  const std::uint64_t last = net.GetRevision();
  Revisions wanted;
  for (const std::string& text : texts) {
    const auto number = ParseNumber(text, kNewest);
    if (!number) {
      throw Failure(fmt::format("\"{}\" is no revision", text), "'nccadm log' shows them.",
                    kExitUsage);
    }
    wanted.push_back(*number);
  }
  if (wanted.empty()) wanted.push_back(last);
  wanted.sort();
  wanted.unique();
  std::vector<std::uint32_t> objects;
  for (const CHistoryEntry& entry : ReadEntries(session, wanted.front(), wanted.back())) {
    if (std::find(wanted.begin(), wanted.end(), entry.revision) != wanted.end())
      objects.insert(objects.end(), entry.objects.begin(), entry.objects.end());
  }
  const State before = TakeState(net, objects);
  session.SetCommand(fmt::format("undo {}", fmt::join(wanted, " ")));
  Batch batch(session);
  Revisions in_the_way;
  if (!net.Undo(wanted, in_the_way)) {
    if (in_the_way.empty()) throw session.Refusal("nothing was taken back");
    throw InTheWay(wanted, in_the_way);
  }
  const std::vector<Change> changes = Compare(before, TakeState(net, objects), session.Apps());
  batch.Store();
  Output& out = session.Out();
  if (out.IsJson()) {
    out.Document(
        {{"undone", wanted}, {"revision", net.GetRevision()}, {"changes", ListOf(changes)}});
    return kExitDone;
  }
  PrintChanges(out, changes);
  out.Say(fmt::format("Took back revision{} {}; 'nccadm undo' does it again.", Plural(wanted),
                      fmt::join(wanted, ", ")));
  return kExitDone;
}

// history -----------------------------------------------------------------------------------------

std::string TextOf(const CHistoryRule& rule) {
  switch (rule.keep) {
    case CHistoryRule::kUnits:
      return fmt::format("{} revisions", rule.count);
    case CHistoryRule::kDays:
      return fmt::format("{} days", rule.count);
    case CHistoryRule::kNone:
      return "none";
    case CHistoryRule::kAll:
      break;
  }
  return "all";
}

int ShowHistory(Session& session, const std::string& keep) {
  if (keep.empty()) session.OnlyRead();
  CNCCNet& net = session.Net();
  if (!keep.empty() && !net.SetHistoryRule(ParseHistoryRule(keep)))
    throw session.Refusal("the rule was not stored");
  CHistoryRule rule;
  std::uint64_t oldest = 0;
  if (!net.GetHistoryRule(rule, oldest)) throw session.Refusal("the history cannot be read");
  const std::uint64_t kept = net.GetRevision() + 1 - oldest;
  if (session.IsJson()) {
    session.Out().Document({{"keep", TextOf(rule)},
                            {"revision", net.GetRevision()},
                            {"kept", kept},
                            {"oldest", kept == 0 ? Json() : Json(oldest)}});
    return kExitDone;
  }
  session.Out().PrintTable({{"keep", TextOf(rule)},
                            {"revision", std::to_string(net.GetRevision())},
                            {"kept", std::to_string(kept)},
                            {"oldest", kept == 0 ? "none" : std::to_string(oldest)}});
  return kExitDone;
}

}  // namespace

std::string TitleOf(const CHistoryEntry& entry) {
  std::string title = fmt::format("revision {}, {}, {}", entry.revision, LocalTime(entry.time),
                                  Printable(entry.person));
  const std::string& what = entry.text.empty() ? entry.program : entry.text;
  return what.empty() ? title : title + ": " + Printable(what);
}

Json JsonOf(const CHistoryEntry& entry) {
  return {{"revision", entry.revision},
          {"time", UtcTime(entry.time)},
          {"operator", entry.person},
          {"program", entry.program},
          {"text", entry.text}};
}

CHistoryRule ParseHistoryRule(const std::string& text) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
  const bool in_days = text.ends_with('d');
  const auto count = ParseNumber(text.substr(0, text.size() - (in_days ? 1 : 0)), kMost);
  CHistoryRule rule;
  if (text == "none") {
    rule.keep = CHistoryRule::kNone;
  } else if (count && *count > 0) {
    rule = {in_days ? CHistoryRule::kDays : CHistoryRule::kUnits,
            static_cast<std::uint32_t>(*count)};
  } else if (text != "all") {
    throw Failure(fmt::format("\"{}\" does not say how much of the history to keep", text),
                  "Give all, none, a number of revisions such as 1000, or of days such as 90d.",
                  kExitUsage);
  }
  return rule;
}

void AddHistoryCommands(CommandLine& line) {
  auto log = std::make_shared<LogArguments>();
  CLI::App& log_command = line.AddCommand(
      line.Root(), "log", "Show who changed what, the newest first; of one object over its renames",
      "log\nlog Ivanov --since 7d\nlog --user anna -n 5", log, ShowLog);
  log_command.add_option("OBJECT", log->object,
                         "Only what changed this one: its name or id:NUMBER");
  log_command.add_option("--user", log->person, "Only what this operator did")->type_name("WHO");
  log_command
      .add_option("--since", log->since, "Only what came behind this revision or time, without it")
      ->type_name("WHEN");
  log_command.add_option("-n,--last", log->most, "Only so many")
      ->type_name("N")
      ->check([](const std::string& text) {
        return text.starts_with('-') ? fmt::format("\"{}\" is no number of changes", text) : "";
      });
  log_command.add_flag("--full", log->is_full, "Also what changed more than 200 objects, in full");

  auto revisions = std::make_shared<DiffArguments>();
  CLI::App& diff = line.AddCommand(
      line.Root(), "diff", "Show what changed from one revision or time to another",
      "diff 12\ndiff 12 15\ndiff 2026-03-01 2d\ndiff 12 --description", revisions, ShowDiff);
  diff.add_option("FROM", revisions->from, "A revision, or a time as --at takes it")->required();
  diff.add_option("TO", revisions->to, "The same; the last revision when it is left out");
  diff.add_flag("--description", revisions->as_description,
                "As the lines by which the two descriptions differ, which patch takes");

  auto undone = std::make_shared<std::vector<std::string>>();
  CLI::App& undo =
      line.AddCommand(line.Root(), "undo", "Take the last change back, or those of some revisions",
                      "undo\nundo 12\nundo 12 15 --dry-run", undone, Undo);
  undo.add_option("REVISION", *undone, "As 'nccadm log' shows them");
  line.AddDryRun(undo);

  auto keep = std::make_shared<std::string>();
  line.AddCommand(line.Root(), "history", "Show or set how much of the history is kept",
                  "history\nhistory --keep 90d", keep, ShowHistory)
      .add_option("--keep", *keep, "all, none, a number of revisions, or of days such as 90d")
      ->type_name("HOWMUCH");
}

}  // namespace ncc::tool
