// What etcd's JSON gateway answers, read in one pass without a tree: values are large and many.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ncc::etcd {

struct KeyValue {
  std::string key;
  std::string value;
  std::int64_t created = 0;   // the store's revision that made the key
  std::int64_t modified = 0;  // that wrote it last
  std::int64_t lease = 0;     // 0: none
};

// The keys of one range that was asked for, of a transaction the ranges in their order.
struct Found {
  std::vector<KeyValue> keys;
  bool has_more = false;

  // Of a range that is one key; null when it is not there.
  const KeyValue* Only() const { return keys.empty() ? nullptr : &keys.front(); }
};

struct Answer {
  std::int64_t revision = 0;  // of the store, when it answered
  bool succeeded = false;     // a transaction's comparisons held
  std::vector<Found> found;   // at least one
  std::int64_t lease = 0;
  std::int64_t seconds_to_live = 0;  // of the lease; 0 when it is gone
  std::string error;                 // empty: none
  int code = 0;                      // of the error

  // Of a node that tells how it is.
  std::uint64_t member = 0;
  std::uint64_t leader = 0;  // 0: it knows of none
  std::uint64_t size = 0;    // of its data, bytes
  std::string version;
  std::vector<std::string> faults;
};

// Nothing for what is no answer.
std::optional<Answer> ParseAnswer(std::string_view json);

}  // namespace ncc::etcd
