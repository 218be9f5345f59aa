// The description of a network that people write: its model, its text form in both directions.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "description/yaml_tree.h"
#include "network/applications.h"
#include "network/network.h"
#include "network/notes.h"

namespace ncc::tool {

// A name in the library's bytes and where it stands in the text. Who refers to an object gives its
// name or its id; neither is for none.
struct NamePlace {
  std::string name;
  Place place;
  std::optional<std::uint32_t> id = {};

  bool IsNone() const { return name.empty() && !id; }
};

// An object with an id is that of the database whatever its name is there, or gets the id.
struct ObjectDescription : NamePlace {
  Place id_place;
  std::optional<std::uint32_t> number;  // of a server, an AP or a node group
  Place number_place;
  std::optional<Notes> notes;  // all that it has
};

// What a description leaves out it leaves as it is in the database.
struct ApDescription : ObjectDescription {
  std::optional<std::uint32_t> applications;
  std::optional<std::uint8_t> settings;
};

struct ServerDescription : ApDescription {
  std::optional<std::uint16_t> value;
  Place value_place;
  std::vector<NamePlace> links;
  std::vector<ApDescription> aps;
};

struct PreferencesDescription {
  std::optional<std::uint8_t> byte_12;
  std::optional<std::uint8_t> node_settings;
  std::optional<std::uint32_t> value_14;
  std::optional<std::uint8_t> byte_18;
  std::optional<std::uint8_t> byte_19;
  std::optional<std::uint32_t> value_20;
  std::optional<std::uint32_t> next_id;
  std::optional<std::uint32_t> server_counter;
  std::optional<std::uint32_t> ngrp_counter;
};

// A server or an AP. The sort is only given where both have the name.
struct NodeName : NamePlace {
  enum class Sort { kAny, kServer, kAp };

  Sort sort = Sort::kAny;
};

struct GroupDescription : ObjectDescription {
  std::vector<NodeName> nodes;
  std::vector<NamePlace> deps;
};

struct DepDescription : ObjectDescription {
  std::vector<NamePlace> links;
  std::vector<NamePlace> users;    // before those that name the Dep themselves; one may stand twice
  std::optional<NamePlace> group;  // the one that counts, or none
};

struct MembershipDescription {
  NamePlace dep;
  NodeName node;
  std::uint8_t kind = 0;
};

// Both can be none.
struct PrimaryDescription {
  NamePlace dep;
  NodeName node;
};

struct UserDescription : ObjectDescription {
  std::vector<NamePlace> deps;
  std::vector<MembershipDescription> memberships;
  std::optional<PrimaryDescription> primary;
};

using NamePair = std::pair<NamePlace, NamePlace>;

// The pairs are made after what stands at the objects themselves.
struct Description {
  std::uint32_t network = 0;
  Place network_place;
  PreferencesDescription preferences;
  std::vector<ServerDescription> servers;
  std::vector<NamePair> links;
  std::vector<GroupDescription> groups;
  std::vector<std::pair<NamePlace, NodeName>> group_nodes;
  std::vector<NamePair> group_deps;
  std::vector<DepDescription> deps;
  std::vector<NamePair> dep_links;
  std::vector<UserDescription> users;
};

// Reads and checks all that can be checked without a database. The result counts only when
// `problems` stayed empty.
Description ReadDescription(std::string_view text, const Applications& applications,
                            ProblemList& problems, const YamlProgress& progress);

// Describes a network so that an empty database made from the description gives the same
// description; `with_ids` with every id, ordinal and counter, so that it is the same network to
// whoever knows it by these. Throws Failure when names cannot be written or, without ids, are not
// unique. What has to be left out is told in `notes`.
Description DescribeNetwork(const Network& network, bool with_ids, std::vector<std::string>& notes);

// `after_each` is called for each object.
std::string WriteDescription(const Description& description, const Applications& applications,
                             const std::function<void()>& after_each);

}  // namespace ncc::tool
