// Asking an etcd cluster: whichever of its nodes answers, within a time.
#pragma once

#include "platform/cluster/answer.h"
#include "platform/cluster/http.h"
#include "platform/cluster/request.h"
#include "platform/storage/engine.h"

#include <chrono>
#include <cstddef>
#include <string>

namespace ncc::etcd {

// Nobody has answered in time. What was asked for may have been done, or be done later, if it was
// sent.
class Unreachable : public StorageError {
 public:
  Unreachable(const std::string& text, bool was_sent)
      : StorageError(text, NCCFailure::kUnavailable), was_sent_(was_sent) {}
  bool WasSent() const { return was_sent_; }

 private:
  bool was_sent_;
};

// The cluster has refused it: nothing was done.
class Rejected : public StorageError {
 public:
  Rejected(const std::string& text, int code)
      : StorageError(text, NCCFailure::kUnavailable), code_(code) {}
  // The revision that was asked for is not kept any more.
  bool IsCompacted() const { return code_ == 11; }

 private:
  int code_;
};

// Not thread-safe.
class Client {
 public:
  // Asks that node first.
  explicit Client(const EtcdSettings& settings, std::size_t node = 0);

  // Asks one node after the other, and all again, until one answers. What is asked must do no harm
  // when it is done twice. Throws Unreachable and Rejected.
  Answer Call(const char* path, const std::string& body);
  Answer Call(const char* path, const std::string& body, std::chrono::milliseconds timeout);

  Answer Get(const KeyRange& range) { return Call("/v3/kv/range", RangeBody(range)); }
  Answer Run(const Transaction& transaction) { return Call("/v3/kv/txn", transaction.Body()); }

  // The node that is asked next, and its address.
  std::size_t Current() const { return current_; }
  const std::string& Endpoint() const { return settings_.endpoints[current_]; }
  void TryNext() { current_ = (current_ + 1) % settings_.endpoints.size(); }

 private:
  std::string Describe(const HttpAnswer& answer, const Answer& parsed) const;

  const EtcdSettings settings_;
  Http http_;
  std::size_t current_;
};

}  // namespace ncc::etcd
