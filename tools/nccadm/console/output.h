// Everything that the tool says: results to standard output, words to standard error.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "console/failure.h"

namespace ncc::tool {

// Keeps the order in which members are set, so that documents read like the text output.
using Json = nlohmann::ordered_json;

enum class ColorMode { kAuto, kAlways, kNever };
enum class Style { kHeading, kName, kFaint, kError, kAdded, kRemoved, kChanged };

// Rows of cells of printable text, aligned in columns; the first row is the heading.
using Table = std::vector<std::vector<std::string>>;

class Output {
 public:
  void Configure(bool json, bool quiet, ColorMode color);

  bool IsJson() const { return json_; }

  // Keeps results and words back, all but failures.
  void Mute(bool mute);

  // From here on results and words are kept until they are taken or, when the command fails,
  // dropped; no word with --quiet.
  struct Held {
    std::string results;
    std::vector<std::string> words;
  };
  void Hold();
  Held TakeHeld();
  // Results and words go their ways again.
  void EndHold();

  // Results. The caller chooses: either lines and tables, or one document.
  void Line(std::string_view text);
  void PrintTable(const Table& table);
  void Document(const Json& document);
  void Raw(std::string_view bytes);

  // A document that is written as its list grows, so that a long list takes no memory: first the
  // members of `head`, then the list under `key`, then the members of `tail`.
  void BeginList(const Json& head, const char* key);
  void ListItem(const Json& item);
  void EndList(const Json& tail = Json::object());

  // The same for all of a list, each item as `describe` makes it.
  template <class Items, class Describe>
  void List(const Json& head, const char* key, const Items& items, Describe describe) {
    BeginList(head, key);
    for (const auto& item : items) ListItem(describe(item));
    EndList();
  }

  // Gives what was written so far to its reader, for a command that runs on.
  void Flush();

  // Words, behind the results that are there already; nothing with --quiet.
  void Say(std::string_view text);

  // Words that no option takes away: what the caller has to know about results that are there.
  void Warn(std::string_view text);

  // Tells why the command ends: on standard error and, with --json, as the document or the rest of
  // the one that has begun; behind a whole one it adds nothing to the results.
  void Fail(const Failure& failure);

  // The same from another thread, once the command was interrupted; false when it had come to its
  // end already. Waits until the reader of the results has room for the end of them.
  bool FailInterrupted();
  // For a command that others have to wait for: an interrupted one gives its reader a second.
  void LimitWaiting() { waits_briefly_ = true; }

  // Nothing more is written. Throws Failure when any result could not be written, with a word on
  // changes where the command may have made some; a reader that wants no more is no failure.
  void Finish(bool may_have_changed = false);

  std::string Paint(Style style, std::string_view text) const;
  bool ShowsProgress() const;

 private:
  void Write(std::string_view bytes);
  void FlushResults();
  void WriteWarning(std::string_view text) const;
  bool IsKeptBack() const { return muted_ || holds_; }
  void WriteDocument(const Json& document);
  void WriteTail(const Json& tail);
  void WriteFailure(const Failure& failure);

  bool json_ = false;
  bool quiet_ = false;
  bool color_out_ = false;
  bool color_err_ = false;
  std::atomic<bool> waits_briefly_ = false;

  std::timed_mutex mutex_;  // of what follows: an interrupt ends the document in another thread
  bool finished_ = false;
  bool muted_ = false;
  bool holds_ = false;
  Held held_;
  bool in_list_ = false;
  bool has_document_ = false;  // a whole one
  bool list_is_empty_ = true;
  int write_error_ = 0;
};

// A bar on the terminal with the time that is left, drawn only once the work has taken more than a
// second.
class Progress {
 public:
  Progress(const Output& output, std::string label, std::size_t total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Where steps differ in size, the time left is reckoned by the bytes of all of them.
  void ExpectBytes(std::uint64_t bytes) { total_bytes_ = bytes; }

  void Step() { Reach(done_ + 1); }
  // `at` is printable text about what the work has come to.
  void Reach(std::size_t done, std::string_view at = {}, std::uint64_t bytes = 0);

 private:
  void Draw(std::string_view at) const;
  std::string TimeLeft() const;

  bool shown_ = false;
  bool enabled_;
  std::string label_;
  std::size_t total_;
  std::size_t done_ = 0;
  std::uint64_t total_bytes_ = 0;
  std::uint64_t done_bytes_ = 0;
  std::chrono::steady_clock::time_point begun_;
  std::chrono::steady_clock::time_point next_;
};

}  // namespace ncc::tool
