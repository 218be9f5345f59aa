// What the library looks for in libnccnet_etcd.so.

#include "nccnet/export.h"
#include "platform/cluster/etcd_engine.h"
#include "platform/storage/open_engine.h"

extern "C" {
extern NCC_API const char kNccnetEngineVersion[];
const char kNccnetEngineVersion[] = NCCNET_VERSION;

NCC_API ncc::OpenModuleEngine NccnetOpenEngine;
}

ncc::StorageEngine* NccnetOpenEngine(const ncc::SettingsFile& settings, const std::string& base,
                                     const ncc::OpenRequest& request) {
  const std::string name = base.substr(base.rfind('/') + 1);
  return ncc::etcd::OpenEtcdEngine(ncc::etcd::ReadEtcdSettings(settings, name), request).release();
}
