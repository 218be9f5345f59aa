// What a network holds: the network of the database or a neighbouring one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "nccnet/netdb.h"
#include "network/notes.h"
#include "network/object.h"

namespace ncc::tool {

// What can be asked about one object: which others it has, in link order.
enum class Relation {
  kApsOfServer,
  kLinksOfServer,
  kGroupsOfNode,
  kNodesOfGroup,
  kDepsOfGroup,
  kGroupsOfDep,
  kUsersOfDep,
  kLinksOfDep,
};

class View {
 public:
  View() = default;
  View(const View&) = delete;
  View& operator=(const View&) = delete;
  virtual ~View() = default;

  // Whether there are links between servers, values and settings; exchange files have none.
  virtual bool IsOwn() const = 0;
  virtual std::uint32_t Number() = 0;
  std::string AddressOf(std::uint32_t id);

  // Servers in the order in which they were added, all others by id.
  virtual std::vector<Object> All(Kind kind) = 0;
  virtual std::optional<Object> ById(Kind kind, std::uint32_t id) = 0;
  virtual std::vector<Object> Related(Relation relation, std::uint32_t id) = 0;
  virtual std::vector<Membership> MembershipsOf(std::uint32_t user) = 0;
  // Only the own network has any.
  virtual Notes NotesOf(std::uint32_t) { return {}; }

  std::vector<Object> ServersAndAps();
  std::optional<Object> NodeById(std::uint32_t id);  // a server or an AP
  std::optional<Object> AnyById(std::uint32_t id);
};

// The network of the database.
class OwnView : public View {
 public:
  explicit OwnView(CNCCNet& net) : net_(net) {}

  bool IsOwn() const override { return true; }
  std::uint32_t Number() override;
  std::vector<Object> All(Kind kind) override;
  std::optional<Object> ById(Kind kind, std::uint32_t id) override;
  std::vector<Object> Related(Relation relation, std::uint32_t id) override;
  std::vector<Membership> MembershipsOf(std::uint32_t user) override;
  Notes NotesOf(std::uint32_t id) override { return tool::NotesOf(net_, id); }

 private:
  CNCCNet& net_;
};

template <class Entries>
std::vector<Object> ObjectsFrom(const Entries& entries) {
  std::vector<Object> objects;
  objects.reserve(entries.size());
  for (const auto& entry : entries) objects.push_back(ObjectFrom(entry));
  return objects;
}

}  // namespace ncc::tool
