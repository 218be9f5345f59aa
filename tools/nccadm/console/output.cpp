#include "console/output.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <fmt/format.h>

#include "console/terminal.h"
#include "console/text.h"

namespace ncc::tool {
namespace {

const char* CodeOf(Style style) {
  switch (style) {
    case Style::kHeading:
      return "1";
    case Style::kName:
      return "36";
    case Style::kFaint:
      return "2";
    case Style::kError:
      return "31;1";
    case Style::kAdded:
      return "32";
    case Style::kRemoved:
      return "31";
    case Style::kChanged:
      return "33";
  }
  return "0";
}

std::string Colored(Style style, std::string_view text) {
  return fmt::format("\x1b[{}m{}\x1b[0m", CodeOf(style), text);
}

bool WantsColor(ColorMode mode, Stream stream) {
  if (mode != ColorMode::kAuto) return mode == ColorMode::kAlways;
  const char* no_color = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  const bool dumb = terminal != nullptr && std::strcmp(terminal, "dumb") == 0;
  return (no_color == nullptr || *no_color == '\0') && !dumb && IsTerminal(stream);
}

// The serializer leaves DEL and the C1 controls as they are; a terminal may act on them.
std::string EscapeControls(const std::string& document) {
  std::string escaped;
  escaped.reserve(document.size());
  for (std::size_t i = 0; i < document.size(); ++i) {
    const auto byte = static_cast<unsigned char>(document[i]);
    const auto next = i + 1 < document.size() ? static_cast<unsigned char>(document[i + 1]) : 0U;
    if (byte == 0x7F) {
      escaped += "\\u007f";
    } else if (byte == 0xC2 && next >= 0x80 && next < 0xA0) {
      escaped += fmt::format("\\u{:04x}", next);
      ++i;
    } else {
      escaped += document[i];
    }
  }
  return escaped;
}

// As the whole document has it behind `indent` blanks, without those of the first line.
std::string TextOf(const Json& json, std::size_t indent) {
  const std::string text = EscapeControls(json.dump(2, ' ', false, Json::error_handler_t::replace));
  if (indent == 0) return text;
  std::string indented;
  indented.reserve(text.size() +
                   indent * static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')));
  for (const char c : text) {
    indented += c;
    if (c == '\n') indented.append(indent, ' ');
  }
  return indented;
}

constexpr std::string_view kObjectEnd = "\n}";

std::string At(const std::string& file, const Problem& problem) {
  if (problem.line == 0) return fmt::format("{}: {}", Printable(file), Printable(problem.text));
  return fmt::format("{}:{}:{}: {}", Printable(file), problem.line, problem.column,
                     Printable(problem.text));
}

Json ErrorDocument(const Failure& failure) {
  Json error = {{"code", failure.ExitCode()}, {"message", failure.what()}};
  if (!failure.Hint().empty()) error["hint"] = failure.Hint();
  for (const Problem& problem : failure.Problems()) {
    error["problems"].push_back({{"file", failure.File()},
                                 {"line", problem.line},
                                 {"column", problem.column},
                                 {"message", problem.text}});
  }
  return {{"error", error}};
}

}  // namespace

void Output::Configure(bool json, bool quiet, ColorMode color) {
  json_ = json;
  quiet_ = quiet;
  color_out_ = !json && WantsColor(color, Stream::kOutput);
  color_err_ = WantsColor(color, Stream::kError);
}

void Output::Mute(bool mute) {
  const std::lock_guard lock(mutex_);
  muted_ = mute;
}

void Output::Hold() {
  const std::lock_guard lock(mutex_);
  holds_ = true;
}

Output::Held Output::TakeHeld() {
  const std::lock_guard lock(mutex_);
  return std::exchange(held_, {});
}

void Output::EndHold() {
  const std::lock_guard lock(mutex_);
  holds_ = false;
}

void Output::Write(std::string_view bytes) {
  if (finished_ || muted_) return;
  if (holds_) {
    held_.results += bytes;
    return;
  }
  if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size()) return;
  if (write_error_ == 0) write_error_ = errno;
}

void Output::FlushResults() {
  if (std::fflush(stdout) != 0 && write_error_ == 0) write_error_ = errno;
}

void Output::Flush() {
  const std::lock_guard lock(mutex_);
  FlushResults();
}

void Output::Raw(std::string_view bytes) {
  const std::lock_guard lock(mutex_);
  Write(bytes);
}

void Output::Line(std::string_view text) {
  Raw(text);
  Raw("\n");
}

void Output::PrintTable(const Table& table) {
  std::vector<std::size_t> widths;
  for (const auto& row : table) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], Width(row[i]));
  }
  for (std::size_t r = 0; r < table.size(); ++r) {
    std::string line;
    for (std::size_t i = 0; i < table[r].size(); ++i) {
      line += table[r][i];
      if (i + 1 < table[r].size()) line.append(widths[i] - Width(table[r][i]) + 2, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    Line(r == 0 ? Paint(Style::kHeading, line) : line);
  }
}

void Output::WriteDocument(const Json& document) {
  Json whole = {{"schema", 1}};
  whole.update(document);
  Write(TextOf(whole, 0) + "\n");
  has_document_ = has_document_ || !IsKeptBack();
}

void Output::Document(const Json& document) {
  const std::lock_guard lock(mutex_);
  WriteDocument(document);
}

void Output::BeginList(const Json& head, const char* key) {
  Json whole = {{"schema", 1}};
  if (!head.is_null()) whole.update(head);
  std::string text = TextOf(whole, 0);
  text.resize(text.size() - kObjectEnd.size());
  const std::lock_guard lock(mutex_);
  Write(fmt::format("{},\n  \"{}\": [", text, key));
  in_list_ = true;
  list_is_empty_ = true;
}

void Output::ListItem(const Json& item) {
  constexpr std::size_t kIndent = 4;
  const std::string text = TextOf(item, kIndent);
  const std::lock_guard lock(mutex_);
  Write(fmt::format("{}\n{:{}}{}", list_is_empty_ ? "" : ",", "", kIndent, text));
  list_is_empty_ = false;
}

void Output::EndList(const Json& tail) {
  const std::lock_guard lock(mutex_);
  WriteTail(tail);
}

void Output::WriteTail(const Json& tail) {
  Write(list_is_empty_ ? "]" : "\n  ]");
  if (tail.empty()) {
    Write(fmt::format("{}\n", kObjectEnd));
  } else {
    Write(fmt::format(",{}\n", TextOf(tail, 0).substr(1)));
  }
  in_list_ = false;
  has_document_ = has_document_ || !IsKeptBack();
}

void Output::Say(std::string_view text) {
  if (quiet_) return;
  const std::lock_guard lock(mutex_);
  if (muted_) return;
  if (holds_) {
    held_.words.emplace_back(text);
    return;
  }
  FlushResults();
  std::fprintf(stderr, "%.*s\n", static_cast<int>(text.size()), text.data());
}

void Output::Warn(std::string_view text) {
  const std::lock_guard lock(mutex_);
  FlushResults();
  WriteWarning(text);
}

void Output::WriteWarning(std::string_view text) const {
  const std::string prefix = color_err_ ? Colored(Style::kError, "nccadm:") : "nccadm:";
  std::fprintf(stderr, "%s %s\n", prefix.c_str(), Printable(text).c_str());
}

void Output::WriteFailure(const Failure& failure) {
  if (IsKeptBack()) in_list_ = false;
  muted_ = holds_ = false;
  if (json_ && !finished_ && !has_document_) {
    const Json document = ErrorDocument(failure);
    in_list_ ? WriteTail(document) : WriteDocument(document);
  }
  finished_ = true;
  std::fflush(stdout);
}

void Output::Fail(const Failure& failure) {
  const std::lock_guard lock(mutex_);
  FlushResults();
  for (const Problem& problem : failure.Problems()) {
    std::fprintf(stderr, "%s\n", At(failure.File(), problem).c_str());
  }
  WriteWarning(failure.what());
  if (!failure.Hint().empty()) std::fprintf(stderr, "%s\n", Printable(failure.Hint()).c_str());
  WriteFailure(failure);
}

bool Output::FailInterrupted() {
  // Who holds the lock for long waits for the reader of the results, perhaps for ever.
  std::unique_lock lock(mutex_, std::chrono::seconds(1));
  if (!lock && !waits_briefly_) {
    if (ShowsProgress())
      WriteWarning("waiting for the reader of the results; interrupt again to end now");
    lock.lock();
  }
  if (lock && finished_) return false;
  const Failure failure("interrupted; a change that was being stored is there whole or not at all",
                        {}, kExitInterrupted);
  if (ShowsProgress()) std::fputs("\r\x1b[K", stderr);
  WriteWarning(failure.what());
  if (lock) WriteFailure(failure);
  return true;
}

void Output::Finish(bool may_have_changed) {
  const std::lock_guard lock(mutex_);
  finished_ = true;
  FlushResults();
  if (write_error_ == 0 || write_error_ == EPIPE) return;
  throw Failure(fmt::format("the results could not be written: {}", std::strerror(write_error_)),
                may_have_changed ? "Changes that the command made are stored." : "");
}

std::string Output::Paint(Style style, std::string_view text) const {
  return color_out_ ? Colored(style, text) : std::string(text);
}

bool Output::ShowsProgress() const { return !quiet_ && IsTerminal(Stream::kError); }

Progress::Progress(const Output& output, std::string label, std::size_t total)
    : enabled_(output.ShowsProgress()),
      label_(std::move(label)),
      total_(total),
      begun_(std::chrono::steady_clock::now()),
      next_(begun_ + std::chrono::seconds(1)) {}

Progress::~Progress() {
  if (shown_) std::fputs("\r\x1b[K", stderr);
}

void Progress::Reach(std::size_t done, std::string_view at, std::uint64_t bytes) {
  done_ = done;
  done_bytes_ = bytes;
  if (!enabled_) return;
  const auto now = std::chrono::steady_clock::now();
  if (now < next_) return;
  next_ = now + std::chrono::milliseconds(100);
  shown_ = true;
  Draw(at);
}

std::string Progress::TimeLeft() const {
  const bool by_bytes = total_bytes_ > 0;
  const auto total = static_cast<double>(by_bytes ? total_bytes_ : total_);
  const auto done = static_cast<double>(by_bytes ? done_bytes_ : done_);
  // The first steps tell little about the others.
  if (done < total / 50 || done == 0 || done >= total) return {};
  const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begun_;
  const double left = passed.count() * (total - done) / done;
  if (left < 100) return fmt::format(", {:.0f} s left", left);
  return fmt::format(", {:.0f} min left", left / 60);
}

// Keeps within 80 columns: a line that wraps could not be overwritten.
void Progress::Draw(std::string_view at) const {
  constexpr std::size_t kCells = 20;
  const std::size_t filled = total_ == 0 ? kCells : kCells * std::min(done_, total_) / total_;
  std::fprintf(stderr, "\r%s [%s%s] %zu of %zu%s  %.*s\x1b[K", label_.c_str(),
               std::string(filled, '#').c_str(), std::string(kCells - filled, '.').c_str(), done_,
               total_, TimeLeft().c_str(), static_cast<int>(at.size()), at.data());
}

}  // namespace ncc::tool
