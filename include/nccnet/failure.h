/// \file
/// Kinds of failures that a program may want to tell apart.
#pragma once

#include "nccnet/export.h"

/// What a failure was that opening, creating or restoring a database ended with.
enum class NCCFailure {
  kNone,          ///< the last call of this thread succeeded
  kOther,         ///< only the text of LastError() tells
  kMissing,       ///< there is no such database
  kInUse,         ///< another owner has it: try again later, or OpenSnapshot
  kDamaged,       ///< it is not what was stored: RestoreBackup
  kLossPossible,  ///< the last changes may be gone: RestoreBackup, or AcceptLoss and open again
};

/// The kind of the failure that LastError() tells of; kOther for everything that is done with an
/// open database.
NCC_API NCCFailure LastFailure();
