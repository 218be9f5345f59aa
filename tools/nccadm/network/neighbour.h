// A neighbouring network, read from a set of exchange files.
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "nccnet/import_net.h"
#include "network/view.h"

namespace ncc::tool {

struct Gate {
  std::uint32_t first = 0;
  std::uint32_t second = 0;
  std::string name;  // bytes
};

class Neighbour : public View {
 public:
  // `folder` exists. Throws Failure with the file, the line and the reason when the set cannot be
  // loaded.
  Neighbour(const std::string& folder, std::uint32_t network);

  // Whether a query so far met a record that is not in the set, so that its answer is not whole.
  bool HasGaps() const { return has_gaps_; }
  Gate GateData() const;

  bool IsOwn() const override { return false; }
  std::uint32_t Number() override;
  std::vector<Object> All(Kind kind) override;
  std::optional<Object> ById(Kind kind, std::uint32_t id) override;
  // Deps of other networks have their address for a name.
  std::vector<Object> Related(Relation relation, std::uint32_t id) override;
  std::vector<Membership> MembershipsOf(std::uint32_t user) override;

 private:
  class LoadedNet : public _CImportNet {
   public:
    explicit LoadedNet(const std::string& folder) : _CImportNet(folder.c_str()) {}
    using _CImportNet::Load;
  };

  // What a list query of the library gives.
  template <class Entry>
  std::vector<Object> Collect(int (CImportNet::*query)(unsigned long, std::list<Entry>&) const,
                              std::uint32_t id);
  std::vector<Object> LinksOf(std::uint32_t dep);
  std::vector<Object> GroupsOf(std::uint32_t dep);
  std::vector<Object> NodesOf(std::uint32_t group);

  LoadedNet net_;
  std::optional<std::map<std::uint32_t, std::vector<Object>>> nodes_of_groups_;
  bool has_gaps_ = false;
};

}  // namespace ncc::tool
