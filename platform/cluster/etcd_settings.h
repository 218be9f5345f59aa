// Where a database in etcd is and how it is reached, from the lines of its settings file.
#pragma once

#include "platform/storage/settings_file.h"

#include <chrono>
#include <string>
#include <vector>

namespace ncc::etcd {

struct EtcdSettings {
  std::string file;                    // that says all this
  std::vector<std::string> endpoints;  // "https://alpha:2379"
  std::string certificate;             // files of this client, and of whom it trusts; none for http
  std::string key;
  std::string authority;
  std::string prefix;               // what all keys of the database begin with, a slash at its end
  std::chrono::seconds lease{5};    // how long an owner that does not answer is waited for
  std::chrono::seconds timeout{5};  // how long an answer is waited for
};

// Throws StorageError "FILE:LINE: ..." for what cannot be. `name` is that of the database.
EtcdSettings ReadEtcdSettings(const SettingsFile& file, const std::string& name);

}  // namespace ncc::etcd
