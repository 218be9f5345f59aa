// shell
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "commands/batch.h"
#include "commands/command_line.h"
#include "commands/line_history.h"
#include "commands/proposals.h"
#include "console/command_process.h"
#include "console/failure.h"
#include "console/line_editor.h"
#include "console/terminal.h"
#include "console/text.h"
#include "console/typed_line.h"
#include "files/files.h"

namespace ncc::tool {
namespace {

constexpr std::size_t kMostBytes = 64U << 20;

struct Arguments {
  bool is_batch = false;
  bool keeps_going = false;
  bool has_no_history = false;
};

std::vector<std::string> FilesLike(const std::string& typed) {
  const std::string folder = typed.substr(0, typed.rfind('/') + 1);
  const std::string start = typed.substr(folder.size());
  std::vector<std::string> files;
  std::error_code error;
  for (const auto& entry :
       std::filesystem::directory_iterator(folder.empty() ? "." : folder, error)) {
    const std::string name = entry.path().filename().string();
    if (!name.starts_with(start) || (start.empty() && name.starts_with('.'))) continue;
    files.push_back(folder + name + (entry.is_directory(error) ? "/" : ""));
  }
  std::sort(files.begin(), files.end());
  return files;
}

constexpr std::string_view kEndings[] = {".db", ".cluster"};

// Databases by their names, and folders.
std::vector<std::string> DatabasesLike(const std::string& typed) {
  std::vector<std::string> words;
  for (std::string& file : FilesLike(typed)) {
    const auto ending = std::find_if(std::begin(kEndings), std::end(kEndings),
                                     [&](std::string_view one) { return file.ends_with(one); });
    if (ending != std::end(kEndings))
      file.resize(file.size() - ending->size());
    else if (!file.ends_with('/'))
      continue;
    if (file.starts_with(typed)) words.push_back(std::move(file));
  }
  return words;
}

// What all of them begin with, in whole letters.
std::string CommonStart(const std::vector<std::string>& words) {
  std::string_view start = words.front();
  for (const std::string& word : words) {
    const auto differ = std::mismatch(start.begin(), start.end(), word.begin(), word.end());
    std::size_t length = static_cast<std::size_t>(differ.first - start.begin());
    const auto is_inside = [&](std::size_t at) {
      return at < start.size() && (static_cast<unsigned char>(start[at]) & 0xC0U) == 0x80U;
    };
    while (is_inside(length)) --length;
    start = start.substr(0, length);
  }
  return std::string(start);
}

class Shell {
 public:
  Shell(CommandLine& line, Session& session, const Arguments& arguments)
      : line_(line), out_(session.Out()), arguments_(arguments), database_(line.Database()) {
    if (!IsTerminal(Stream::kInput) || !IsTerminal(Stream::kError)) return;
    editor_ = std::make_unique<LineEditor>([this](std::string_view text) { return Find(text); });
    if (!arguments.has_no_history) LoadHistory();
  }

  // Until the end of input. On a terminal that is no failure, whatever the last command gave.
  int Run() {
    if (editor_) out_.Say("'help' lists the commands; 'exit' or Ctrl-D leaves.");
    std::string text;
    for (std::size_t number = 1; !ended_ && Read("", text); ++number) {
      const int code = RunText(text);
      if (!editor_ && code != kExitDone && (!arguments_.keeps_going || code == kExitInterrupted)) {
        out_.Warn(fmt::format("line {} ended with exit code {}; nothing behind it was carried out",
                              number, code));
        return code;
      }
      if (editor_ || code != kExitDone) code_ = code;
    }
    return editor_ ? kExitDone : code_;
  }

  // All lines up to the end of input.
  std::string Collect() {
    if (!editor_) return ReadFile("-", kMostBytes);
    out_.Say("Ctrl-D carries all lines out as one change; Ctrl-C drops them.");
    std::string all;
    for (std::string text; Read(" batch", text);) all += text + "\n";
    return all;
  }

 private:
  void LoadHistory() {
    KeepingHistory([this] {
      history_ = std::make_unique<LineHistory>();
      for (const std::string& line : history_->Lines()) editor_->Remember(line);
    });
  }

  // Where lines cannot be kept they are not, from then on.
  template <class Action>
  void KeepingHistory(Action action) {
    try {
      action();
    } catch (const std::exception& error) {
      history_.reset();
      out_.Warn(fmt::format("the lines that are typed are not kept: {}", error.what()));
    }
  }

  std::string Prompt(const std::string& what) const {
    const std::string name = database_.substr(database_.rfind('/') + 1);
    const std::string code = code_ == kExitDone ? "" : fmt::format(" [{}]", code_);
    return fmt::format("nccadm{}{}{}{}> ", name.empty() ? "" : " ", name, what, code);
  }

  // The next line; false at the end. In a batch the interrupt key drops more than a line.
  bool Read(const std::string& what, std::string& text) {
    if (!editor_) {
      if (std::getline(std::cin, text)) return true;
      if (std::ferror(stdin) != 0) throw Failure("standard input cannot be read");
      return false;
    }
    auto result = editor_->Read(Prompt(what), text);
    while (result == LineEditor::Result::kInterrupted) {
      if (arguments_.is_batch) {
        throw Failure("interrupted; nothing was changed", {}, kExitInterrupted);
      }
      result = editor_->Read(Prompt(what), text);
    }
    if (result == LineEditor::Result::kEnd) return false;
    if (!TakeApart(text).ends_in_word) text.erase(text.find_last_not_of(' ') + 1);
    if (text.empty() || text.front() == ' ') return true;  // as other shells have it
    editor_->Remember(text);
    if (history_) KeepingHistory([&] { history_->Add(text); });
    return true;
  }

