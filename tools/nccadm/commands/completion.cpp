// completion: scripts for shells; complete: what these scripts ask
#include <exception>
#include <map>
#include <memory>
#include <string>

#include "commands/command_line.h"
#include "commands/proposals.h"
#include "console/typed_line.h"

namespace ncc::tool {
namespace {

// The line goes as it is typed, up to the cursor. What comes back begins with a line that says
// whether any file will do.
const std::map<std::string, const char*> kScripts = {
    {"bash", R"(# bash completion of nccadm
_nccadm() {
  mapfile -t COMPREPLY < <("$1" complete --breaks "$COMP_WORDBREAKS " \
    -- "${COMP_LINE:0:COMP_POINT}" 2>/dev/null)
  if [[ ${COMPREPLY[0]} == files ]]; then
    COMPREPLY=()
    compopt -o default
  else
    COMPREPLY=("${COMPREPLY[@]:1}")
  fi
}
complete -F _nccadm nccadm
)"},
    {"zsh", R"(#compdef nccadm
# zsh completion of nccadm
_nccadm() {
  local -a answer
  answer=("${(@f)$($words[1] complete -- \
    "${(j: :)words[1,CURRENT-1]} $IPREFIX$QIPREFIX$PREFIX" 2>/dev/null)}")
  if [[ $answer[1] == files ]]; then
    _files
  else
    shift answer
    compadd -a answer
  fi
}
if [[ $funcstack[1] == _nccadm ]]; then _nccadm "$@"; else compdef _nccadm nccadm; fi
)"},
    {"fish", R"(# fish completion of nccadm
function __nccadm_complete
    set -l answer (nccadm complete -- (commandline -cp | string collect) 2>/dev/null)
    if test "$answer[1]" = files
        __fish_complete_path (commandline -ct)
    else
        string join \n -- $answer[2..-1]
    end
end
complete -c nccadm -f -a '(__nccadm_complete)'
)"},
};

int PrintScript(Session& session, const std::string& shell) {
  const std::string script = kScripts.at(shell);
  if (session.IsJson()) {
    session.Out().Document({{"script", script}});
  } else {
    session.Out().Raw(script);
  }
  return kExitDone;
}

struct Question {
  std::string line;
  std::string breaks;
};

// For a shell that parts words at `breaks`: what is to stand for the last part. Else whole words.
std::string Answer(const CLI::App& root, const Question& question, const std::string& database) {
  std::string text = question.line;
  TypedLine line = TakeApart(text, question.breaks);
  if (line.ends_in_escape) {  // what bash puts in where names go on with different signs
    text.pop_back();
    line = TakeApart(text, question.breaks);
  }
  if (line.words.size() < (line.ends_in_word ? 2 : 1)) return {};
  line.words.erase(line.words.begin());
  const Proposals found = Propose(root, line, database);
  const std::size_t typed = line.Typed().size();
  std::string answer = found.are_files ? "files\n" : "words\n";
  for (const std::string& word : found.words) {
    answer += question.breaks.empty()
                  ? word
                  : text.substr(line.last_part) + Escaped(word.substr(typed), line.quote);
    answer += '\n';
  }
  return answer;
}

// In the midst of a line that somebody types there is no place for failures.
void AddComplete(CommandLine& line) {
  auto question = std::make_shared<Question>();
  CLI::App& complete =
      CommandLine::AddCommand(line.Root(), "complete", "What can stand at the end of a line",
                              "complete -- 'nccadm server show '");
  complete.group("");  // no help lists it
  complete.add_option("LINE", question->line, "As it is typed so far")->required();
  complete.add_option("--breaks", question->breaks, "Where the shell parts words besides blanks");
  line.OnRun(complete, [&line, question](Session& session) {
    try {
      session.Out().Raw(Answer(line.Root(), *question, line.Database()));
    } catch (const std::exception&) {
      return kExitFailed;
    }
    return kExitDone;
  });
}

}  // namespace

void AddCompletionCommand(CommandLine& line) {
  auto shell = std::make_shared<std::string>("bash");
  CLI::App& completion =
      line.AddCommand(line.Root(), "completion",
                      "Print a script that completes commands, options and names in a shell",
                      "completion > ~/.local/share/bash-completion/completions/nccadm\n"
                      "completion zsh > ~/.local/share/zsh/site-functions/_nccadm\n"
                      "completion fish > ~/.config/fish/completions/nccadm.fish",
                      shell, PrintScript);
  completion.add_option("SHELL", *shell, "Which one; bash when it is left out")
      ->type_name("bash|zsh|fish")
      ->check(CLI::IsMember({"bash", "zsh", "fish"}).description(""));
  AddComplete(line);
}

}  // namespace ncc::tool
