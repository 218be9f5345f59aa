/// \file
/// The neighbouring networks whose files lie in the import folder.
#pragma once

#include "nccnet/export.h"
#include "nccnet/import_net.h"

#include <list>
#include <memory>

namespace ncc {
class ReentrantLock;
}

/// Hands out one shared view per neighbouring network, from the folder "DB\IMPORT\" of the current
/// directory. Thread-safe; what is handed out obeys the rules of CImportNet. Destroys the views
/// that it still holds.
class NCC_API CImportContainer {
 public:
  CImportContainer();
  ~CImportContainer();
  /// A copy holds no views, and assignment changes none.
  CImportContainer(const CImportContainer& other);
  CImportContainer& operator=(const CImportContainer& other);

  /// Appends the numbers of the networks that have a gateway file ("gt5.way", in any letter case),
  /// in the order in which the system lists the folder. A null list is allowed.
  /// \return 0; -1 when there is no gateway file
  int GetListNets(std::list<unsigned long>* list);

  /// The view of a network, its files read anew. Give it back with UnLoadNet. A reading of a view
  /// that is held already may fail: it then has what was read before the failure, and needs no
  /// further UnLoadNet.
  /// \return null when there are no such files or a new view cannot be loaded
  CImportNet* LoadNet(unsigned long net);

  /// Gives one reference back; the view is destroyed with the last one.
  /// \return 0
  int UnLoadNet(unsigned long net);

 protected:
  /// Enter and leave the container's lock, which is re-entrant. \return true
  bool Lock();
  bool UnLock();

 private:
  std::list<CImportNet*>::iterator FindView(unsigned long net);

  std::list<CImportNet*> views_;  // owned, at most one for each network
  std::unique_ptr<ncc::ReentrantLock> lock_;
};
