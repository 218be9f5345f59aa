// Reading a database without owning it.
#pragma once

#include "platform/storage/database_files.h"
#include "platform/storage/engine.h"

#include <memory>
#include <string>

namespace ncc {

// An engine whose Load gives the last committed state, also while an owner is at work, and touches
// nothing; everything else is refused. Load throws for what another object of this process owns:
// looking at its file would take its locks away.
std::unique_ptr<StorageEngine> OpenSnapshot(DatabaseFiles files, bool accepts_loss);

// The same for a copy, whatever its name.
std::unique_ptr<StorageEngine> OpenCopy(const std::string& file);

// A data file with all that such a Load would give, which needs no log.
std::string TakeImage(const DatabaseFiles& files);

}  // namespace ncc
