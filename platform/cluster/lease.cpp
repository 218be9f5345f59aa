#include "platform/cluster/lease.h"

#include <string>

namespace ncc::etcd {
namespace {

std::string Body(const char* name, std::int64_t number) {
  return std::string("{\"") + name + "\":\"" + std::to_string(number) + "\"}";
}

}  // namespace

std::int64_t GrantLease(Client& client, std::chrono::seconds length,
                        std::chrono::milliseconds timeout) {
  return client.Call("/v3/lease/grant", Body("TTL", length.count()), timeout).lease;
}

bool KeepLease(Client& client, std::int64_t lease, std::chrono::milliseconds timeout) {
  return client.Call("/v3/lease/keepalive", Body("ID", lease), timeout).seconds_to_live > 0;
}

void RevokeLease(Client& client, std::int64_t lease, std::chrono::milliseconds timeout) {
  try {
    client.Call("/v3/lease/revoke", Body("ID", lease), timeout);
  } catch (const Rejected&) {
    // It is gone already.
  }
}

}  // namespace ncc::etcd
