// A view's lifecycle: loading the files of a set, emptying, counting.

#include "nccnet/import_net.h"

#include "core/last_error.h"
#include "exchange/file_names.h"
#include "exchange/read/imported_net.h"
#include "exchange/read/readers.h"
#include "exchange/set_files.h"

#include <new>
#include <stdexcept>

using namespace ncc;

namespace {

struct SetFile {
  ExchangeFile file;
  FileReader read;
};
// What a view cannot be without, in the order of reading.
constexpr SetFile kRecordFiles[] = {
    {ExchangeFile::kGate, ReadGate},   {ExchangeFile::kUsers, ReadUsers},
    {ExchangeFile::kNodes, ReadNodes}, {ExchangeFile::kApplications, ReadApplications},
    {ExchangeFile::kDeps, ReadDeps},   {ExchangeFile::kUserLinks, ReadPrimaries}};

// 0, or the result of the failure, whose text becomes the last error.
int LoadFile(ImportState& state, const SetFile& from, unsigned long net) {
  try {
    const std::string name = ExchangeFileName(from.file, net);
    const std::optional<FileText> text = ReadSetFile(state.folder, from.file, net);
    if (!text) {
      SetLastError("file " + name + " cannot be opened");
      return kExchangeNoFile;
    }
    if (const ReadResult fault = from.read(text->View(), net, state)) {
      SetLastError(name + ":" + std::to_string(fault->line) + ": " + fault->reason);
      return kExchangeBadLine;
    }
    return 0;
  } catch (const FileError& error) {
    SetLastError(error.what());
    return kExchangeNoFile;
  } catch (const std::bad_alloc&) {
    SetLastError("out of memory");
    return kExchangeNoMemory;
  }
}

}  // namespace

CImportNet::~CImportNet() = default;

_CImportNet::_CImportNet(const char* path) : state_(std::make_unique<ImportState>()) {
  state_->folder = WithSeparator(path != nullptr ? path : ".\\DB\\IMPORT\\");
  if (path != nullptr && *path == '\0') state_->folder = ".\\";
  const std::string& folder = state_->folder;
  if (!FolderExists(folder) && !MakeFolder(folder) && !FolderExists(folder))
    throw std::runtime_error("Import dir doesn't exist and cannot be created");
}

_CImportNet::~_CImportNet() = default;

int _CImportNet::Load(unsigned long net) {
  ImportState& state = *state_;
  state.lock.Enter();
  if (net == 0 || (state.net != 0 && net != state.net)) {
    SetLastError(net == 0 ? "0 is no network" : "another network is loaded");
    return kExchangeWrongNet;  // with the lock entered, as described
  }
  int result = 0;
  const bool is_one_set = ReadOneSet(state.folder, net, [&] {
    UnLoadNet();
    result = LoadNet(net);
    if (result == 0) result = LoadSrvLinks(true);
    if (result == 0) result = LoadAbLinks(true);
    if (result == 0) result = LoadDepLinks(true);
    if (result == 0) result = LoadNGrpLinks(true);
  });
  if (!is_one_set) {
    SetLastError("the files of network " + std::to_string(net) + " are being replaced");
    result = kExchangeNoFile;
  }
  if (result == 0) {
    AddRef();
    ClearLastError();
  }
  state.lock.Leave();
  return result;
}

int _CImportNet::UnLoad() {
  const LockScope lock(state_->lock);
  Release();
  if (state_->count == 0) {
    UnLoadNet();
    LoadSrvLinks(false);
    LoadAbLinks(false);
    LoadDepLinks(false);
    LoadNGrpLinks(false);
    state_->net = 0;
  }
  return state_->count;
}

int _CImportNet::LoadNet(unsigned long net) {
  ImportState& state = *state_;
  if (state.net != 0 && net != 0 && net != state.net) {
    SetLastError("another network is loaded");
    return kExchangeWrongNet;
  }
  if (net > UINT32_MAX) {
    SetLastError("no network has a number of more than 32 bits");
    return kExchangeNoFile;
  }
  for (const SetFile& file : kRecordFiles) {
    if (const int result = LoadFile(state, file, net); result != 0) return result;
  }
  state.net = static_cast<std::uint32_t>(net);
  return 0;
}

int _CImportNet::UnLoadNet() {
  const LockScope lock(state_->lock);
  state_->ClearRecords();
  return 0;
}

int _CImportNet::LoadSrvLinks(bool load) {
  try {
    if (load) {
      state_->LinkServers();
    } else {
      state_->server_links.clear();
    }
    return 0;
  } catch (const std::bad_alloc&) {
    SetLastError("out of memory");
    return kExchangeNoMemory;
  }
}

int _CImportNet::LoadAbLinks(bool load) {
  ImportState& state = *state_;
  state.ClearUserLinks();
  return load ? LoadFile(state, {ExchangeFile::kUserLinks, ReadUserLinks}, state.net) : 0;
}

int _CImportNet::LoadDepLinks(bool load) {
  ImportState& state = *state_;
  state.dep_links.clear();
  return load ? LoadFile(state, {ExchangeFile::kDepLinks, ReadDepLinks}, state.net) : 0;
}

int _CImportNet::LoadNGrpLinks(bool load) {
  ImportState& state = *state_;
  state.ClearGroupLinks();
  return load ? LoadFile(state, {ExchangeFile::kNodeGroupLinks, ReadGroupLinks}, state.net) : 0;
}

int _CImportNet::AddRef() { return ++state_->count; }

void _CImportNet::Release() {
  if (--state_->count < 0) throw std::runtime_error("");
}

bool _CImportNet::Lock() {
  state_->lock.Enter();
  return true;
}

bool _CImportNet::UnLock() {
  state_->lock.Leave();
  return true;
}
