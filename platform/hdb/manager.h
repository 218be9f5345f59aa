// What all databases of one owner share: the variables of names, and the maker of storage engines.
#pragma once

#include "platform/hdb/engine.h"

#include <map>
#include <string>
#include <utility>

// Variables that stand in names as "%name%".
class CHDBVarMap {
 public:
  void Set(const std::string& name, const std::string& value) { values_[name] = value; }

  // Replaces each variable that is known; anything else between percent signs stays.
  std::string Expand(const std::string& text) const;

 private:
  std::map<std::string, std::string> values_;
};

class CHDBMgr {
 public:
  CHDBMgr();

  CHDBVarMap& VarMap() { return variables_; }

  const ncc::EngineFactory& Engines() const { return engines_; }
  void SetEngineFactory(ncc::EngineFactory engines) { engines_ = std::move(engines); }

 private:
  CHDBVarMap variables_;
  ncc::EngineFactory engines_;
};
