// Turns objects into JSON and into table rows. One for every command, so that all of them agree.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "console/output.h"
#include "network/session.h"
#include "network/view.h"

namespace ncc::tool {

class ObjectWriter {
 public:
  explicit ObjectWriter(Session& session);

  Json JsonOf(const Object& object);

  // One object with all that is known about it, as text or as document.
  void Show(const Object& object);
  // Objects of one kind as a table or under the kind's key.
  void ShowAll(Kind kind, const std::vector<Object>& objects);
  // Objects of several kinds as a table or under `key`; `none` is said when there are none.
  void ShowMixed(const std::vector<Object>& objects, const char* key, const char* none);

  Json MembershipsJson(const std::vector<Membership>& memberships);
  Table MembershipTable(const std::vector<Membership>& memberships);

  // An id that a membership or a primary collective names; the object may be gone since.
  Json IdJson(std::uint32_t id, bool is_dep);
  std::string TextOfId(std::uint32_t id, bool is_dep);

 private:
  void AddNode(Json& json, const Object& node);
  static std::vector<std::string> Heading(Kind kind);
  std::vector<std::string> Row(const Object& object);
  std::string ApplicationsOf(const Object& node);
  std::string PrimaryOf(const Object& user);
  // To show; empty where the node is no AP.
  std::string ServerOf(const Object& node);
  const std::string& ServerName(std::uint32_t id);
  const std::vector<Object>& DepsOfUser(std::uint32_t user);

  Session& session_;
  View& view_;
  std::unordered_map<std::uint32_t, std::string> server_names_;
  std::unordered_map<std::uint32_t, std::vector<Object>> deps_of_users_;
  bool has_deps_ = false;
};

}  // namespace ncc::tool
