/// \file
/// Kinds of failures that a program may want to tell apart.
#pragma once

#include "nccnet/export.h"

/// What a failure was.
enum class NCCFailure {
  kNone,          ///< the last call of this thread succeeded
  kOther,         ///< only the text of LastError() tells
  kMissing,       ///< there is no such database
  kInUse,         ///< another owner has it: try again later, or OpenSnapshot or OpenStandby
  kDamaged,       ///< it is not what was stored: RestoreBackup
  kLossPossible,  ///< the last changes may be gone: RestoreBackup, or AcceptLoss and open again
  kUnavailable,   ///< what keeps it does not answer, or has only now told that the change before
                  ///< is stored; nothing was changed: try again
  kNotOwner,      ///< another owns it, or has taken it over; nothing was changed
  kNotKnown,      ///< whether the change is stored is not known yet: CNCCNet::Settle tells
};

/// What became of a change whose failure was NCCFailure::kNotKnown.
enum class NCCOutcome {
  kNone,       ///< there was no such change
  kStored,     ///< it was stored, and shows
  kNotStored,  ///< it was not stored and never will be
  kNotKnown,   ///< that cannot be told yet
};

/// The kind of the failure that LastError() tells of: what opening, creating or restoring a
/// database ended with, or a Backup (kInUse when somebody has open what it would replace); where
/// storage has failed under an open database, what the engine takes it for. kOther for all else.
NCC_API NCCFailure LastFailure();
