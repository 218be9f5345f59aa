// The list of generated files that are to be sent: what is new, changed or gone.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "console/output.h"
#include "nccnet/changed_files.h"

namespace ncc::tool {

// What changed at this revision or later: at one revision files change twice when a key is
// replaced. Which files were new nobody knows any more.
std::vector<CFileChange> ChangesSince(const CManifest& manifest, std::uint64_t revision);

// The files that are gone from a manifest and lie in the folder still.
std::vector<std::string> GoneFiles(const std::vector<CFileChange>& changes);

// Two tables: files by part of the generation, and by node.
void PrintChanges(Output& out, const std::vector<CFileChange>& changes);

// An array of all files.
Json ChangesJson(const std::vector<CFileChange>& changes);

// A path a line, as rsync takes them; the files that are gone among them, which
// --delete-missing-args deletes at the other end. Throws Failure.
void WriteSendList(const std::string& file, const std::vector<CFileChange>& changes);

}  // namespace ncc::tool
