/// \file
/// A second machine that shows what the owner of a database changes, and goes on when that is gone.
#pragma once

#include "nccnet/export.h"
#include "nccnet/records.h"

namespace ncc {
struct NetState;
}  // namespace ncc

/// What an object does that CNCCNet::OpenStandby has opened: a part of CNCCNet. All queries answer
/// as of GetRevision(), and others may ask them while a thread waits here; changes are refused as
/// "this is the standby of process 4711 (...) on alpha, since ...", kNotOwner. None of these
/// members works inside a batch or a progress callback. Failures show in the result and in
/// LastError(); after one of them the object goes on to show what it knew, and it can be tried
/// again.
class NCC_API CNetStandby {
 public:
  CNetStandby(const CNetStandby&) = delete;
  CNetStandby& operator=(const CNetStandby&) = delete;

  /// Whether the open database is another's to change: from OpenStandby until TakeOver.
  bool IsStandby();

  /// Takes in what the owner has stored since, and waits up to so many milliseconds for the first
  /// of it. The preferences block and what progress callbacks and generators see follow with it.
  /// \return whether there was anything; also false (LastFailure() tells) when storage does not
  ///   answer
  bool Follow(unsigned long milliseconds);

  /// Makes this object the owner, with every change that was acknowledged, as soon as nobody else
  /// is; follows meanwhile. With `force` at once: the changes of the owner before it are refused
  /// from then on with kNotOwner, and nothing that it had stored is lost.
  /// \return false when there still is another after so many milliseconds (kInUse)
  bool TakeOver(unsigned long milliseconds, bool force = false);

  /// Whether nobody owns the followed database and the last owner has not closed it: it died, or
  /// was not heard of for long. As the last Follow or TakeOver was told.
  bool IsOwnerLost();

  /// Who owns the open database: "process 4711 (nccadm apply city.yaml), since 2026-03-01
  /// 14:02:11", with the machine where it may be another. A standby says what its last Follow or
  /// TakeOver was told. Empty when nobody does. \throws std::bad_alloc
  CString GetOwner();

 protected:
  CNetStandby() = default;
  ~CNetStandby() = default;
  void SetState(ncc::NetState& net) { net_ = &net; }

 private:
  ncc::NetState* net_ = nullptr;
};
