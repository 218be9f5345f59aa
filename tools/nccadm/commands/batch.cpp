// batch
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "commands/batch.h"
#include "commands/command_line.h"
#include "console/failure.h"
#include "console/text.h"
#include "console/typed_line.h"
#include "files/files.h"

namespace ncc::tool {
namespace {

constexpr std::size_t kMostBytes = 64U << 20;

void RefuseControls(std::string_view line) {
  for (const char c : line) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte >= 0x20 && byte != 0x7F) || c == '\t' || c == '\r') continue;
    throw Failure(fmt::format("the line holds a control character, \\x{:02X}", byte),
                  "Commands are text in UTF-8.", kExitUsage);
  }
}

struct Result {
  std::size_t line;
  Output::Held said;
};

// What each of the commands says.
std::vector<Result> RunLines(Session& session, const std::string& file, std::string_view text) {
  std::vector<Result> results;
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    try {
      RefuseControls(line);
      const std::vector<std::string> words = WordsOf(line);
      if (words.empty()) continue;
      CommandLine::RunInUnit(session, words);
      results.push_back({number, session.Out().TakeHeld()});
    } catch (const Failure& failure) {
      throw failure.WithText(fmt::format("{}:{}: {}; none of the commands was carried out", file,
                                         number, failure.what()));
    }
  }
  return results;
}

Json JsonOf(const std::vector<Result>& results) {
  Json list = Json::array();
  for (const auto& [line, said] : results) {
    Json result = said.results.empty() ? Json() : Json::parse(said.results);
    if (result.is_object()) {
      result.erase("schema");
      result.erase("revision");  // all have that of the batch
    }
    list.push_back({{"line", line}, {"result", std::move(result)}});
  }
  return list;
}

int RunBatch(Session& session, const std::string& file) {
  session.Net();
  return RunAsOneChange(session, file, ReadFile(file, kMostBytes));
}

}  // namespace

int RunAsOneChange(Session& session, const std::string& source, std::string_view text) {
  CNCCNet& net = session.Net();
  Batch batch(session);
  Output& out = session.Out();
  out.Hold();  // nobody is told of what may not come to be
  const std::vector<Result> results = RunLines(session, source, WithoutByteOrderMark(text));
  batch.Store();
  out.EndHold();
  for (const auto& [line, said] : results) {
    if (!out.IsJson()) out.Raw(said.results);
    for (const std::string& words : said.words) out.Say(words);
  }
  const std::size_t count = results.size();
  out.Say(fmt::format("{} command{} carried out as one change.", count, count == 1 ? "" : "s"));
  if (out.IsJson()) {
    out.Document(
        {{"commands", count}, {"revision", net.GetRevision()}, {"results", JsonOf(results)}});
  }
  return kExitDone;
}

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
