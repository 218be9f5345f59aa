// Copying a database from one engine to another, with its history: for backups, for going back to
// one, and for moving between a file and a cluster.
#pragma once

#include "platform/storage/engine.h"

#include <cstdint>
#include <functional>
#include <string>

namespace ncc {

// Called for each row with the number of all.
using CopyProgress = std::function<void(std::uint64_t done, std::uint64_t rows)>;

// Stores in `to`, which was created and holds nothing yet, what `from` holds, as one commit. Gives
// the state of both. Throws StorageError when the copy is not that.
StoredState CopyDatabase(StorageEngine& from, StorageEngine& to, const CopyProgress& progress = {});

// Writes what `from` holds to a data file of the default engine (replacing it whole, durable,
// readable by its owner alone), checked as opening would.
void CopyToFile(StorageEngine& from, const std::string& file);

}  // namespace ncc
