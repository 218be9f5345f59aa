/// \file
/// What can be asked of databases and their copies that are not open, and done to them. Failures
/// show in LastFailure() and in LastError() of any network object.
#pragma once

#include "nccnet/export.h"
#include "nccnet/failure.h"
#include "nccnet/records.h"

#include <cstdint>

/// Who owns the database `name` in the folder `path`: "process 4711 (nccadm apply city.yaml), since
/// 2026-03-01 14:02:11". Empty when nobody does.
/// \throws std::bad_alloc
NCC_API CString DatabaseOwner(const char* path, const char* name);

/// Checks a copy as opening checks a database; touches nothing. `preferences`, where it is not
/// null, gets the preferences block of a whole one. \return its revision; 0 when it is not whole
NCC_API std::uint64_t CheckBackup(const char* file, CNetPref* preferences = nullptr);

/// Puts a copy in the place of a database, which may be missing or damaged but must have no owner.
/// The copy is checked wholly first. What is replaced stays beside it as a database whose file goes
/// to `kept`, which is empty when there was none. Whenever the process or the power ends, the old
/// database or the new one is there. Where the file system has no hard links a copy is kept, and a
/// database with a log that cannot be brought into it is refused.
/// \return false when nothing was replaced, or the system could not make durable what was
NCC_API bool RestoreBackup(const char* path, const char* name, const char* backup, CString& kept);
