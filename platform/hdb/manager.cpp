#include "platform/hdb/manager.h"

#include "platform/storage/open_engine.h"

CHDBMgr::CHDBMgr() : engines_(ncc::OpenEngine) {}

std::string CHDBVarMap::Expand(const std::string& text) const {
  std::string out = text;
  for (const auto& [name, value] : values_) {
    const std::string mark = "%" + name + "%";
    for (auto at = out.find(mark); at != std::string::npos;
         at = out.find(mark, at + value.size())) {
      out.replace(at, mark.size(), value);
    }
  }
  return out;
}
