// Turns users, Deps and node groups into JSON and into table rows. One for every command, so that
// all of them agree.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "console/output.h"
#include "network/objects.h"
#include "network/session.h"

namespace ncc::tool {

class ObjectWriter {
 public:
  explicit ObjectWriter(Session& session);

  Json Describe(const Object& object);
  static Json DescribeLink(const Object& object);  // id and name
  static Json DescribeLink(const Node& node);

  static std::vector<std::string> Heading(Kind kind);
  std::vector<std::string> Row(const Object& object);

  // One object with all that is known about it, as text or as document.
  void Show(const Object& object);
  // Objects of one kind as a table or under the kind's key.
  void ShowAll(Kind kind, const std::vector<Object>& objects);

  Json DescribeMemberships(const std::vector<Membership>& memberships);
  Table MembershipTable(const std::vector<Membership>& memberships);

  // An id that a membership or a primary collective names; the object may be gone since.
  Json DescribeId(std::uint32_t id, bool is_dep);
  std::string TextOfId(std::uint32_t id, bool is_dep);

 private:
  std::string PrimaryOf(const Object& user);
  const std::vector<Object>& DepsOfUser(std::uint32_t user);

  Session& session_;
  View& view_;
  std::unordered_map<std::uint32_t, std::vector<Object>> deps_of_users_;
  bool has_deps_ = false;
};

}  // namespace ncc::tool
