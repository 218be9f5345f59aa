// What every public operation does around its body: lock, unit of work, results for failures.
#pragma once

#include "core/last_error.h"
#include "core/net_state.h"
#include "platform/disk/files.h"

#include <exception>
#include <list>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

namespace ncc {

// Ends an operation with its result for "no": what was changed before stays, the text
// becomes the last error.
class Refusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Carries an exception of a progress callback through the library to the caller of the operation.
class CallbackFailure : public std::exception {
 public:
  explicit CallbackFailure(std::exception_ptr cause) : cause_(std::move(cause)) {}
  [[noreturn]] void Rethrow() const { std::rethrow_exception(cause_); }

 private:
  std::exception_ptr cause_;
};

// False when `action` failed, with the reason as last error. A CallbackFailure goes on.
template <class Action>
bool Tell(Action action) {
  try {
    action();
    ClearLastError();
    return true;
  } catch (const std::bad_alloc&) {
    SetLastError("out of memory");
  } catch (const StorageError& error) {
    SetLastError(error.what(), error.Kind());
  } catch (const CallbackFailure&) {
    throw;
  } catch (const std::exception& error) {
    SetLastError(error.what());
  }
  return false;
}

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

  NetState& net_;
  CHDBase* base_;
  std::size_t touched_before_;
  bool outermost_;
  bool failed_ = false;
  bool done_ = false;
};

// Runs the body of an operation, in a unit of work, and returns its result; `failed` when it was
// refused or failed, after setting the last error. A failure undoes the whole unit. The lock is the
// caller's business.
template <class Result, class Body>
Result RunUnlocked(NetState& net, Result failed, Body body) {
  try {
    UnitScope unit(net);
    try {
      Result result = body();
      unit.Finish();
      ClearLastError();
      return result;
    } catch (const Refusal& refusal) {
      unit.Finish();
      SetLastError(refusal.what());
    } catch (const FileError& error) {  // nothing to do with what is stored
      unit.Finish();
      SetLastError(error.what());
    } catch (const CallbackFailure&) {
      throw;
    } catch (const std::exception& error) {
      unit.Fail(error.what());
      throw;
    }
  } catch (const CallbackFailure& failure) {
    failure.Rethrow();
  } catch (const std::bad_alloc&) {
    SetLastError("out of memory");
  } catch (const std::exception& error) {
    SetLastError(error.what());
  }
  return failed;
}

// The same under the object lock: the frame of nearly every public operation.
template <class Result, class Body>
Result Run(NetState& net, Result failed, Body body) {
  LockScope lock(net.lock);
  return RunUnlocked(net, failed, std::move(body));
}

// A query that fills the caller's list: `fill` appends; the list is empty when it was refused or
// failed.
template <class Entry, class Fill>
unsigned long RunList(NetState& net, std::list<Entry>& list, Fill fill) {
  list.clear();
  const bool filled = Run(net, false, [&] {
    fill();
    return true;
  });
  if (!filled) list.clear();
  return list.size();
}

}  // namespace ncc
