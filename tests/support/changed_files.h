// A folder of generated files that is kept as only what changed is made, and a full run beside it.
#pragma once

#include "support/memory_net.h"
#include "support/model.h"
#include "support/outputs.h"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace fs = std::filesystem;
using Writing = CCollectorOptions::Writing;

inline const std::vector<std::string> kFolders = {"APDB", "KC", "MAP"};

struct GenerationPart {
  CFileCollector::Part part;
  std::function<void(CNCCNet&)> run;
  bool is_whole = true;
};

// A whole set, as an application makes it below the current folder.
inline const std::vector<GenerationPart>& GenerationParts() {
  static const std::vector<GenerationPart> steps = {
      {{"apdb", "mode=1"}, [](CNCCNet& net) { net.GenAPDB("./", 1); }},
      {{"routes", ""}, [](CNCCNet& net) { net.GenRoutingTables("./"); }},
      {{"map", "mode=1"}, [](CNCCNet& net) { net.GenMAP("./", 1); }},
      {{"kc", "packages=full"}, [](CNCCNet& net) { net.ExportForKC(true, "./KC/"); }}};
  return steps;
}

inline std::vector<CFileCollector::Part> PartsOf(const std::vector<GenerationPart>& steps) {
  std::vector<CFileCollector::Part> parts;
  for (const GenerationPart& step : steps) parts.push_back(step.part);
  return parts;
}

// What shows whether a file was touched.
struct Stood {
  std::string bytes;
  ino_t inode = 0;
  timespec time{};
  bool operator==(const Stood& other) const {
    return bytes == other.bytes && inode == other.inode && time.tv_sec == other.time.tv_sec &&
           time.tv_nsec == other.time.tv_nsec;
  }
};

inline std::map<std::string, Stood> Tree(const std::string& folder) {
  std::map<std::string, Stood> tree;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const std::string path = fs::relative(entry.path(), folder);
    struct stat info {};
    if (entry.is_directory() || path == ".manifest" || path == "newfiles.dat") continue;
    EXPECT_EQ(lstat(entry.path().c_str(), &info), 0);
    tree[path] = {ReadFile(entry.path()), info.st_ino, info.st_mtim};
  }
  return tree;
}

inline Files BytesOf(const std::map<std::string, Stood>& tree) {
  Files files;
  for (const auto& [path, file] : tree) files[path] = file.bytes;
  return files;
}

struct Outcome {
  std::map<std::string, CFileChange::What> changes;
  std::vector<std::string> touched;
  bool is_up_to_date = false;
  std::set<std::string> composed;
  std::size_t kept = 0;  // files that were not composed
};

class ChangedFilesTest : public OutputTest {
 protected:
  ChangedFilesTest() {
    UseKeyOf('0');
    kept_ = scratch_.Path("kept");
    fs::create_directories(kept_);
  }
  ~ChangedFilesTest() override { SetStampProvider(nullptr); }

  // From here on the current folder may change.
  void UseKeyOf(char digit) {
    const std::string file = scratch_.Path("key");
    WriteFile(file, std::string(32, digit));
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
    SetStampProvider(MakeStampProvider(file.c_str()));
  }

  // Everything into a new folder, without a collector.
  std::map<std::string, Stood> Full() {
    Enter("full");
    for (const GenerationPart& step : GenerationParts()) step.run(*subject_);
    return Tree(scratch_.Path("full"));
  }

  // What changed into the kept folder, or nowhere.
  Outcome Update(Writing writing, bool verify = false,
                 const std::vector<GenerationPart>& steps = GenerationParts()) {
    Enter("staged");
    CCollectorOptions options;
    options.root = kept_;
    options.folders = kFolders;
    options.manifest = Manifest();
    options.writing = writing;
    options.verify = verify;
    CFileCollector collector(*subject_, std::move(options));
    EXPECT_EQ(collector.Problem(), "");
    Outcome outcome;
    subject_->SetFileObserver([&](const CFileEvent& event) {
      outcome.composed.insert(std::string(event.path).substr(2));
      EXPECT_EQ(event.failure, nullptr);
    });
    outcome.is_up_to_date = collector.IsUpToDate(PartsOf(steps));
    for (const GenerationPart& step : steps) {
      collector.BeginPart(step.part, step.is_whole);
      step.run(*subject_);
      const std::string error = subject_->LastError();
      EXPECT_TRUE(error.empty() || error == "no server has a tunnel value") << error;
    }
    subject_->SetFileObserver(nullptr);
    outcome.kept = collector.KeptFiles();
    for (const CFileChange& change : collector.Changes()) {
      outcome.changes[change.path] = change.what;
      if (change.what == CFileChange::What::kGone && change.is_there &&
          writing != Writing::kNothing) {
        fs::remove(fs::path(kept_) / change.path);
      }
    }
    outcome.touched = collector.TouchedFiles();
    if (writing == Writing::kNothing) {
      EXPECT_TRUE(fs::is_empty(".")) << "something was written";
    } else {
      Place();
      collector.WriteManifest(Manifest().c_str());
    }
    return outcome;
  }

  // That the next run finds something to do, and does it.
  void ExpectChanged(const char* what) {
    SCOPED_TRACE(what);
    EXPECT_FALSE(Update(Writing::kNothing).is_up_to_date);
    EXPECT_FALSE(Update(Writing::kChanged).changes.empty());
    EXPECT_EQ(Differences(BytesOf(Full()), BytesOf(Tree(kept_))), "");
    EXPECT_TRUE(Update(Writing::kNothing).is_up_to_date);
  }

  std::string Manifest() const { return kept_ + "/.manifest"; }

  CNCCNet* subject_ = &net_;
  std::string kept_;
  std::string journal_;  // what the last update entered

 private:
  void Enter(const std::string& folder) {
    fs::current_path(scratch_.Path());
    fs::remove_all(folder);
    fs::create_directories(folder);
    fs::current_path(folder);
    subject_->KCPath("./KC/");
  }

  void Place() {
    journal_ = ReadFile("newfiles.dat");
    fs::remove("newfiles.dat");
    for (const auto& [path, file] : Tree(".")) {
      const fs::path place = fs::path(kept_) / path;
      fs::create_directories(place.parent_path());
      fs::rename(path, place);
    }
  }
};

// The changes of a tree, and that nothing else was written; but for a file that was touched.
inline std::map<std::string, CFileChange::What> Changed(const std::map<std::string, Stood>& before,
                                                        const std::map<std::string, Stood>& after,
                                                        const std::string& touched = {}) {
  std::map<std::string, CFileChange::What> changes;
  for (const auto& [path, file] : after) {
    const auto old = before.find(path);
    if (old == before.end()) {
      changes[path] = CFileChange::What::kNew;
    } else if (old->second.bytes != file.bytes) {
      changes[path] = CFileChange::What::kChanged;
    } else if (path != touched) {
      EXPECT_TRUE(old->second == file) << path << " was written again";
    }
  }
  for (const auto& [path, file] : before) {
    if (after.count(path) == 0) changes[path] = CFileChange::What::kGone;
  }
  return changes;
}
