// The description of a network that people write: its model, its text form in both directions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "applications.h"
#include "network.h"
#include "yaml_tree.h"

namespace ncc::tool {

// A name in the library's bytes and where it stands in the text.
struct NamePlace {
  std::string name;
  Place place;
};

// What a description leaves out it leaves as it is in the database.
struct ApDescription : NamePlace {
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
};

struct Description {
  std::uint32_t network = 0;
  Place network_place;
  PreferencesDescription preferences;
  std::vector<ServerDescription> servers;
  std::vector<std::pair<NamePlace, NamePlace>> links;  // made after those of the servers
};

// Reads and checks all that can be checked without a database. The result counts only when
// `problems` stayed empty.
Description ReadDescription(std::string_view text, const Applications& applications,
                            ProblemList& problems);

// Describes a network so that an empty database made from the description gives the same
// description. Throws Failure when names are not unique or cannot be written.
Description Describe(const Network& network);

std::string WriteDescription(const Description& description, const Applications& applications);

}  // namespace ncc::tool
