// batch
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "commands/command_line.h"
#include "console/failure.h"
#include "console/text.h"
#include "files/files.h"

namespace ncc::tool {
namespace {

constexpr std::size_t kMostBytes = 64U << 20;

// The words of a line as a shell takes them apart: blanks, quotes, a backslash, # for a remark.
// Nothing when a quote does not end.
std::optional<std::vector<std::string>> WordsOf(std::string_view line) {
  std::vector<std::string> words;
  bool in_word = false;
  char quote = '\0';
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (quote == '\0' && (c == ' ' || c == '\t' || c == '\r')) {
      in_word = false;
      continue;
    }
    if (quote == '\0' && !in_word && c == '#') break;
    if (!in_word) words.emplace_back();
    in_word = true;
    if (c == quote) {
      quote = '\0';
    } else if (quote == '\0' && (c == '"' || c == '\'')) {
      quote = c;
    } else {
      const bool escapes = c == '\\' && quote != '\'' && i + 1 < line.size();
      words.back() += escapes ? line[++i] : c;
    }
  }
  if (quote != '\0') return std::nullopt;
  return words;
}

[[noreturn]] void ThrowAt(const std::string& file, std::size_t number, const Failure& failure) {
  throw Failure(
      fmt::format("{}:{}: {}; none of the commands was carried out", file, number, failure.what()),
      failure.Hint(), failure.ExitCode());
}

// Says how many commands there were.
std::size_t RunLines(Session& session, const std::string& file, std::string_view text) {
  std::size_t count = 0;
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    try {
      const auto words = WordsOf(line);
      if (!words) throw Failure("a quote does not end", {}, kExitUsage);
      if (words->empty()) continue;
      ++count;
      CommandLine::RunInUnit(session, *words);
    } catch (const Failure& failure) {
      ThrowAt(file, number, failure);
    }
  }
  return count;
}

int RunBatch(Session& session, const std::string& file) {
  CNCCNet& net = session.Net();
  const std::string text = ReadFile(file, kMostBytes);
  Batch batch(session);
  Output& out = session.Out();
  if (out.IsJson()) out.Mute(true);
  const std::size_t count = RunLines(session, file, WithoutByteOrderMark(text));
  if (!session.IsDryRun()) out.Mute(false);
  batch.Store();
  out.Say(fmt::format("{} command{} carried out as one change.", count, count == 1 ? "" : "s"));
  if (out.IsJson()) out.Document({{"commands", count}, {"revision", net.GetRevision()}});
  return kExitDone;
}

}  // namespace

void AddBatchCommand(CommandLine& line) {
  auto file = std::make_shared<std::string>();
  CLI::App& batch = line.AddCommand(
      line.Root(), "batch",
      "Carry out commands, one a line without 'nccadm', as one change that others see whole or not "
      "at all",
      "batch move.txt --dry-run\nbatch move.txt\nbatch - < move.txt", file, RunBatch);
  batch.add_option("FILE", *file, "The commands; - for standard input")->required();
  line.AddDryRun(batch);
}

}  // namespace ncc::tool
