// How the user names objects, old and new ones.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "console/failure.h"
#include "network/session.h"
#include "network/view.h"

namespace ncc::tool {

struct Reference {
  std::optional<std::uint32_t> id;
  std::string name;  // bytes; meaningful when there is no id
};

// Reads "id:NUMBER", "name:TEXT" or a name; the second form reaches a name that begins like one of
// the first two. Throws Failure for what can be none of them.
Reference ParseReference(const std::string& text);

// What ParseReference reads as this name.
std::string ReferenceTo(std::string_view bytes);

// The object of the shown network that a reference means. These throw Failure when it is unknown
// (with the nearest name) or when several objects have the name (with their ids).
Object FindObject(Session& session, Kind kind, const std::string& reference);
Object FindNode(Session& session, const std::string& reference);  // a server or an AP
Object FindAnyObject(Session& session, const std::string& reference);

// The parts of those failures. `hint` is for where no name is near, `what` says how many there are.
Failure UnknownName(const std::string& what, const std::string& text,
                    const std::vector<Object>& candidates, const std::string& hint);
Failure SeveralNamed(View& view, const std::string& text, const std::vector<Object>& found);

// A new name in the library's bytes. Throws Failure with the reason.
std::string RequireName(const std::string& utf8);

// Throws Failure when an object of the kind other than `except` has the name.
void RefuseTakenName(View& view, Kind kind, const std::string& name, std::uint32_t except);

}  // namespace ncc::tool
