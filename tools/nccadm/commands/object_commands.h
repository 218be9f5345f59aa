// What the families of servers, APs, users, Deps and node groups have in common.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/command_line.h"
#include "network/object.h"

namespace ncc::tool {

struct ObjectArguments {
  std::string object;
  std::string other;
  std::string third;
  std::vector<std::string> applications;
  std::vector<std::string> added;
  std::vector<std::string> removed;
  std::uint16_t value = 10;
  std::optional<unsigned> kind;
  bool flag = false;
};

using ObjectAction = std::function<int(Session&, const ObjectArguments&)>;

// One family: the commands that every kind has, and a way to add others.
class ObjectFamily {
 public:
  // Adds add, rename, delete, list and show; for APs move, for what can be linked in pairs link and
  // unlink.
  ObjectFamily(CommandLine& line, Kind kind);

  // A command whose first argument is an object of the kind.
  CLI::App& Add(const std::string& name, const std::string& description,
                const std::string& examples, ObjectAction action);
  // The same without any argument.
  CLI::App& AddBare(const std::string& name, const std::string& description,
                    const std::string& examples, ObjectAction action);

  ObjectArguments& Arguments() { return *arguments_; }

 private:
  void AddAdding();
  void AddListing();
  void AddLinking();

  CommandLine& line_;
  Kind kind_;
  CLI::App& group_;
  std::shared_ptr<ObjectArguments> arguments_ = std::make_shared<ObjectArguments>();
};

// Ends a command that may have changed an object: says it and shows the object as it is now.
int Report(Session& session, const Object& object, bool changed, const std::string& text);

}  // namespace ncc::tool
