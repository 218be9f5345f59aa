// The folder that a run generates into. New files are made in a work folder inside it and take the
// places of the old ones when all of them are there and on the disk.
//
//   .nccadm             the marker: the folders that belong to the tool, a name a line
//   .nccadm-new/set/    what is made; the current directory of the run
//   .nccadm-new/old/    what was replaced, until it is deleted
//   .nccadm-new/placing "INODE FOLDER" of each folder that takes the place of an old one, "- FILE"
//                       of each file that goes: from here on the next run goes on with what this
//                       one has begun
//   .nccadm-new/manifest  of the folder as it is then
//   .nccadm-manifest    what the folder holds; replaced last
#pragma once

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace ncc::tool {

inline constexpr const char* kWorkFolder = ".nccadm-new";
inline constexpr const char* kManifest = ".nccadm-manifest";

// What a run does to a folder of the output.
enum class FolderFate {
  kRenewed,  // makes it anew
  kRevised,  // the same, beginning with the files that are there
  kAdded     // makes files that take their places one by one
};

struct FolderChange {
  std::string folder;  // "KC", "KC/AAA"
  FolderFate fate = FolderFate::kRenewed;
  std::string except = {};  // a revised folder begins without the files that end so
};

// Throws Failure for a file that runs into this output folder replace, or which lies in a folder
// that they replace: nothing else may. `what` begins the sentence.
void RefuseOwnFiles(const std::filesystem::path& out, const std::filesystem::path& file,
                    const char* what, const char* hint = "Give another folder with --out.");

class OutputFolder {
 public:
  // Makes the folder if it is missing, and keeps other runs out of it. Completes what a killed run
  // was about to put in place, and removes what it left otherwise.
  explicit OutputFolder(const std::filesystem::path& folder);
  ~OutputFolder();
  OutputFolder(const OutputFolder&) = delete;
  OutputFolder& operator=(const OutputFolder&) = delete;

  // What was done about a killed run; empty when nothing had to be.
  const std::string& Told() const { return told_; }

  struct Room {
    std::uint64_t bytes = 0;
    std::uint64_t files = 0;
  };
  Room Free() const;

  // Throws Failure for sub-folders that cannot be replaced and, unless forced, for those that hold
  // files and do not belong to the tool.
  static void RequireOwn(const std::filesystem::path& folder,
                         const std::vector<FolderChange>& changes, bool force);

  // Makes the work folder and enters it. The folders that the run only reads can be reached there.
  // Returns the whole path of the output folder.
  std::string Begin(const std::vector<FolderChange>& changes);

  // Where the manifest is made that takes its place with the files.
  std::string StagedManifest() const { return (work_ / "manifest").string(); }
  // These files, by their paths below the folder, go when what was made is put in place.
  void Remove(std::vector<std::string> files) { gone_ = std::move(files); }

  // Puts what was made in place. Throws Failure; one with the exit code kExitPartly when a part of
  // it is in place.
  void Place();

 private:
  void Lock();
  void Recover();
  void Seed(const FolderChange& change) const;
  void SeedJournal() const;
  void LinkWhatIsPacked(const std::set<std::string>& changed) const;
  void RefuseWhatIsInTheWay() const;
  void WriteMarker() const;
  void FinishPlacing();
  void RemoveGone(const std::vector<std::string>& files, std::set<std::filesystem::path>& touched);
  void RemoveWork() const;

  std::filesystem::path folder_;
  std::filesystem::path work_;
  std::vector<FolderChange> changes_;
  std::vector<std::string> gone_;
  std::string told_;
  int lock_ = -1;
};

}  // namespace ncc::tool
