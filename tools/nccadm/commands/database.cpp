// init, info, backup, restore
#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <system_error>

#include <fmt/format.h>

#include "commands/command_line.h"
#include "commands/history.h"
#include "console/failure.h"
#include "console/output.h"
#include "console/text.h"
#include "network/network.h"
#include "network/view.h"

namespace ncc::tool {
namespace {

// An address has four hexadecimal digits for the network.
constexpr std::uint64_t kLastNetwork = 0xFFFF;

Json PreferencesJson(const Preferences& preferences) {
  Json json;
  VisitPreferences([&json](const char* key, const auto& value) { json[key] = value; }, preferences);
  return json;
}

Json InfoJson(Session& session, const Network& network) {
  CNCCNet& net = session.Net();
  const Preferences& p = network.preferences;
  const auto count = [&session](Kind kind) { return session.Shown().All(kind).size(); };
  std::size_t link_ends = 0;
  for (const ServerView& server : network.servers) link_ends += server.linked.size();
  return {{"database", {{"folder", net.GetDBPath()}, {"name", net.GetDBName()}}},
          {"network", p.net_number},
          {"revision", net.GetRevision()},
          {"objects",
           {{"servers", network.servers.size()},
            {"aps", network.ApCount()},
            {"links", link_ends / 2},
            {"users", count(Kind::kUser)},
            {"deps", count(Kind::kDep)},
            {"groups", count(Kind::kGroup)}}},
          {"counters",
           {{"next_id", p.next_id},
            {"server_counter", p.server_counter},
            {"ngrp_counter", p.ngrp_counter}}},
          {"preferences", PreferencesJson(p)}};
}

void PrintSection(Output& out, const Json& section) {
  for (const auto& [key, value] : section.items()) {
    out.Line(fmt::format("{:<16}{}", key, value.dump()));
  }
}

int ShowInfo(Session& session) {
  session.OnlyRead();
  const Network network = LoadNetwork(session.Net());
  const Json info = InfoJson(session, network);
  Output& out = session.Out();
  if (out.IsJson()) {
    out.Document(info);
    return kExitDone;
  }
  out.Line(fmt::format("{:<16}{}{}", "database", Printable(session.Net().GetDBPath()),
                       Printable(session.Net().GetDBName())));
  out.Line(fmt::format("{:<16}0x{:04X}", "network", network.preferences.net_number));
  out.Line(fmt::format("{:<16}{}", "revision", session.Net().GetRevision()));
  for (const char* section : {"objects", "counters", "preferences"}) {
    out.Line(out.Paint(Style::kHeading, section));
    PrintSection(out, info[section]);
  }
  return kExitDone;
}

struct InitArguments {
  std::string network;
  std::string keep = "all";
};

int Init(Session& session, const InitArguments& arguments) {
  const auto network = ParseNumber(arguments.network, kLastNetwork);
  if (!network || *network == 0) {
    throw Failure(fmt::format("\"{}\" is not a network number", arguments.network),
                  "It is a number from 1 to 65535, also as 0x1A.", kExitUsage);
  }
  const CHistoryRule rule = ParseHistoryRule(arguments.keep);
  CNCCNet& net = session.Create(static_cast<std::uint32_t>(*network));
  if (rule.keep != CHistoryRule::kAll && !net.SetHistoryRule(rule))
    throw session.Refusal("the database was made and keeps all of its history");
  session.Out().Say(fmt::format("Created the database {} for network 0x{:04X}.",
                                Printable(session.DatabaseText()), *network));
  if (session.IsJson()) session.Out().Document(InfoJson(session, LoadNetwork(net)));
  return kExitDone;
}

int Backup(Session& session, const std::string& file) {
  CNCCNet& net = session.Net();
  session.ConfirmReplacing(file);
  if (!net.Backup(file.c_str())) {
    throw session.Refusal(fmt::format("the copy {} could not be made", file));
  }
  std::error_code error;
  const auto bytes = std::filesystem::file_size(file, error);
  session.Out().Say(fmt::format("Copied revision {} to {} ({} bytes).", net.GetRevision(),
                                Printable(file), bytes));
  if (session.IsJson()) {
    session.Out().Document(
        {{"backup", {{"file", file}, {"bytes", bytes}, {"revision", net.GetRevision()}}}});
  }
  return kExitDone;
}

// The number of the network in the database of --db, where it can be read.
std::optional<std::uint32_t> StoredNetwork(const Session& session) {
  CNCCNet net;
  if (!session.Peek(net)) return std::nullopt;
  return net.Preferences()->net_number;
}

int Restore(Session& session, const std::string& copy) {
  const auto [revision, network] = session.CheckCopy(copy);
  const auto held = StoredNetwork(session);
  const std::string what = fmt::format("revision {} of the network 0x{:04X}", revision, network);
  const std::string other =
      held && *held != network ? fmt::format(", which holds the network 0x{:04X},", *held) : "";
  std::error_code error;
  if (std::filesystem::exists(session.DatabaseText() + ".db", error)) {
    session.Confirm(fmt::format("the database {}{} would be replaced by {} from {}",
                                session.DatabaseText(), other, what, copy));
  }
  const std::string kept = session.Restore(copy);
  session.Out().Say(fmt::format("Restored {} from {}.", what, Printable(copy)));
  if (!other.empty()) {
    session.Out().Warn(fmt::format("the database held another network before, 0x{:04X}", *held));
  }
  if (!kept.empty()) {
    session.Out().Say(fmt::format("What was there before is kept as {}.", Printable(kept)));
  }
  if (session.IsJson()) {
    session.Out().Document(
        {{"restored", {{"file", copy}, {"revision", revision}, {"network", network}}},
         {"kept", kept.empty() ? Json() : Json(kept)}});
  }
  return kExitDone;
}

}  // namespace

void AddDatabaseCommands(CommandLine& line) {
  auto arguments = std::make_shared<InitArguments>();
  CLI::App& init = line.AddCommand(line.Root(), "init", "Create a database",
                                   "--db /srv/ncc/city init --network 0x1A", arguments, Init);
  init.add_option("--network", arguments->network, "The number of the network")
      ->required()
      ->type_name("N");
  init.add_option("--keep-history", arguments->keep,
                  "all, none, a number of revisions, or of days such as 90d")
      ->type_name("HOWMUCH")
      ->capture_default_str();
  line.RefuseAt(init);

  CLI::App& info = CommandLine::AddCommand(
      line.Root(), "info", "Show the network number, the counters and the numbers of objects",
      "--db /srv/ncc/city info\n--db /srv/ncc/city info --json");
  line.OnRun(info, ShowInfo);

  auto file = std::make_shared<std::string>();
  CLI::App& backup =
      line.AddCommand(line.Root(), "backup", "Write a consistent copy of the database",
                      "--db /srv/ncc/city backup /var/backups/city.db", file, Backup);
  backup.add_option("FILE", *file, "The file for the copy")->required();

  CLI::App& restore = line.AddCommand(
      line.Root(), "restore", "Put a copy in the place of the database, which is kept beside it",
      "--db /srv/ncc/city restore /var/backups/city.db", file, Restore);
  restore.add_option("BACKUP", *file, "The copy, as backup writes it")->required();
  line.RefuseAt(restore);
}

}  // namespace ncc::tool