  // Gives the exit code, the last one where there is no command.
  int RunText(std::string_view text) {
    try {
      std::vector<std::string> words =
          WordsOf(std::exchange(is_first_, false) ? WithoutByteOrderMark(text) : text);
      // As it stands in hints and documents.
      if (!words.empty() && words.front() == "nccadm") words.erase(words.begin());
      return words.empty() ? code_ : RunWords(std::move(words));
    } catch (const Failure& failure) {
      out_.Warn(failure.what());
      if (!failure.Hint().empty()) out_.Say(failure.Hint());
      return failure.ExitCode();
    }
  }

  int RunWords(std::vector<std::string> words) {
    const std::string& first = words.front();
    if (words.size() == 1 && (first == "exit" || first == "quit")) {
      ended_ = true;
      return code_;
    }
    if (first == "db") return ChangeDatabase(words);
    if (first == "shell") throw Failure("this is the shell already", {}, kExitUsage);
    if (first == "help") {
      words.erase(words.begin());
      words.emplace_back("--help");
    }
    std::vector<std::string> all = line_.OptionsInForce();
    if (!database_.empty()) all.push_back("--db=" + database_);
    std::move(words.begin(), words.end(), std::back_inserter(all));
    return RunCommand(all, editor_ ? CommandInput::kInherited : CommandInput::kNone);
  }

  int ChangeDatabase(const std::vector<std::string>& words) {
    if (words.size() > 2 || words.back().empty())
      throw Failure("a database is one word", "Type: db DIR/NAME", kExitUsage);
    if (words.size() == 2) database_ = words.back();
    out_.Say(database_.empty() ? "There is no database." : Printable(database_));
    return kExitDone;
  }

  Completion Find(std::string_view text) const {
    TypedLine line = TakeApart(text);
    const auto drop = [&line](const char* word) {
      const bool is_there = line.words.size() > (line.ends_in_word ? 1U : 0U);
      if (!is_there || line.words.front() != word) return false;
      line.words.erase(line.words.begin());
      return true;
    };
    drop("nccadm");
    const bool is_first = line.words.empty() || (line.ends_in_word && line.words.size() == 1);
    const bool helps = drop("help");
    const std::string typed = line.Typed();
    Proposals found;
    if (drop("db")) {
      found.words = DatabasesLike(typed);
    } else {
      found = Propose(line_.Root(), line, database_);
      if (found.are_files) found.words = FilesLike(typed);
    }
    for (const char* own : {"db", "exit", "help", "quit"}) {
      if (is_first && !helps && std::string_view(own).starts_with(typed))
        found.words.emplace_back(own);
    }
    std::sort(found.words.begin(), found.words.end());
    return CompletionOf(line, std::move(found.words));
  }

  static Completion CompletionOf(const TypedLine& line, std::vector<std::string> words) {
    Completion completion;
    if (words.empty()) return completion;
    const std::string common = CommonStart(words);
    completion.addition = Escaped(common.substr(line.Typed().size()), line.quote);
    if (words.size() == 1 && !common.ends_with('/')) {
      if (line.quote != '\0') completion.addition += line.quote;
      completion.addition += ' ';
    }
    completion.choices = std::move(words);
    return completion;
  }

  CommandLine& line_;
  Output& out_;
  const Arguments& arguments_;
  std::string database_;
  std::unique_ptr<LineEditor> editor_;  // where there is a terminal
  std::unique_ptr<LineHistory> history_;
  bool is_first_ = true;
  bool ended_ = false;
  int code_ = kExitDone;  // of the last command; in a script of the last that did not give 0
};

int RunShell(CommandLine& line, Session& session, const Arguments& arguments) {
  if (!arguments.is_batch) return Shell(line, session, arguments).Run();
  const std::string text = Shell(line, session, arguments).Collect();
  line.WatchInterrupts();
  return RunAsOneChange(session, "-", text);
}

}  // namespace

void AddShellCommand(CommandLine& line) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App& shell = CommandLine::AddCommand(
      line.Root(), "shell",
      "Type commands one after the other, with completion of names; or carry out those of "
      "standard input up to the first that fails",
      "shell\nshell < move.txt\nshell --batch < move.txt");
  CLI::Option* batch =
      shell.add_flag("--batch", arguments->is_batch,
                     "Carry all of them out as one change, as 'nccadm batch' does");
  shell
      .add_flag("--keep-going", arguments->keeps_going,
                "Go on behind a command that fails; the exit code is that of the last such one")
      ->excludes(batch);
  shell.add_flag("--no-history", arguments->has_no_history,
                 "Neither read nor keep the lines that are typed");
  line.OnRun(
      shell, [&line, arguments](Session& session) { return RunShell(line, session, *arguments); },
      Interrupts::kOfCommand);
}

}  // namespace ncc::tool
