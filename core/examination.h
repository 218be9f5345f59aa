// What a stored network must be, so that no operation meets what it is not made for.
#pragma once

#include "platform/hdb/base.h"

namespace ncc {

// Throws StorageError, naming an object and what is wrong with it, for a database that no operation
// of this library can have left. What an application may store as it likes is not looked at: the
// preferences, memberships and primary collectives of what is gone.
void ExamineNetwork(const CHDBase& base);

}  // namespace ncc
