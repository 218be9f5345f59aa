#include "nccnet/backup.h"
#include "core/examination.h"
#include "core/last_error.h"
#include "core/operation.h"
#include "platform/disk/paths.h"
#include "platform/storage/copy.h"
#include "platform/storage/database_files.h"
#include "platform/storage/restore.h"
#include "platform/storage/snapshot.h"

#include <cstring>

using namespace ncc;

namespace {

// Its settings file stands where its data file would.
bool IsInCluster(const std::string& base) { return FileExists(base + ".cluster"); }

// Throws StorageError for a copy that could not be opened.
std::uint64_t Check(const std::string& file, CNetPref* preferences = nullptr) {
  NetState net;
  net.manager.SetExaminer(ExamineNetwork);
  net.base = std::make_shared<CHDBase>(net.manager, OpenCopy(file));
  if (preferences != nullptr) {
    net.root = CHDBFolderManager(*net.base).FolderOpenRoot(kFolderSpace);
    const auto record = net.NetworkRecord();
    if (record->Data().size() < sizeof(CNetPref))
      throw StorageError("the network record is too short");
    std::memcpy(preferences, record->Data().data(), sizeof(CNetPref));
  }
  return net.base->Revision();
}

}  // namespace

CString DatabaseOwner(const char* path, const char* name) {
  CString owner;
  Attempt([&] {
    const std::string base = DatabasePath(path, name);
    owner = CHDBMgr().Engines()(base, {OpenMode::kSnapshot})->Owner().value_or(CString());
  });
  return owner;
}

bool GetDatabaseStatus(const char* path, const char* name, CDatabaseStatus& status) {
  status = {};
  return Attempt([&] {
    const std::string base = DatabasePath(path, name);
    status.is_shared = IsInCluster(base);
    const auto engine = CHDBMgr().Engines()(base, {OpenMode::kSnapshot});
    const EngineStatus told = engine->Status();
    for (const auto& [place, is_well, text] : told.nodes)
      status.nodes.push_back({place, is_well, text});
    for (const auto& [who, revision] : told.followers) status.followers.push_back({who, revision});
    status.owner = engine->Owner().value_or(CString());
    status.revision = engine->Load([](const RowView&) {}).revision;
  });
}

std::uint64_t CopyDatabase(
    const char* from_path, const char* from_name, const char* to_path, const char* to_name,
    const std::function<void(std::uint64_t done, std::uint64_t rows)>& progress) {
  std::uint64_t revision = 0;
  Attempt([&] {
    const CHDBMgr manager;
    const auto from = manager.Engines()(DatabasePath(from_path, from_name), {OpenMode::kSnapshot});
    const auto to = manager.Engines()(DatabasePath(to_path, to_name), {OpenMode::kCreate});
    revision = ncc::CopyDatabase(*from, *to, progress).revision;
  });
  return revision;
}

std::uint64_t CheckBackup(const char* file, CNetPref* preferences) {
  std::uint64_t revision = 0;
  Attempt([&] {
    if (file == nullptr) throw Refusal("no file was named");
    revision = Check(NativePath(file), preferences);
  });
  return revision;
}

bool RestoreBackup(const char* path, const char* name, const char* backup, CString& kept) {
  return Attempt([&] {
    if (backup == nullptr) throw Refusal("no file was named");
    Check(NativePath(backup));
    const std::string base = DatabasePath(path, name);
    if (IsInCluster(base))
      throw Refusal("the database " + base + " is in a cluster, where no copy replaces it: give " +
                    base + ".cluster another prefix and copy it there");
    Restoration restoration(base, NativePath(backup));
    Check(restoration.File());
    kept = restoration.Publish();
  });
}
