// completion: a script for bash, made from the tree of commands itself
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "commands/command_line.h"
#include "console/failure.h"

namespace ncc::tool {
namespace {

constexpr const char* kScriptHead = R"(# bash completion of nccadm
declare -A _nccadm_words=(
)";

constexpr const char* kScriptTail = R"()
_nccadm() {
  local current=${COMP_WORDS[COMP_CWORD]} path=nccadm word
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    [[ -n ${_nccadm_words["$path $word"]+known} ]] && path="$path $word"
  done
  local words="${_nccadm_words["$path"]} ${_nccadm_words[nccadm-options]}"
  COMPREPLY=($(compgen -W "$words" -- "$current"))
}
complete -o default -F _nccadm nccadm
)";

std::vector<std::string> OptionsOf(const CLI::App& app) {
  std::vector<std::string> words;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) words.push_back("--" + name);
  }
  return words;
}

void AddWords(const CLI::App& app, const std::string& path, std::string& script) {
  std::vector<std::string> words;
  if (app.get_parent() != nullptr) words = OptionsOf(app);
  const auto commands = app.get_subcommands([](const CLI::App*) { return true; });
  for (const CLI::App* command : commands) words.push_back(command->get_name());
  script += fmt::format("  [\"{}\"]=\"{}\"\n", path, fmt::join(words, " "));
  for (const CLI::App* command : commands)
    AddWords(*command, path + " " + command->get_name(), script);
}

}  // namespace

void AddCompletionCommand(CommandLine& line) {
  CLI::App& completion = CommandLine::AddCommand(
      line.Root(), "completion", "Print a script that completes commands in bash",
      "completion > ~/.local/share/bash-completion/completions/nccadm");
  line.RefuseAt(completion);
  line.OnRun(completion, [&line](Session& session) {
    std::string script = kScriptHead;
    script += fmt::format("  [nccadm-options]=\"{}\"\n", fmt::join(OptionsOf(line.Root()), " "));
    AddWords(line.Root(), "nccadm", script);
    script += kScriptTail;
    if (session.IsJson()) {
      session.Out().Document({{"script", script}});
    } else {
      session.Out().Raw(script);
    }
    return kExitDone;
  });
}

}  // namespace ncc::tool
