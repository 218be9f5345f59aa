// Servers and APs as the user names them and as the tool shows them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "console/output.h"
#include "network/session.h"
#include "network/values.h"

namespace ncc::tool {

// A reference is "id:NUMBER", "name:TEXT" or the name itself; the second form reaches a name that
// begins like one of the first two. These throw Failure when it is unknown (with the nearest name)
// or when several objects have the name (with their ids).
Node FindServer(Session& session, const std::string& reference);
Node FindAp(Session& session, const std::string& reference);
Node FindNode(Session& session, const std::string& reference);

// A new name in the library's bytes. Throws Failure with the reason.
std::string RequireName(const std::string& utf8);

std::string ServerNameOf(CNCCNet& net, const Node& ap);  // bytes

// Gives a node a name that no other one has and no user types, so that it can be named without
// doubt.
void RenameAside(Session& session, const Node& node);

// Deletes this very AP, whichever others have its name. False when the library refuses.
bool DeleteAp(Session& session, const Node& ap);

// What goes with a server or an AP when it is deleted, for a question; empty when nothing does.
std::string LossOf(CNCCNet& net, const Node& node);

// The name of a node as text to show, in quotes.
std::string Quoted(const Node& node);
// "id:4 (AP at "Center")", to choose by.
std::string DescribeId(View& view, const Node& node);
std::string AddressOf(CNCCNet& net, std::uint32_t id);

// Turns nodes into JSON and into table rows. One for every command, so that all of them agree.
class NodeWriter {
 public:
  explicit NodeWriter(Session& session);

  Json Describe(const Node& node);
  // "server" or "ap", the key under which one node stands.
  static const char* KindOf(const Node& node);

  static std::vector<std::string> ServerHeading();
  std::vector<std::string> ServerRow(const Node& server);
  static std::vector<std::string> ApHeading();
  std::vector<std::string> ApRow(const Node& ap);

  // One node with all that is known about it, as text or as document.
  void Show(const Node& node);
  // Servers and APs in one table, or as an array under `key`.
  void ShowMixed(const std::vector<Node>& nodes, const char* key);

 private:
  const std::string& ServerName(std::uint32_t id);
  std::string ApplicationsOf(const Node& node);

  Session& session_;
  View& view_;
  std::unordered_map<std::uint32_t, std::string> server_names_;  // to show
};

}  // namespace ncc::tool
