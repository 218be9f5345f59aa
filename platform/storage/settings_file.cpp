#include "platform/storage/settings_file.h"

#include "platform/storage/engine.h"

#include <algorithm>
#include <fstream>
#include <string_view>

namespace ncc {
namespace {

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const std::size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
  text.remove_prefix(begin);
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

}  // namespace

SettingsFile::SettingsFile(const std::string& file) : file_(file) {
  std::ifstream in(file);
  if (!in) throw StorageError("cannot read " + file);
  std::string text;
  for (int number = 1; std::getline(in, text); ++number) {
    const std::string_view line = Trimmed(text);
    if (line.empty() || line.front() == '#') continue;
    const std::size_t equals = line.find('=');
    Setting setting{number, std::string(Trimmed(line.substr(0, equals))), {}};
    if (equals == std::string_view::npos || setting.name.empty())
      Refuse(setting, "this is no line \"name = value\"");
    setting.value = Trimmed(line.substr(equals + 1));
    if (setting.value.empty()) Refuse(setting, "\"" + setting.name + "\" has no value");
    for (const Setting& earlier : lines_) {
      if (earlier.name == setting.name) {
        Refuse(setting, "\"" + setting.name + "\" stands in line " + std::to_string(earlier.line) +
                            " already");
      }
    }
    lines_.push_back(std::move(setting));
  }
}

std::string SettingsFile::Engine() const {
  for (const Setting& setting : lines_) {
    if (setting.name != "engine") continue;
    const bool is_name = std::all_of(setting.value.begin(), setting.value.end(), [](char c) {
      return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
    });
    if (!is_name) Refuse(setting, "\"" + setting.value + "\" is no name of an engine, as etcd is");
    return setting.value;
  }
  RefuseAll("it names no engine; add: engine = etcd");
}

std::string SettingsFile::PathOf(const Setting& setting) const {
  if (setting.value.front() == '/') return setting.value;
  return file_.substr(0, file_.rfind('/') + 1) + setting.value;
}

void SettingsFile::Refuse(const Setting& setting, const std::string& what) const {
  throw StorageError(file_ + ":" + std::to_string(setting.line) + ": " + what);
}

void SettingsFile::RefuseAll(const std::string& what) const {
  throw StorageError(file_ + ": " + what);
}

}  // namespace ncc
