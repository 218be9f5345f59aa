#include "console/line_editor.h"

#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <histedit.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "console/failure.h"
#include "console/text.h"

namespace ncc::tool {
namespace {

constexpr int kMostRemembered = 1000;
constexpr std::size_t kMostShown = 200;

std::size_t ColumnsOfTerminal() {
  winsize size = {};
  const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : 80;
}

// Names are UTF-8 here whatever the locale says of other texts.
EditLine* Begin() {
  const char* const name = std::setlocale(LC_CTYPE, "");
  if (name == nullptr || MB_CUR_MAX < 4) std::setlocale(LC_CTYPE, "C.UTF-8");
  return el_init("nccadm", stdin, stderr, stderr);
}

}  // namespace

struct LineEditor::Callbacks {
  static LineEditor& Of(EditLine* editor) {
    void* self = nullptr;
    el_get(editor, EL_CLIENTDATA, &self);
    return *static_cast<LineEditor*>(self);
  }
  static char* Prompt(EditLine* editor) { return Of(editor).prompt_.data(); }
  static unsigned char Complete(EditLine* editor, int) { return Of(editor).OnTabulator(); }
  static unsigned char Interrupt(EditLine* editor, int) {
    Of(editor).is_interrupted_ = true;
    return CC_EOF;
  }
  static unsigned char Suspend(EditLine*, int) {
    std::raise(SIGTSTP);
    return CC_REDISPLAY;
  }
};

LineEditor::InterruptBlock::InterruptBlock() {
  sigemptyset(&keys_);
  sigaddset(&keys_, SIGINT);
  pthread_sigmask(SIG_BLOCK, &keys_, &before_);
}

LineEditor::InterruptBlock::~InterruptBlock() {
  const timespec no_time = {};
  while (sigtimedwait(&keys_, nullptr, &no_time) > 0) {
    // Those that came are for nobody any more.
  }
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

LineEditor::LineEditor(Complete complete)
    : complete_(std::move(complete)),
      editor_(Begin(), el_end),
      former_(history_init(), history_end) {
  if (!editor_ || !former_) throw Failure("the terminal cannot be used for editing");
  Configure();
}

LineEditor::~LineEditor() = default;

void LineEditor::Configure() {
  EditLine* const editor = editor_.get();
  HistEvent event;
  history(former_.get(), &event, H_SETSIZE, kMostRemembered);
  history(former_.get(), &event, H_SETUNIQUE, 1);
  el_set(editor, EL_CLIENTDATA, this);
  el_set(editor, EL_PROMPT, Callbacks::Prompt);
  el_set(editor, EL_EDITOR, "emacs");
  el_set(editor, EL_SIGNAL, 1);
  el_set(editor, EL_HIST, history, former_.get());
  el_set(editor, EL_ADDFN, "complete", "Complete the word", Callbacks::Complete);
  el_set(editor, EL_ADDFN, "interrupt", "Drop the line", Callbacks::Interrupt);
  el_set(editor, EL_ADDFN, "suspend", "Suspend the shell", Callbacks::Suspend);
  el_set(editor, EL_BIND, "^I", "complete", nullptr);
  el_set(editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
  el_source(editor, nullptr);  // the user's own .editrc
  // The keys are letters here.
  el_set(editor, EL_SETTY, "-d", "-isig", nullptr);
  el_set(editor, EL_BIND, "^C", "interrupt", nullptr);
  el_set(editor, EL_BIND, "^Z", "suspend", nullptr);
}

LineEditor::Result LineEditor::Read(const std::string& prompt, std::string& line) {
  prompt_ = Printable(prompt);
  is_interrupted_ = false;
  int count = 0;
  const char* const typed = el_gets(editor_.get(), &count);
  if (is_interrupted_) {
    std::fputs("^C\n", stderr);
    return Result::kInterrupted;
  }
  if (typed == nullptr || count <= 0) {
    std::fputs("\n", stderr);
    return Result::kEnd;
  }
  line.assign(typed, static_cast<std::size_t>(count));
  line.erase(line.find_last_not_of("\r\n") + 1);
  return Result::kLine;
}

void LineEditor::Remember(const std::string& line) {
  HistEvent event;
  history(former_.get(), &event, H_ENTER, line.c_str());
}

unsigned char LineEditor::OnTabulator() {
  const LineInfo* const info = el_line(editor_.get());
  Completion completion;
  try {
    completion = complete_({info->buffer, static_cast<std::size_t>(info->cursor - info->buffer)});
  } catch (...) {
    return CC_ERROR;  // no exception may pass through libedit
  }
  if (!completion.addition.empty()) {
    const bool fits = el_insertstr(editor_.get(), completion.addition.c_str()) == 0;
    return fits ? CC_REFRESH : CC_ERROR;
  }
  if (completion.choices.empty()) return CC_ERROR;
  Show(completion.choices);
  return CC_REDISPLAY;
}

void LineEditor::Show(const std::vector<std::string>& choices) const {
  const std::size_t count = std::min(choices.size(), kMostShown);
  std::size_t width = 0;
  for (std::size_t i = 0; i < count; ++i) width = std::max(width, Width(choices[i]) + 2);
  const std::size_t columns = std::max<std::size_t>(1, ColumnsOfTerminal() / width);
  const std::size_t rows = (count + columns - 1) / columns;
  std::string text = "\n";
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t i = row; i < count; i += rows) {
      text += Printable(choices[i]);
      if (i + rows < count) text.append(width - Width(choices[i]), ' ');
    }
    text += '\n';
  }
  if (count < choices.size()) text += "and " + std::to_string(choices.size() - count) + " more\n";
  std::fputs(text.c_str(), stderr);
}

}  // namespace ncc::tool
