// The default engine: one file of an embedded SQL database, one log, one lock.
#pragma once

#include "platform/storage/engine.h"

#include <memory>
#include <string>

namespace ncc {

// Keeps the database in base + ".db", with commits on their way in ".db-wal" and ownership in
// ".lock". Throws StorageError; then nothing but the lock file, and folders for kCreate, has
// changed. A file that never saw a commit is no database: kCreate takes it over and kOpen refuses
// it.
std::unique_ptr<StorageEngine> OpenSqliteEngine(const std::string& base,
                                                const OpenRequest& request);

}  // namespace ncc
