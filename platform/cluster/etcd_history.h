// Reading the history of a database in etcd.
#pragma once

#include "platform/cluster/client.h"
#include "platform/cluster/layout.h"
#include "platform/cluster/reader.h"
#include "platform/storage/history.h"

#include <cstdint>
#include <functional>

namespace ncc::etcd {

class EtcdHistory {
 public:
  EtcdHistory(Client& client, const Layout& layout) : client_(client), layout_(layout) {}

  // See StorageEngine: what there was when the head was seen, up to revision `last`.
  void Read(const HeadSeen& seen, std::uint64_t last, std::uint64_t from, std::uint64_t to,
            const std::function<bool(HistoryEntry&&)>& visit);
  std::uint64_t FirstSince(std::uint64_t last, std::int64_t time);

 private:
  HistoryEntry Whole(std::string_view value, std::uint64_t revision, std::int64_t moment);

  Client& client_;
  const Layout& layout_;
};

}  // namespace ncc::etcd
