// explain: why a node sees another one, and why a user is a member at a node
#include "commands/explain.h"

#include <memory>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "commands/command_line.h"
#include "network/reasons.h"
#include "network/reference.h"

namespace ncc::tool {
namespace {

constexpr std::size_t kMostMissing = 6;  // that are told one by one

struct Arguments {
  std::string file;
  std::vector<std::string> why;
  std::vector<std::string> why_not;
};

struct Pair {
  Object one;
  Object other;
  CSight sight;

  bool IsMembership() const { return one.kind == Kind::kUser; }
};

Pair Ask(Session& session, const std::string& one, const std::string& other) {
  Pair pair{FindAnyObject(session, one), FindNode(session, other), {}};
  const unsigned long from = pair.one.id;
  const unsigned long to = pair.other.id;
  if (!pair.one.IsNode() && !pair.IsMembership()) {
    throw Failure(fmt::format("the {} {} sees nothing", WordOf(pair.one.kind), Quoted(pair.one)),
                  "Only servers, APs and users do.");
  }
  const bool is_known = pair.IsMembership() ? ExplainMembership(session.Net(), from, to, pair.sight)
                                            : ExplainSight(session.Net(), from, to, pair.sight);
  if (!is_known) throw session.Refusal("this cannot be explained");
  return pair;
}

std::vector<std::string> CommandsOf(ReasonWriter& writer, const Reasons& facts) {
  std::vector<std::string> commands;
  for (const CReason& fact : facts) commands.push_back(writer.CommandFor(fact));
  return commands;
}

void PrintMissing(Output& out, ReasonWriter& writer, const CSight& sight) {
  std::size_t left = sight.missing.size();
  for (const CReason& fact : sight.missing) {
    if (sight.missing.size() - left == kMostMissing) {
      out.Line(fmt::format("  and {} more such facts", left));
      break;
    }
    --left;
    out.Line("  " + writer.TextOfMissing(fact));
  }
  if (sight.mends.empty()) {
    out.Line("Nothing that is there could mend it: a node group and a Dep are needed.");
    return;
  }
  out.Line("To mend it:");
  bool is_first = true;
  for (const Reasons& mend : sight.mends) {
    if (!std::exchange(is_first, false)) out.Line("or:");
    for (const std::string& command : CommandsOf(writer, mend)) out.Line("  " + command);
  }
}

// Which lines the file of the one has about the other.
void PrintLines(Output& out, ReasonWriter& writer, const Pair& pair) {
  if (pair.sight.lines.empty()) return;
  out.Line(fmt::format("In the file of the {} about the {}:", writer.NameOf(pair.one.id),
                       writer.NameOf(pair.other.id)));
  for (const CSightLine& line : pair.sight.lines) {
    if (line.missing.empty()) {
      out.Line(fmt::format("  line {}: {}", line.kind,
                           pair.sight.is_there ? "is there" : "nothing else is missing"));
    }
    for (const CReason& fact : line.missing) {
      out.Line(fmt::format("  no line {}: {}: {}", line.kind, writer.TextOfMissing(fact),
                           writer.CommandFor(fact)));
    }
  }
}

Json LinesJson(ReasonWriter& writer, const CSight& sight) {
  Json lines = Json::array();
  for (const CSightLine& line : sight.lines) {
    lines.push_back({{"kind", line.kind},
                     {"there", sight.is_there && line.missing.empty()},
                     {"missing", writer.JsonOfMissing(line.missing)},
                     {"commands", CommandsOf(writer, line.missing)}});
  }
  return lines;
}

Json JsonOf(ReasonWriter& writer, const Pair& pair) {
  Json mends = Json::array();
  for (const Reasons& mend : pair.sight.mends) mends.push_back(CommandsOf(writer, mend));
  return {{pair.IsMembership() ? "user" : "node", writer.JsonOfObject(pair.one.id)},
          {"other", writer.JsonOfObject(pair.other.id)},
          {pair.IsMembership() ? "is_member" : "sees", pair.sight.is_there},
          {"reasons", writer.JsonOf(pair.sight.reasons)},
          {"missing", writer.JsonOfMissing(pair.sight.missing)},
          {"mends", std::move(mends)},
          {"lines", LinesJson(writer, pair.sight)}};
}

void Print(Session& session, const Pair& pair) {
  Output& out = session.Out();
  ReasonWriter writer(session);
  const bool is_there = pair.sight.is_there;
  const char* words = is_there ? "sees" : "does not see";
  if (pair.IsMembership()) words = is_there ? "is a member at" : "is no member at";
  out.Line(out.Paint(Style::kHeading, fmt::format("The {} {} the {}.", writer.NameOf(pair.one.id),
                                                  words, writer.NameOf(pair.other.id))));
  for (const CReason& fact : pair.sight.reasons) out.Line("  " + writer.TextOf(fact));
  if (!is_there) PrintMissing(out, writer, pair.sight);
  PrintLines(out, writer, pair);
}

int Explain(Session& session, const Arguments& arguments) {
  session.OnlyRead();
  const int forms = (arguments.file.empty() ? 0 : 1) + (arguments.why.empty() ? 0 : 1) +
                    (arguments.why_not.empty() ? 0 : 1);
  if (forms != 1) {
    throw Failure("a file, --why or --why-not is to be given",
                  "'nccadm explain --help' shows the forms.", kExitUsage);
  }
  if (!arguments.file.empty()) return ExplainFileOrLine(session, arguments.file);
  const auto& pair = arguments.why.empty() ? arguments.why_not : arguments.why;
  if (pair.size() != 2) {
    throw Failure("--why and --why-not take two: who sees, and whom",
                  "Such as 'nccadm explain --why North Center'.", kExitUsage);
  }
  return ExplainPair(session, pair.front(), pair.back());
}

}  // namespace

int ExplainPair(Session& session, const std::string& one, const std::string& other) {
  const Pair pair = Ask(session, one, other);
  if (session.IsJson()) {
    ReasonWriter writer(session);
    session.Out().Document(JsonOf(writer, pair));
  } else {
    Print(session, pair);
  }
  return pair.sight.is_there ? kExitDone : kExitFound;
}

void AddExplainCommand(CommandLine& line) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App& command = line.AddCommand(
      line.Root(), "explain",
      "Explain why one node sees another or does not, why a user is a member at a node or is not, "
      "or what put a line into a generated file",
      "explain --why-not North Center\nexplain --why-not Ivanov Center\n"
      "explain out/APDB/N/apn0004.txt\nexplain out/APDB/N/apn0004.txt:3\n"
      "explain out/MAP/node1.map:2 --at 3d",
      arguments, Explain);
  command.add_option(
      "FILE", arguments->file,
      "A generated file, or its name alone; FILE:LINE for one line, or one record of "
      "a map");
  const auto add_pair = [&](const char* name, std::vector<std::string>& pair,
                            const char* description) {
    command.add_option(name, pair, description)->expected(1, 2)->type_name("ONE NODE");
  };
  add_pair("--why", arguments->why, "Why the one, a server, AP or user, sees the node");
  add_pair("--why-not", arguments->why_not,
           "Why it does not, and what would mend it; exit code 3 when it does not");
}

}  // namespace ncc::tool
