// The members that work on stored objects as they are: values and id lists of a record, look-ups in
// the root folder, the folder space.

#include "core/links.h"

using namespace ncc;

namespace {

bool GetItem(const CHDBRecord* found, TDBObjId& result) {
  if (found != nullptr) result = FolderOf(*found);
  return found != nullptr;
}

}  // namespace

void CNCCNet::SetData(TRef<CHDBList> list, void* data, unsigned long size) {
  LockScope lock(state_->lock);
  StoreValues(*list, {static_cast<const char*>(data), size});
}

void CNCCNet::AddListId(TRef<CHDBRecord>& record, TDBObjId& object, int n) {
  LockScope lock(state_->lock);
  record->AddToList(n, object);
}

void CNCCNet::DelListId(TRef<CHDBRecord>& record, TDBObjId& object, int n) {
  LockScope lock(state_->lock);
  record->RemoveFromList(n, object.number);
}

void CNCCNet::DelAllListId(TRef<CHDBRecord>& record, TDBObjId& object, int n, int m) {
  LockScope lock(state_->lock);
  RemoveBackLinks(*state_, *record, n, object, m);
}

bool CNCCNet::GetRootEntry(const char* name, unsigned char type, TDBObjId& result) {
  LockScope lock(state_->lock);
  return GetItem(FindRootItem(*state_, type, name), result);
}

bool CNCCNet::GetRootEntry(unsigned long id, unsigned char type, TDBObjId& result) {
  LockScope lock(state_->lock);
  return GetItem(FindRootItem(*state_, type, id), result);
}

unsigned long CNCCNet::GetRootFldSpc() {
  NetState& net = *state_;
  LockScope lock(net.lock);
  for (std::size_t i = 0; i < net.base->Definitions().size(); ++i) {
    const CHDBDefinition found = net.base->Definitions()[i];  // they may be loaded anew
    if (found.what != CHDBDefinition::What::kRecordSpace &&
        found.what != CHDBDefinition::What::kFolderSpace) {
      continue;
    }
    net.Progress();
    if (found.tag == CHDBase::kFolderTag && (found.flags & CHDBase::kDeletedFlag) == 0)
      return found.number;
  }
  return 0;
}
