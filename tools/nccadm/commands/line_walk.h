// Follows the words of a command line to the place behind them, as the parser will.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace ncc::tool {

// What the usage says of an option's value number `index`: a positional's name or, where that is
// another, its type.
std::string PlaceholderOf(const CLI::Option& option, std::size_t index);

class LineWalk {
 public:
  explicit LineWalk(const CLI::App& root) : app_(&root) {}

  void Take(const std::string& word);

  // The command that it has come to, and those that it is one of.
  std::vector<const CLI::App*> Apps() const;
  // One of their options; null when there is none of the name.
  const CLI::Option* Option(const std::string& name) const;

  // Of the word that comes next: whether it is an option when it begins like `typed`; the commands
  // that it can be; what else.
  bool IsOption(const std::string& typed) const;
  std::vector<std::string> Commands() const;
  std::string Placeholder() const;

  // Whether "--" has come, behind which nothing is an option.
  bool TakesDashes() const { return only_positionals_; }
  // The last value of --db.
  const std::string& Database() const { return database_; }

 private:
  bool TakesValue() const;
  bool NeedsValue() const;
  bool LooksLikeOption(const std::string& word) const;
  void TakePlain(const std::string& word);
  void TakeOption(const std::string& word);

  const CLI::App* app_;
  const CLI::Option* option_ = nullptr;  // whose values come
  int values_ = 0;                       // so many came
  int positionals_ = 0;
  bool only_positionals_ = false;
  std::string database_;
};

}  // namespace ncc::tool
