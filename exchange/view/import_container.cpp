#include "nccnet/import_container.h"

#include "core/last_error.h"
#include "exchange/set_files.h"
#include "platform/sync.h"

#include <algorithm>
#include <exception>
#include <new>

using namespace ncc;

namespace {

constexpr int kNothingFound = -1;

}  // namespace

CImportContainer::CImportContainer() : lock_(std::make_unique<ReentrantLock>()) {}

CImportContainer::CImportContainer(const CImportContainer& /*other*/) : CImportContainer() {}

CImportContainer& CImportContainer::operator=(const CImportContainer& /*other*/) { return *this; }

CImportContainer::~CImportContainer() {
  for (const CImportNet* view : views_) delete view;
}

bool CImportContainer::Lock() {
  lock_->Enter();
  return true;
}

bool CImportContainer::UnLock() {
  lock_->Leave();
  return true;
}

int CImportContainer::GetListNets(std::list<unsigned long>* list) {
  const LockScope lock(*lock_);
  try {
    int result = kNothingFound;
    for (const std::string& name : GateFileNames(".\\DB\\IMPORT\\")) {
      result = 0;
      const unsigned long net = NetOfGateFile(name);
      if (list != nullptr && net != 0) list->push_back(net);
    }
    return result;
  } catch (const std::bad_alloc&) {
    return kNothingFound;
  }
}

std::list<CImportNet*>::iterator CImportContainer::FindView(unsigned long net) {
  return std::find_if(views_.begin(), views_.end(), [&](const CImportNet* view) {
    return dynamic_cast<const _CImportNet*>(view) != nullptr &&
           static_cast<std::uint32_t>(view->GetNet()) == net;
  });
}

CImportNet* CImportContainer::LoadNet(unsigned long net) {
  const LockScope lock(*lock_);
  try {
    std::list<unsigned long> nets;
    GetListNets(&nets);
    if (std::find(nets.begin(), nets.end(), net) == nets.end()) {
      SetLastError("network " + std::to_string(net) + " has no gateway file");
      return nullptr;
    }
    if (const auto held = FindView(net); held != views_.end()) {
      static_cast<_CImportNet*>(*held)->Load(net);
      return *held;
    }
    const auto destroy = [](_CImportNet* view) { delete view; };
    std::unique_ptr<_CImportNet, decltype(destroy)> view(new _CImportNet, destroy);
    if (view->Load(net) != 0) return nullptr;
    views_.push_back(view.get());
    return view.release();
  } catch (const std::exception& error) {  // no memory, or the folder went away meanwhile
    SetLastError(error.what());
    return nullptr;
  }
}

int CImportContainer::UnLoadNet(unsigned long net) {
  const LockScope lock(*lock_);
  const auto held = FindView(net);
  if (held != views_.end() && static_cast<_CImportNet*>(*held)->UnLoad() == 0) {
    delete *held;
    views_.erase(held);
  }
  return 0;
}
