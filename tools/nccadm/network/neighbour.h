// A neighbouring network, read from a set of exchange files.
#pragma once

#include <cstdint>
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
  std::string AddressOf(std::uint32_t id) override;
  std::vector<Node> Servers() override;
  std::vector<Node> Aps() override;
  std::vector<Node> ApsOf(std::uint32_t server) override;
  std::vector<Node> LinkedServers(std::uint32_t server) override;
  std::optional<Node> NodeById(std::uint32_t id) override;
  std::vector<Object> Objects(Kind kind) override;
  std::optional<Object> ObjectById(Kind kind, std::uint32_t id) override;
  std::vector<Object> UsersOf(std::uint32_t dep) override;
  // Those of other networks have their address for a name.
  std::vector<Object> LinkedDeps(std::uint32_t dep) override;
  std::vector<Object> GroupsOf(std::uint32_t dep) override;
  std::vector<Object> DepsOf(std::uint32_t group) override;
  std::vector<Node> NodesOf(std::uint32_t group) override;
  std::vector<Membership> MembershipsOf(std::uint32_t user) override;

 private:
  class LoadedNet : public _CImportNet {
   public:
    explicit LoadedNet(const std::string& folder) : _CImportNet(folder.c_str()) {}
    using _CImportNet::Load;
  };

  void Note(int result) { has_gaps_ |= result == kExchangeDangling; }
  const std::vector<Node>& AllNodesOf(std::uint32_t group);

  LoadedNet net_;
  std::optional<std::map<std::uint32_t, std::vector<Node>>> nodes_of_groups_;
  bool has_gaps_ = false;
};

}  // namespace ncc::tool
