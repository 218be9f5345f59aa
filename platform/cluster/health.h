// How the nodes of a cluster are, by the word of each.
#pragma once

#include "platform/cluster/etcd_settings.h"
#include "platform/storage/engine.h"

#include <vector>

namespace ncc::etcd {

std::vector<EngineStatus::Node> AskNodes(const EtcdSettings& settings);

}  // namespace ncc::etcd
