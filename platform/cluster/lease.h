// Leases: what is put on one goes when nobody keeps it alive.
#pragma once

#include "platform/cluster/client.h"

#include <chrono>
#include <cstdint>

namespace ncc::etcd {

std::int64_t GrantLease(Client& client, std::chrono::seconds length,
                        std::chrono::milliseconds timeout);

// False of one that has ended.
bool KeepLease(Client& client, std::int64_t lease, std::chrono::milliseconds timeout);

// Ends it, if it has not ended yet.
void RevokeLease(Client& client, std::int64_t lease, std::chrono::milliseconds timeout);

}  // namespace ncc::etcd
