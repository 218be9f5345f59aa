// What is asked of etcd's JSON gateway.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ncc::etcd {

// Keys from `from` to below `to`, or that one where `to` is empty.
struct KeyRange {
  std::string from;
  std::string to = {};
  int limit = 0;              // 0: none
  std::int64_t revision = 0;  // of the store; 0: now
  bool keys_only = false;
};

std::string RangeBody(const KeyRange& range);

// A transaction: what it does when all its comparisons hold, and what it reads when they do not.
class Transaction {
 public:
  // The key was made, or written last, by this revision of the store; 0: it is not there.
  Transaction& WhenCreated(std::string_view key, std::int64_t revision);
  Transaction& WhenModified(std::string_view key, std::int64_t revision);
  Transaction& Put(std::string_view key, std::string_view value, std::int64_t lease = 0);
  Transaction& Delete(std::string_view from, std::string_view to = {});
  Transaction& Get(const KeyRange& range);
  Transaction& ElseGet(const KeyRange& range);

  // Of what is to be put: keys and values.
  std::size_t Size() const { return size_; }
  int Operations() const { return operations_; }
  std::string Body() const;

 private:
  void Compare(const char* target, const char* field, std::string_view key, std::int64_t revision);

  std::string compare_;
  std::string success_;
  std::string failure_;
  std::size_t size_ = 0;
  int operations_ = 0;
};

// The first key behind all that begin with the text.
std::string EndOf(std::string prefix);

}  // namespace ncc::etcd
