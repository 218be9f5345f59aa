#include "nccnet/backup.h"
#include "core/examination.h"
#include "core/last_error.h"
#include "core/operation.h"
#include "platform/disk/paths.h"
#include "platform/storage/restore.h"
#include "platform/storage/snapshot.h"

#include <cstring>

using namespace ncc;

namespace {

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
    Restoration restoration(DatabasePath(path, name), NativePath(backup));
    Check(restoration.File());
    kept = restoration.Publish();
  });
}
