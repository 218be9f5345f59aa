// Whether what is found on disk can be less than what was acknowledged.
#pragma once

#include "platform/storage/database_files.h"
#include "platform/storage/log_file.h"
#include "platform/storage/owner_lock.h"
#include "platform/storage/sqlite_rows.h"

#include <optional>
#include <string>

namespace ncc {

// The log and the meta row are as they were before anything was changed, `left` is what the last
// owner acknowledged. Gives a text for people, or nothing when nothing is missing. The end of a
// process and of power are nothing special: all that was acknowledged is in the log then.
std::string FindLoss(const DatabaseFiles& files, const LogFile& log, const MetaRow& meta,
                     const std::optional<Acknowledged>& left);

}  // namespace ncc
