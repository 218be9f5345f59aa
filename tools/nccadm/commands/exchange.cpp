// exchange ...
#include <algorithm>
#include <filesystem>
#include <iterator>
#include <memory>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "commands/command_line.h"
#include "commands/view.h"
#include "console/failure.h"
#include "console/output.h"
#include "console/text.h"
#include "nccnet/exchange_check.h"
#include "nccnet/exchange_writer.h"
#include "nccnet/netdb.h"
#include "network/neighbour.h"
#include "network/object.h"

namespace ncc::tool {
namespace {

constexpr std::size_t kMostShown = 20;

struct WriteArguments {
  std::string out;
  std::string gate;
  std::string blank;
  std::uint32_t first = 0;
  std::uint32_t second = 0;
};

struct ReadArguments {
  std::string folder = "DB/IMPORT";
  std::uint32_t network = 0;
  TreeArguments tree;
  std::string find;
  std::string object;
};

// The library's reports hold names as the database has them, and the system's own words.
std::string Utf8FromReport(const std::string& text) {
  for (std::size_t position = 0; position < text.size();) {
    if (!NextCharacter(text, position)) return Utf8FromBytes(text);
  }
  return text;
}

std::string RequireBytes(const std::string& utf8, const char* option) {
  const auto bytes = BytesFromUtf8(utf8);
  if (!bytes) {
    throw Failure(fmt::format("{} \"{}\" has characters outside of code page 1251", option, utf8),
                  {}, kExitUsage);
  }
  return *bytes;
}

bool HasBlankInName(View& view) {
  return std::any_of(std::begin(kKinds), std::end(kKinds), [&view](Kind kind) {
    const std::vector<Object> objects = view.All(kind);
    return std::any_of(objects.begin(), objects.end(), [](const Object& object) {
      return object.name.find_first_of(" \t\n\v\f\r") != std::string::npos;
    });
  });
}

Failure Refused(Session& session, const CExchangeReport& report, bool replaces_blanks) {
  std::vector<Problem> problems;
  for (const std::string& reason : report.refused) {
    if (!session.IsJson() && problems.size() == kMostShown) {
      const std::size_t more = report.refused.size() - kMostShown;
      problems.push_back({0, 0, fmt::format("{} more; --json lists all", more)});
      break;
    }
    problems.push_back({0, 0, Utf8FromReport(reason)});
  }
  const bool has_blanks = !replaces_blanks && HasBlankInName(session.Shown());
  return Failure("no set was written", session.DatabaseText(), std::move(problems),
                 has_blanks ? "Blanks in names can be written as another character: "
                              "--replace-blanks _"
                            : "");
}

void ConfirmReplacing(Session& session, const std::string& folder, std::uint32_t network) {
  const auto present = ListExchangeSets(folder.c_str());
  if (std::find(present.begin(), present.end(), network) == present.end()) return;
  session.Confirm(fmt::format("the set of network {} in {} would be replaced", network, folder));
}

int Write(Session& session, const WriteArguments& arguments) {
  session.OnlyRead();
  const CExchangeGate gate{arguments.first, arguments.second,
                           RequireBytes(arguments.gate, "--name")};
  const std::string blank = RequireBytes(arguments.blank, "--replace-blanks");
  if (blank.size() > 1) {
    throw Failure("--replace-blanks takes one character", "Such as --replace-blanks _", kExitUsage);
  }
  CExchangeReport report;
  const CExchangeOptions options{blank.empty() ? '\0' : blank.front()};
  CNCCNet& net = session.Net();
  const std::uint32_t network = session.Shown().Number();
  ConfirmReplacing(session, arguments.out, network);
  if (!WriteExchangeSet(net, arguments.out.c_str(), gate, report, options)) {
    throw Refused(session, report, !blank.empty());
  }
  Json not_carried = Json::array();
  for (const std::string& what : report.not_carried) {
    not_carried.push_back(Utf8FromReport(what));
    session.Out().Warn(fmt::format("not carried: {}", Utf8FromReport(what)));
  }
  if (session.IsJson()) {
    session.Out().Document(
        {{"folder", arguments.out}, {"network", network}, {"not_carried", std::move(not_carried)}});
  }
  session.Out().Say(
      fmt::format("Wrote the set of network {} into {}.", network, Printable(arguments.out)));
  return kExitDone;
}

void RequireFolder(const std::string& folder) {
  std::error_code error;
  if (std::filesystem::is_directory(folder, error)) return;
  throw Failure(fmt::format("there is no folder {}", folder),
                "--dir names the folder with the files of neighbouring networks.");
}

// The list of networks and what the list says of each.
int ListNetworks(Session& session, const ReadArguments& arguments) {
  RequireFolder(arguments.folder);
  Table table = {{"NETWORK", "GATE", "SERVERS", "APS", "GROUPS", "DEPS", "USERS"}};
  Json all = Json::array();
  const auto number = [](std::size_t count) { return std::to_string(count); };
  for (const unsigned long network : ListExchangeSets(arguments.folder.c_str())) {
    try {
      Neighbour view(arguments.folder, static_cast<std::uint32_t>(network));
      const Gate gate = view.GateData();
      Json objects;
      table.push_back({number(network), PrintableName(gate.name)});
      for (const Kind kind : {Kind::kServer, Kind::kAp, Kind::kGroup, Kind::kDep, Kind::kUser}) {
        const std::size_t count = view.All(kind).size();
        table.back().push_back(number(count));
        objects[KeyOfAll(kind)] = count;
      }
      all.push_back(
          {{"network", network},
           {"gate",
            {{"name", Utf8FromBytes(gate.name)}, {"first", gate.first}, {"second", gate.second}}},
           {"objects", std::move(objects)}});
    } catch (const Failure& failure) {
      session.Out().Warn(failure.what());
      table.push_back({number(network), "-", "-", "-", "-", "-", "-"});
      all.push_back({{"network", network}, {"gate", nullptr}, {"problem", failure.what()}});
    }
  }
  if (session.IsJson()) {
    session.Out().Document({{"folder", arguments.folder}, {"networks", std::move(all)}});
  } else if (table.size() == 1) {
    session.Out().Say(fmt::format("There are no networks in {}.", Printable(arguments.folder)));
  } else {
    session.Out().PrintTable(table);
  }
  return kExitDone;
}

std::string TextOf(const CExchangeFault& fault) {
  if (fault.line == 0) return fmt::format("{}: {}", fault.file, fault.reason);
  return fmt::format("{}:{}: {}", fault.file, fault.line, fault.reason);
}

int Check(Session& session, const ReadArguments& arguments) {
  RequireFolder(arguments.folder);
  const auto faults = CheckExchangeSet(arguments.folder.c_str(), arguments.network);
  Output& out = session.Out();
  const bool loads = faults.empty() || !faults.front().is_fatal;
  Json all = Json::array();
  std::size_t shown = 0;
  for (const CExchangeFault& fault : faults) {
    if (session.IsJson()) {
      all.push_back({{"file", fault.file},
                     {"line", fault.line},
                     {"reason", Utf8FromReport(fault.reason)},
                     {"fatal", fault.is_fatal}});
    } else if (shown++ < kMostShown) {
      out.Line(Printable(Utf8FromReport(TextOf(fault))));
    }
  }
  if (session.IsJson()) {
    out.Document({{"folder", arguments.folder},
                  {"network", arguments.network},
                  {"loads", loads},
                  {"faults", std::move(all)}});
  } else if (shown > kMostShown) {
    out.Line(fmt::format("{} more; --json lists all", shown - kMostShown));
  }
  if (faults.empty()) {
    out.Say(fmt::format("The set of network {} is good.", arguments.network));
  } else if (loads) {
    out.Say("The set can be loaded; what leads to records that it lacks is not found.");
  } else {
    out.Say("The set cannot be loaded.");
  }
  return faults.empty() ? kExitDone : kExitFound;
}

int ShowNetwork(Session& session, const ReadArguments& arguments) {
  RequireFolder(arguments.folder);
  auto view = std::make_unique<Neighbour>(arguments.folder, arguments.network);
  const Neighbour& neighbour = *view;
  session.SetShown(std::move(view));
  int code = kExitDone;
  if (!arguments.find.empty()) {
    code = FindObjects(session, arguments.find);
  } else if (!arguments.object.empty()) {
    code = ShowObject(session, arguments.object);
  } else {
    code = ShowTree(session, arguments.tree);
  }
  if (neighbour.HasGaps()) {
    session.Out().Warn(
        fmt::format("the set lacks records that it refers to, and they are missing here; "
                    "'nccadm exchange check {}' lists them",
                    arguments.network));
  }
  return code;
}

void AddWrite(CommandLine& line, CLI::App& group) {
  auto arguments = std::make_shared<WriteArguments>();
  CLI::App& write = line.AddCommand(
      group, "write", "Write the set of files that describes this network to its neighbours",
      "exchange write --out /srv/ncc/outgoing --name Center\n"
      "exchange write --out /srv/ncc/outgoing --name Center --replace-blanks _",
      arguments, Write);
  write.add_option("--out", arguments->out, "The folder of the files; made when missing")
      ->type_name("DIR")
      ->required();
  write.add_option("--name", arguments->gate, "The name of the gateway, without blanks")
      ->type_name("GATE")
      ->required();
  write.add_option("--first", arguments->first, "The gateway's first number")
      ->type_name("N")
      ->capture_default_str();
  write.add_option("--second", arguments->second, "The gateway's second number")
      ->type_name("N")
      ->capture_default_str();
  write
      .add_option("--replace-blanks", arguments->blank,
                  "Stands for each blank in names, which the files cannot hold")
      ->type_name("C");
}

CLI::App& AddReader(CommandLine& line, CLI::App& group, const char* name, const char* description,
                    const char* examples, const std::shared_ptr<ReadArguments>& arguments,
                    int (*run)(Session&, const ReadArguments&)) {
  CLI::App& command = line.AddCommand(group, name, description, examples, arguments, run);
  line.RefuseAt(command);
  command.add_option("--dir", arguments->folder, "The folder with the files of the networks")
      ->type_name("DIR")
      ->capture_default_str();
  return command;
}

void AddNetwork(CLI::App& command, ReadArguments& arguments) {
  command.add_option("NET", arguments.network, "The number of the network")
      ->check(CLI::Range(1, 0xFFFF))
      ->required();
}

}  // namespace

void AddExchangeCommands(CommandLine& line) {
  CLI::App& group = line.AddGroup("exchange", "Sets of files between neighbouring networks");
  auto arguments = std::make_shared<ReadArguments>();
  AddWrite(line, group);
  AddReader(line, group, "nets", "List the networks whose sets are there",
            "exchange nets --dir /srv/ncc/incoming", arguments, ListNetworks);
  CLI::App& show = AddReader(
      line, group, "show", "Show a neighbouring network like 'tree', 'find' and 'show' this one",
      "exchange show 27\nexchange show 27 --groups --depth 3\nexchange show 27 --find 'North*'\n"
      "exchange show 27 --object id:12",
      arguments, ShowNetwork);
  AddNetwork(show, *arguments);
  AddTreeOptions(show, arguments->tree);
  CLI::Option* find = show.add_option("--find", arguments->find,
                                      "A part of the name, a pattern with * and ?, an id or an "
                                      "address; exit code 1 when there is none")
                          ->type_name("TEXT");
  CLI::Option* object = show.add_option("--object", arguments->object,
                                        "All about one: its name, id:NUMBER or its address");
  for (const char* other : {"--server", "--deps", "--groups"}) {
    find->excludes(show.get_option(other));
    object->excludes(show.get_option(other));
  }
  object->excludes(find);
  CLI::App& check = AddReader(
      line, group, "check",
      "Tell the first bad line of every file of a set, or links to what it lacks; exit code 3 "
      "when there is any",
      "exchange check 27 --dir /srv/ncc/incoming", arguments, Check);
  AddNetwork(check, *arguments);
}

}  // namespace ncc::tool
