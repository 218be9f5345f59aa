// What the families of users, Deps and node groups have in common.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "commands/command_line.h"
#include "network/object_writer.h"
#include "network/objects.h"

namespace ncc::tool {

struct ObjectArguments {
  std::string object;
  std::string other;
  std::string third;
  std::vector<std::string> added;
  std::vector<std::string> removed;
  unsigned kind = 0;
  bool flag = false;
};

using ObjectAction = std::function<int(Session&, const ObjectArguments&)>;

// One family: the commands that every kind has, and a way to add others.
class ObjectFamily {
 public:
  // Adds add, rename, delete, list and show. `sample` is a name for the examples.
  ObjectFamily(CommandLine& line, Kind kind, const std::string& description,
               const std::string& sample);

  // A command whose first argument is an object of the kind.
  CLI::App& Add(const std::string& name, const std::string& description,
                const std::string& examples, ObjectAction action);
  // The same without any argument.
  CLI::App& AddBare(const std::string& name, const std::string& description,
                    const std::string& examples, ObjectAction action);

  ObjectArguments& Arguments() { return *arguments_; }

 private:
  CommandLine& line_;
  Kind kind_;
  CLI::App& group_;
  std::shared_ptr<ObjectArguments> arguments_ = std::make_shared<ObjectArguments>();
};

// Ends a command that may have changed an object: says it and shows the object as it is now.
int Report(Session& session, const Object& object, bool changed, const std::string& text);

// How many memberships `is_lost` picks among those of the users of a Dep.
std::size_t CountLost(CNCCNet& net, std::uint32_t dep,
                      const std::function<bool(const Membership&)>& is_lost);
std::string CountMemberships(std::size_t count);  // "1 membership", "2 memberships"

}  // namespace ncc::tool
