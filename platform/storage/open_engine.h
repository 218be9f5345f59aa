// Which engine keeps a database: a file by itself, or a cluster where a settings file says so.
#pragma once

#include "platform/storage/engine.h"
#include "platform/storage/settings_file.h"

#include <memory>
#include <string>

namespace ncc {

// The factory of the library. Where base + ".cluster" stands, the engine that it names is loaded
// from libnccnet_NAME.so beside the library; it must be of this very version. Else the default
// engine opens base + ".db". Refuses a base that has both.
std::unique_ptr<StorageEngine> OpenEngine(const std::string& base, const OpenRequest& request);

// What a module exports as NccnetOpenEngine, and kNccnetEngineVersion beside it: the text
// NCCNET_VERSION that it was built with. The engine is new and the caller's.
using OpenModuleEngine = StorageEngine*(const SettingsFile& settings, const std::string& base,
                                        const OpenRequest& request);

}  // namespace ncc
