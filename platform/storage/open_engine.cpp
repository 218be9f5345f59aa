#include "platform/storage/open_engine.h"

#include "platform/storage/database_files.h"
#include "platform/storage/sqlite_engine.h"

#include <dlfcn.h>

#include <string_view>

namespace ncc {
namespace {

// The folder of the file that this code is in; empty when that cannot be told.
std::string FolderOfLibrary() {
  static const int kInThisFile = 0;
  Dl_info info{};
  if (::dladdr(&kInThisFile, &info) == 0 || info.dli_fname == nullptr) return {};
  const std::string file = info.dli_fname;
  return file.substr(0, file.rfind('/') + 1);
}

[[noreturn]] void RefuseModule(const SettingsFile& settings, const std::string& why) {
  throw StorageError(settings.Name() + " asks for the engine \"" + settings.Engine() +
                     "\", which cannot be loaded: " + why);
}

template <class Symbol>
Symbol* SymbolOf(void* module, const char* name) {
  return reinterpret_cast<Symbol*>(::dlsym(module, name));
}

// Stays loaded: what an engine has thrown may outlive it.
OpenModuleEngine* LoadModule(const SettingsFile& settings) {
  const std::string name = "libnccnet_" + settings.Engine() + ".so";
  constexpr int kFlags = RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE;
  const std::string beside = FolderOfLibrary() + name;
  const bool is_beside = beside != name && FileExists(beside);
  void* const module = ::dlopen(is_beside ? beside.c_str() : name.c_str(), kFlags);
  if (module == nullptr) RefuseModule(settings, ::dlerror());
  const char* const version = SymbolOf<const char>(module, "kNccnetEngineVersion");
  auto* const open = SymbolOf<OpenModuleEngine>(module, "NccnetOpenEngine");
  if (version == nullptr || open == nullptr) RefuseModule(settings, name + " is no engine");
  if (std::string_view(version) != NCCNET_VERSION) {
    RefuseModule(settings,
                 name + " is of version " + version + " and this library of " NCCNET_VERSION);
  }
  return open;
}

}  // namespace

std::unique_ptr<StorageEngine> OpenEngine(const std::string& base, const OpenRequest& request) {
  const std::string settings_name = base + ".cluster";
  if (IdOf(settings_name) == FileId{}) return OpenSqliteEngine(base, request);
  if (FileExists(base + ".db")) {
    throw StorageError(base + ".db and " + settings_name +
                       " are both there: move away the one that is not the database");
  }
  const SettingsFile settings(settings_name);
  return std::unique_ptr<StorageEngine>(LoadModule(settings)(settings, base, request));
}

}  // namespace ncc
