// The file NAME.cluster that stands where a database in a cluster has no NAME.db: lines
// "name = value" that say which engine keeps it and where. Blank lines and what follows a # at the
// beginning of a line are passed over.
#pragma once

#include <string>
#include <vector>

namespace ncc {

struct Setting {
  int line = 0;
  std::string name;
  std::string value;
};

class SettingsFile {
 public:
  // Throws StorageError "FILE:LINE: ..." for a line that is no setting, or a second one of a name.
  explicit SettingsFile(const std::string& file);

  const std::string& Name() const { return file_; }
  const std::vector<Setting>& Lines() const { return lines_; }
  // What keeps the database: the value of "engine", lower-case letters and digits.
  std::string Engine() const;

  // A path that is not absolute begins in the folder of the settings file.
  std::string PathOf(const Setting& setting) const;

  // Throw StorageError "FILE:LINE: what", and "FILE: what".
  [[noreturn]] void Refuse(const Setting& setting, const std::string& what) const;
  [[noreturn]] void RefuseAll(const std::string& what) const;

 private:
  std::string file_;
  std::vector<Setting> lines_;
};

}  // namespace ncc
