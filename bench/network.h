// Networks of a given size, the same on every run.
#pragma once

#include "nccnet/nccnet.h"

#include <cstdint>
#include <string>
#include <vector>

struct NetworkSize {
  std::uint32_t servers;
  std::uint32_t aps;
  std::uint32_t users;
  std::uint32_t deps;
  std::uint32_t groups;
  std::uint32_t memberships;  // at least one a user, at most eight

  std::uint32_t Objects() const { return servers + aps + users + deps + groups; }
  // Parts of the same proportions.
  NetworkSize ScaledTo(std::uint32_t objects) const;
};

inline constexpr NetworkSize kRegion{64, 1000, 5000, 200, 100, 14'700};
inline constexpr NetworkSize kFull{256, 12'000, 45'000, 3000, 1500, 56'000};

// Names as they are in practice: a kind, a place, a number; partly outside ASCII.
std::string ServerName(std::uint32_t n);
std::string ApName(std::uint32_t n);
// The first names of APs, in the order in which BuildNetwork adds them.
std::vector<std::string> ApNames(std::uint32_t count);

// Identifiers in the order of creation.
using Ids = std::vector<unsigned long>;

// Everything here throws std::runtime_error when the library refuses.
void Expect(bool done, CNCCNet& net, const char* what);
void CreateDatabase(CNCCNet& net, const std::string& folder);
void OpenDatabase(CNCCNet& net, const std::string& folder);
// The database's file.
std::string DataFile(const std::string& folder);

// Servers, each linked with the next four.
Ids AddServers(CNCCNet& net, std::uint32_t count);
// The APs of one server after those of another.
Ids AddAps(CNCCNet& net, const Ids& servers, const std::vector<std::string>& names);

// All of it in one batch: APs spread over the servers, groups of eight APs, Deps spread over the
// groups and each linked with the next four, users spread over the Deps.
void BuildNetwork(CNCCNet& net, const NetworkSize& size);
// Makes a database with it, in another process.
void BuildDatabase(const std::string& folder, const NetworkSize& size);
