#include "platform/hdb/unit_of_work.h"

#include <algorithm>

namespace ncc {

void UnitOfWork::SortByKey(ChangeSet& changes) {
  std::sort(changes.put.begin(), changes.put.end(),
            [](const Row& a, const Row& b) { return a.key < b.key; });
  std::sort(changes.removed.begin(), changes.removed.end());
}

}  // namespace ncc
