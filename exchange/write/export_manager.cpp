#include "nccnet/export_manager.h"

#include "core/last_error.h"
#include "exchange/read/imported_net.h"
#include "platform/disk/files.h"
#include "platform/disk/paths.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <stdexcept>

using namespace ncc;

namespace {

void MakeExportFolder(const std::string& path) {
  if (!FolderExists(path) && !MakeFolder(path) && !FolderExists(path))  // somebody else may have
    throw std::runtime_error("Export dir doesn't exist and cannot be created");
}

// Makes the folder below the current one, or empties it, and copies the files of another one into
// it.
void PublishFiles(const std::string& from, const std::string& below) {
  constexpr char kHere[] = ".\\";
  const std::string to = kHere + below;
  if (!FolderExists(from)) throw FileError("folder " + from + " is gone");
  RefuseLinks(kHere, below);
  if (FolderExists(to)) {
    DeleteFiles(to);
  } else {
    MakeFolders(to);
  }
  for (const std::string& name : FolderEntries(from)) {
    if (IdentifyFile(NativePath(from + name))) CopyWholeFile(from + name, to + name);
  }
}

}  // namespace

_CExportManager::_CExportManager(CNCCNet* net, unsigned long partner)
    : path_(".\\DB\\EXPORT\\"), partner_(static_cast<std::uint32_t>(partner)), net_(net) {
  if (net_ == nullptr) throw std::runtime_error("_CExportManager : Net must not be NULL");
  MakeExportFolder(path_);
  path_ += std::to_string(partner_) + "\\";
  MakeExportFolder(path_);
  try {
    view_.reset(new _CImportNet(path_.c_str()), [](_CImportNet* view) { delete view; });
  } catch (const std::exception&) {
    throw std::runtime_error("ExportInfo class cannot be created");
  }
  const std::uint32_t own = net_->Preferences()->net_number;
  view_->Load(own);  // a first export finds no files; the lock that network 0 leaves goes with it
  view_->state_->net = own;
}

_CExportManager::~_CExportManager() = default;
_CExportManager::_CExportManager(const _CExportManager&) = default;
_CExportManager& _CExportManager::operator=(const _CExportManager&) = default;

const CImportNet* _CExportManager::GetNetInfo() const { return view_.get(); }

int _CExportManager::SetGateInfo(unsigned long first, unsigned long second, const char* name) {
  ImportedGate& gate = view_->state_->gate;
  gate.first = static_cast<std::uint32_t>(first);
  gate.second = static_cast<std::uint32_t>(second);
  if (name == nullptr) return 0;
  gate.name.fill('\0');
  std::memcpy(gate.name.data(), name, strnlen(name, kMaxNameLength));
  return 0;
}

int _CExportManager::AddAp(const CNNEntry& ap) {
  view_->state_->aps.Append(ap);
  return 0;
}

int _CExportManager::AddSrv(const CNNEntry& server) {
  view_->state_->servers.Append(server);
  return 0;
}

int _CExportManager::AddDep(const CDepEntry& dep) {
  view_->state_->AppendDep(dep);
  return 0;
}

int _CExportManager::DelAp(const CNNEntry& /*ap*/) { return 0; }
int _CExportManager::DelSrv(const CNNEntry& /*server*/) { return 0; }
int _CExportManager::DelDep(const CDepEntry& /*dep*/) { return 0; }

int _CExportManager::CreateExport() {
  int result = PrepareEntryForExport();
  if (result != 0) return result;
  using Step = int (_CExportManager::*)();
  static constexpr std::array<Step, 12> kSteps = {
      &_CExportManager::PrepareFile_AN, &_CExportManager::PrepareFile_BC,
      &_CExportManager::PrepareFile_EN, &_CExportManager::PrepareFile_GL,
      &_CExportManager::PrepareFile_IP, &_CExportManager::PrepareFile_NG,
      &_CExportManager::PrepareFile_NN, &_CExportManager::PrepareFile_TU,
      &_CExportManager::PrepareFile_UC, &_CExportManager::PrepareFile_UL,
      &_CExportManager::PrepareFile_UN, &_CExportManager::PrepareFile_GT};
  for (const Step step : kSteps) {
    result = (this->*step)();
    if (result != 0) return result;
  }
  try {
    const std::uint32_t own = net_->Preferences()->net_number;
    PublishFiles(path_, "EXPORT\\" + std::to_string(static_cast<std::int32_t>(own)) + "\\");
    ClearLastError();
  } catch (const std::bad_alloc&) {
    SetLastError("out of memory");
    return kExchangeNoMemory;
  } catch (const FileError& error) {
    SetLastError(error.what());
    return kExchangeNoFile;
  }
  return 0;
}

int _CExportManager::PrepareEntryForExport() {
  view_->LoadSrvLinks(false);
  view_->LoadAbLinks(false);
  view_->LoadDepLinks(false);
  view_->LoadNGrpLinks(false);
  std::list<CNGrpEntry> groups_of_dep;
  std::list<CNGrpEntry> groups;
  for (const CDepEntry& dep : view_->state_->deps.List()) {
    net_->GetListNGrpFromDep(dep.id, groups_of_dep);
    groups.splice(groups.end(), groups_of_dep);
  }
  return 0;
}

int _CExportManager::PrepareFile_AN() { return kExchangeNothingDone; }
int _CExportManager::PrepareFile_BC() { return kExchangeNothingDone; }
int _CExportManager::PrepareFile_EN() { return kExchangeNothingDone; }
int _CExportManager::PrepareFile_GL() { return kExchangeNothingDone; }
int _CExportManager::PrepareFile_IP() { return kExchangeNothingDone; }
int _CExportManager::PrepareFile_NG() { return kExchangeNothingDone; }
int _CExportManager::PrepareFile_NN() { return kExchangeNothingDone; }
int _CExportManager::PrepareFile_TU() { return kExchangeNothingDone; }
int _CExportManager::PrepareFile_UC() { return kExchangeNothingDone; }
int _CExportManager::PrepareFile_UL() { return kExchangeNothingDone; }
int _CExportManager::PrepareFile_UN() { return kExchangeNothingDone; }
int _CExportManager::PrepareFile_GT() { return kExchangeNothingDone; }
