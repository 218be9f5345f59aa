// The list of generated files that are to be sent: what is new, changed or gone.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "console/output.h"
#include "nccnet/changed_files.h"
#include "network/object.h"
#include "network/session.h"

namespace ncc::tool {

// What changed at this revision or later: at one revision files change twice when a key is
// replaced. Which files were new nobody knows any more.
std::vector<CFileChange> ChangesSince(const CManifest& manifest, std::uint64_t revision);

// The files that are gone from a manifest and lie in the folder still.
std::vector<std::string> GoneFiles(const std::vector<CFileChange>& changes);

// The nodes and users that files are of.
class FileOwners {
 public:
  // Learns their names from the session's network, where it has opened one.
  FileOwners(Session& session, const std::vector<CFileChange>& changes);
  // The same of those that the network had not then.
  void Learn(Session& session, const std::vector<CFileChange>& changes);

  std::optional<std::string> NameOf(unsigned long id) const;
  std::string TextOf(unsigned long id) const;  // of any id, and of 0

 private:
  std::map<unsigned long, std::optional<Object>> objects_;
};

// Two tables: files by part of the generation, and by node.
void PrintChanges(Output& out, const std::vector<CFileChange>& changes, const FileOwners& owners);

// An array of all files.
Json ChangesJson(const std::vector<CFileChange>& changes, const FileOwners& owners);

// Throws Failure for a list that would take the place of what is needed, or that cannot be written;
// asks before it replaces a file. `out` is the output folder.
void PrepareSendList(Session& session, const std::string& file, const std::filesystem::path& out);

// A path a line, as rsync takes them; the files that are gone among them, which
// --delete-missing-args deletes at the other end. Throws Failure.
void WriteSendList(const std::string& file, const std::vector<CFileChange>& changes);

}  // namespace ncc::tool
