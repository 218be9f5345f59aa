// What all databases of one owner share: the variables of names, the maker of storage engines, and
// what is asked of a stored database.
#pragma once

#include "platform/storage/engine.h"

#include <functional>
#include <map>
#include <string>
#include <utility>

class CHDBase;

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

  // Of the changes that are stored from now on.
  const ncc::Origin& Origin() const { return origin_; }
  void SetOrigin(ncc::Origin origin) { origin_ = std::move(origin); }

  // Called with each database that was loaded, when all of it is in memory: throws
  // ncc::StorageError for one that is not what its owner stores.
  using Examiner = std::function<void(const CHDBase&)>;
  void SetExaminer(Examiner examiner) { examiner_ = std::move(examiner); }
  void Examine(const CHDBase& base) const {
    if (examiner_) examiner_(base);
  }

 private:
  CHDBVarMap variables_;
  ncc::EngineFactory engines_;
  ncc::Origin origin_;
  Examiner examiner_;
};
