// Facts that explain something, in words and as commands.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "console/output.h"
#include "nccnet/explain.h"
#include "network/session.h"
#include "network/view.h"

namespace ncc::tool {

using Reasons = std::vector<CReason>;

class ReasonWriter {
 public:
  explicit ReasonWriter(Session& session);

  // "AP "Ivanov" (id:4)"
  std::string NameOf(std::uint32_t id);
  Json JsonOfObject(std::uint32_t id);

  // A fact as it is, and one that is missing.
  std::string TextOf(const CReason& fact);
  std::string TextOfMissing(const CReason& fact);

  // The command that makes a fact true; empty when there is none.
  std::string CommandFor(const CReason& fact);

  Json JsonOf(const Reasons& facts);
  Json JsonOfMissing(const Reasons& facts);

 private:
  std::string FlagsText(std::uint32_t mask);
  // How the object is named in a command: by its name where no other has it and no shell minds.
  std::string Argument(std::uint32_t id);
  Json JsonOf(const CReason& fact, const std::string& text);

  Session& session_;
  View& view_;
};

// The objects that facts name, in their order, each once.
std::vector<std::uint32_t> ObjectsOf(const Reasons& facts);

}  // namespace ncc::tool
