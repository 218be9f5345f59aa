#include "commands/line_walk.h"

#include <algorithm>
#include <iterator>
#include <sstream>

namespace ncc::tool {
namespace {

// How many words an option takes at one time.
int MostValues(const CLI::Option& option) {
  const int most = option.get_items_expected_max();
  return option.get_allow_extra_args() ? most : std::min(most, option.get_type_size_max());
}

int FewestValues(const CLI::Option& option) {
  return std::min(option.get_type_size_min(), option.get_items_expected_min());
}

}  // namespace

std::string PlaceholderOf(const CLI::Option& option, std::size_t index) {
  const std::string type = option.get_type_name();
  std::istringstream words(type.substr(0, type.find(':')));
  const std::vector<std::string> each{std::istream_iterator<std::string>(words), {}};
  const bool says_nothing = each.empty() || each.front() == "TEXT";
  if (says_nothing && option.get_positional()) return option.get_name(true);
  return each.empty() ? "" : each[std::min(index, each.size() - 1)];
}

bool LineWalk::TakesValue() const { return option_ != nullptr && values_ < MostValues(*option_); }

bool LineWalk::NeedsValue() const { return TakesValue() && values_ < FewestValues(*option_); }

bool LineWalk::LooksLikeOption(const std::string& word) const {
  return !only_positionals_ && word.starts_with("-") && word.size() > 1;
}

bool LineWalk::IsOption(const std::string& typed) const {
  return LooksLikeOption(typed) && !NeedsValue();
}

void LineWalk::Take(const std::string& word) {
  if (TakesValue() && !IsOption(word)) {
    ++values_;
    if (option_->check_lname("db")) database_ = word;
  } else if (!LooksLikeOption(word)) {
    TakePlain(word);
  } else if (word == "--") {
    option_ = nullptr;
    only_positionals_ = true;
  } else {
    TakeOption(word);
  }
}

void LineWalk::TakePlain(const std::string& word) {
  option_ = nullptr;
  const auto found = app_->get_subcommands(
      [&word](const CLI::App* command) { return command->get_name() == word; });
  if (found.empty() || only_positionals_ || positionals_ > 0) {
    ++positionals_;
  } else {
    app_ = found.front();
  }
}

void LineWalk::TakeOption(const std::string& word) {
  const std::size_t equals = word.find('=');
  const CLI::Option* option = Option(word.substr(0, equals));
  const bool has_value = option != nullptr && equals != std::string::npos;
  if (has_value && option->check_lname("db")) database_ = word.substr(equals + 1);
  option_ = has_value ? nullptr : option;
  values_ = 0;
}

std::vector<const CLI::App*> LineWalk::Apps() const {
  std::vector<const CLI::App*> apps;
  for (const CLI::App* app = app_; app != nullptr; app = app->get_parent()) apps.push_back(app);
  return apps;
}

const CLI::Option* LineWalk::Option(const std::string& name) const {
  for (const CLI::App* app : Apps()) {
    const CLI::Option* option = app->get_option_no_throw(name);
    if (option != nullptr) return option;
  }
  return nullptr;
}

std::vector<std::string> LineWalk::Commands() const {
  std::vector<std::string> names;
  if (TakesValue() || only_positionals_ || positionals_ > 0) return names;
  for (const CLI::App* app : app_->get_subcommands([](const CLI::App*) { return true; })) {
    if (!app->get_group().empty()) names.push_back(app->get_name());
  }
  return names;
}

std::string LineWalk::Placeholder() const {
  if (TakesValue()) return PlaceholderOf(*option_, static_cast<std::size_t>(values_));
  int before = 0;
  for (const CLI::Option* option : app_->get_options()) {
    if (!option->get_positional()) continue;
    const int most = option->get_items_expected_max();
    if (positionals_ < before + most) return PlaceholderOf(*option, 0);
    before += most;
  }
  return {};
}

}  // namespace ncc::tool
