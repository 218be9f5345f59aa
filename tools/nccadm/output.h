// Everything that the tool says: results to standard output, words to standard error.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "failure.h"

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

  // Results. The caller chooses: either lines and tables, or one document.
  void Line(std::string_view text);
  void PrintTable(const Table& table);
  void Document(Json document);
  void Raw(std::string_view bytes);

  // Words; nothing with --quiet.
  void Say(std::string_view text);

  // Words that no option takes away: what the caller has to know about results that are there.
  void Warn(std::string_view text);

  // Tells why the command ends: on standard error and, with --json, as the document.
  void Fail(const Failure& failure);

  // Throws Failure when any result could not be written.
  void Finish();

  std::string Paint(Style style, std::string_view text) const;
  bool ShowsProgress() const;

 private:
  bool json_ = false;
  bool quiet_ = false;
  bool color_out_ = false;
  bool color_err_ = false;
  bool finished_ = false;
};

// A bar on the terminal with the time that is left, drawn only once the work has taken more than a
// second.
class Progress {
 public:
  Progress(const Output& output, std::string label, std::size_t total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Step() { Reach(done_ + 1); }
  // `at` is printable text about what the work has come to.
  void Reach(std::size_t done, std::string_view at = {});

 private:
  void Draw(std::string_view at) const;
  std::string TimeLeft() const;

  bool shown_ = false;
  bool enabled_;
  std::string label_;
  std::size_t total_;
  std::size_t done_ = 0;
  std::chrono::steady_clock::time_point begun_;
  std::chrono::steady_clock::time_point next_;
};

}  // namespace ncc::tool
