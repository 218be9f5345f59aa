// What an update manager holds. What it does with the journal is above, in generate/journal.

#include "nccnet/update_manager.h"

CUpdateManager::CUpdateManager() = default;
CUpdateManager::~CUpdateManager() = default;

CUpdateManager::CUpdateManager(const CUpdateManager& other)
    : records_(other.records_),
      count_(other.count_),
      write_journal_(other.write_journal_),
      checked_(other.checked_) {}

CUpdateManager& CUpdateManager::operator=(const CUpdateManager& other) {
  if (this == &other) return *this;
  records_ = std::list<Record>(other.records_);
  count_ = other.count_;
  write_journal_ = other.write_journal_;
  checked_ = other.checked_;
  return *this;
}

int CUpdateManager::SetUpdateAb() { return 0; }
void CUpdateManager::WriteCRC(bool write) { write_journal_ = write; }
bool CUpdateManager::WriteCRC() { return write_journal_; }
void CUpdateManager::SetExportFolder(const char* folder) {
  export_folder_ = folder;
  export_text_ = nullptr;
}
void CUpdateManager::FollowExportFolder(const std::string* text) { export_text_ = text; }
void CUpdateManager::SetDBFolder(const char* folder) { db_folder_ = folder; }
const char* CUpdateManager::GetExportFolder() {
  return export_text_ != nullptr ? export_text_->c_str() : export_folder_;
}
const char* CUpdateManager::GetDBFolder() { return db_folder_; }
