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

// Hands a file of the set to read(text). Returns 0, or the result of the failure, whose text
// becomes the last error.
template <class Read>
int LoadFile(const ImportState& state, ExchangeFile file, unsigned long net, Read read) {
  try {
    const std::string name = ExchangeFileName(file, net);
    const std::optional<FileText> text = ReadSetFile(state.folder, file, net);
    if (!text) {
      SetLastError("file " + name + " cannot be opened");
      return kExchangeNoFile;
    }
    if (const ReadResult fault = read(text->View())) {
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
  const auto load = [&](ExchangeFile file, auto read) { return LoadFile(state, file, net, read); };
  int result =
      load(ExchangeFile::kGate, [&](std::string_view text) { return ReadGate(text, state.gate); });
  if (result != 0) return result;
  result = load(ExchangeFile::kUsers,
                [&](std::string_view text) { return ReadUsers(text, net, state); });
  if (result != 0) return result;
  result = load(ExchangeFile::kNodes, [&](std::string_view text) {
    ReadResult fault = ReadNodes(text, net, state);
    if (!fault) state.AttachAps();
    return fault;
  });
  if (result != 0) return result;
  result = load(ExchangeFile::kApplications,
                [&](std::string_view text) { return ReadApplications(text, state); });
  if (result != 0) return result;
  result =
      load(ExchangeFile::kDeps, [&](std::string_view text) { return ReadDeps(text, net, state); });
  if (result != 0) return result;
  result = load(ExchangeFile::kUserLinks,
                [&](std::string_view text) { return ReadPrimaries(text, net, state); });
  if (result == 0) state.net = static_cast<std::uint32_t>(net);
  return result;
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
  if (!load) return 0;
  return LoadFile(state, ExchangeFile::kUserLinks, state.net,
                  [&](std::string_view text) { return ReadUserLinks(text, state.net, state); });
}

int _CImportNet::LoadDepLinks(bool load) {
  ImportState& state = *state_;
  state.dep_links.clear();
  if (!load) return 0;
  return LoadFile(state, ExchangeFile::kDepLinks, state.net,
                  [&](std::string_view text) { return ReadDepLinks(text, state); });
}

int _CImportNet::LoadNGrpLinks(bool load) {
  ImportState& state = *state_;
  state.ClearGroupLinks();
  if (!load) return 0;
  return LoadFile(state, ExchangeFile::kNodeGroupLinks, state.net,
                  [&](std::string_view text) { return ReadGroupLinks(text, state.net, state); });
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
