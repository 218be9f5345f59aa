// What every public operation does around its body: lock, unit of work, results for failures.
#pragma once

#include "core/last_error.h"
#include "core/net_state.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <type_traits>

namespace ncc {

// The folder as it was given, with a separator at its end. Throws Refusal when either is missing.
std::string FolderOfDatabase(const char* path, const char* name);
// What the names of the database's files begin with, as the system writes it.
std::string DatabasePath(const char* path, const char* name);

// The running operation's share of the unit of work. The outermost one stores the unit in Finish,
// or undoes it when destroyed without.
class UnitScope {
 public:
  // Throws Refusal when no database is open.
  explicit UnitScope(NetState& net);
  ~UnitScope();
  UnitScope(const UnitScope&) = delete;
  UnitScope& operator=(const UnitScope&) = delete;

  // Throws StorageError when the unit could not be stored.
  void Finish();
  // Undoes what was changed; of the outermost unit only.
  void Drop() noexcept;
  // The operation has failed: the unit that it belongs to will not be stored.
  void Fail(const char* why) noexcept;

 private:
  void FollowReload() noexcept;
  void FollowOutcome() noexcept;

  NetState& net_;
  CHDBase* base_;
  std::size_t touched_before_;
  std::uint64_t revision_before_;
  bool outermost_;
  bool failed_ = false;
  bool done_ = false;
};

// The body of an operation, called once and before it ends.
class OperationBody {
 public:
  template <class Body>
  requires(!std::is_same_v<std::remove_const_t<Body>, OperationBody>) explicit OperationBody(
      Body& body)
      : body_(&body), call_([](void* of) { (*static_cast<Body*>(of))(); }) {}
  void operator()() const { call_(body_); }

 private:
  void* body_;
  void (*call_)(void*);
};

// Runs the body of an operation in a unit of work. False when it was refused or failed, after
// setting the last error. A failure undoes the whole unit. The lock is the caller's business.
bool RunInUnit(NetState& net, OperationBody body);

// The same under the object lock: the frame of nearly every public operation.
template <class Body>
bool Run(NetState& net, Body body) {
  LockScope lock(net.lock);
  return RunInUnit(net, OperationBody(body));
}

// The same of one that has a result: `failed` when it was refused or failed.
template <class Result, class Body>
Result Run(NetState& net, Result failed, Body body) {
  Result result = failed;
  return Run(net, [&] { result = body(); }) ? result : failed;
}

// A query that fills the caller's list: `fill` appends; the list is empty when it was refused or
// failed.
template <class Entry, class Fill>
unsigned long RunList(NetState& net, std::list<Entry>& list, Fill fill) {
  list.clear();
  if (!Run(net, fill)) list.clear();
  return list.size();
}

}  // namespace ncc
