// What a network holds, for the commands that show it: the own network or a neighbouring one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "network/objects.h"
#include "network/values.h"

namespace ncc::tool {

class View {
 public:
  View() = default;
  View(const View&) = delete;
  View& operator=(const View&) = delete;
  virtual ~View() = default;

  // Whether there are links between servers, values and settings; exchange files have none.
  virtual bool IsOwn() const = 0;
  virtual std::uint32_t Number() = 0;
  virtual std::string AddressOf(std::uint32_t id) = 0;

  virtual std::vector<Node> Servers() = 0;
  virtual std::vector<Node> Aps() = 0;
  virtual std::vector<Node> ApsOf(std::uint32_t server) = 0;
  virtual std::vector<Node> LinkedServers(std::uint32_t server) = 0;
  virtual std::optional<Node> NodeById(std::uint32_t id) = 0;

  virtual std::vector<Object> Objects(Kind kind) = 0;
  virtual std::optional<Object> ObjectById(Kind kind, std::uint32_t id) = 0;
  virtual std::vector<Object> UsersOf(std::uint32_t dep) = 0;
  virtual std::vector<Object> LinkedDeps(std::uint32_t dep) = 0;
  virtual std::vector<Object> GroupsOf(std::uint32_t dep) = 0;
  virtual std::vector<Object> DepsOf(std::uint32_t group) = 0;
  virtual std::vector<Node> NodesOf(std::uint32_t group) = 0;
  virtual std::vector<Membership> MembershipsOf(std::uint32_t user) = 0;

  std::vector<Node> ServersAndAps();
};

// The network of the database.
class OwnView : public View {
 public:
  explicit OwnView(CNCCNet& net) : net_(net) {}

  bool IsOwn() const override { return true; }
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
  std::vector<Object> LinkedDeps(std::uint32_t dep) override;
  std::vector<Object> GroupsOf(std::uint32_t dep) override;
  std::vector<Object> DepsOf(std::uint32_t group) override;
  std::vector<Node> NodesOf(std::uint32_t group) override;
  std::vector<Membership> MembershipsOf(std::uint32_t user) override;

 private:
  CNCCNet& net_;
};

}  // namespace ncc::tool
