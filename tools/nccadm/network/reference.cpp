#include "network/reference.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "console/nearest.h"
#include "console/text.h"

namespace ncc::tool {
namespace {

std::vector<Object> Named(const std::vector<Object>& objects, const std::string& name) {
  const std::string wanted = FoldName(name);
  std::vector<Object> found;
  std::copy_if(objects.begin(), objects.end(), std::back_inserter(found),
               [&wanted](const Object& object) { return FoldName(object.name) == wanted; });
  return found;
}

std::string ServerNameOf(View& view, const Object& ap) {
  const auto server = view.ById(Kind::kServer, ap.server_id);
  return PrintableName(server ? server->name : std::string());
}

// "id:4 (AP at "Center")", to choose by.
std::string IdTextOf(View& view, const Object& object) {
  if (object.kind == Kind::kAp) {
    return fmt::format("id:{} (AP at \"{}\")", object.id, ServerNameOf(view, object));
  }
  return fmt::format("id:{} (a {})", object.id, WordOf(object.kind));
}

Failure Several(const std::string& count, const std::string& text,
                const std::vector<std::string>& ids) {
  return Failure(fmt::format("{} are named \"{}\"", count, text),
                 fmt::format("Give the id of the one that is meant: {}.", fmt::join(ids, ", ")));
}

// Among objects of one kind, of both kinds of nodes or of all.
Object Find(Session& session, const std::vector<Kind>& kinds, const std::string& text) {
  const Reference reference = ParseReference(text);
  View& view = session.Shown();
  const std::string word = kinds.size() == 1   ? WordOf(kinds.front())
                           : kinds.size() == 2 ? "server or AP"
                                               : "object";
  std::vector<Object> candidates;
  for (const Kind kind : kinds) {
    if (!reference.id) {
      std::vector<Object> all = view.All(kind);
      std::move(all.begin(), all.end(), std::back_inserter(candidates));
    } else if (auto object = view.ById(kind, *reference.id)) {
      return *std::move(object);
    }
  }
  if (reference.id) throw Failure(fmt::format("no {} has the id {}", word, *reference.id));
  std::vector<Object> found = Named(candidates, reference.name);
  if (found.empty()) {
    const std::string lists =
        fmt::format("'nccadm {} list' shows the names that exist.", KeyOf(kinds.back()));
    throw UnknownName(fmt::format("there is no {} named \"{}\"", word, text), text, candidates,
                      kinds.size() > 2 ? "'nccadm find' looks for a part of a name." : lists);
  }
  if (found.size() == 1) return std::move(found.front());
  if (kinds.size() > 1 || found.front().IsNode()) throw SeveralNamed(view, text, found);
  std::vector<std::string> ids;
  for (const Object& object : found) ids.push_back(fmt::format("id:{}", object.id));
  throw Several(CountOf(found.size(), kinds.front()), text, ids);
}

}  // namespace

Reference ParseReference(const std::string& text) {
  if (text.starts_with("id:")) {
    const auto id = ParseNumber(text.substr(3), std::numeric_limits<std::uint32_t>::max());
    if (!id) {
      throw Failure(fmt::format("\"{}\" is not an id", text),
                    "An id is written id:12 or id:0x000C; a name that begins so, name:id:12.");
    }
    return {static_cast<std::uint32_t>(*id), {}};
  }
  const NameBytes name = BytesFromName(text.starts_with("name:") ? text.substr(5) : text);
  if (!name.reason.empty()) {
    throw Failure(fmt::format("\"{}\" cannot be the name of an object: it {}", text, name.reason));
  }
  return {std::nullopt, name.bytes};
}

std::string ReferenceTo(std::string_view bytes) {
  const bool needs_mark = bytes.starts_with("id:") || bytes.starts_with("name:");
  return (needs_mark ? "name:" : "") + Utf8FromBytes(bytes);
}

Object FindObject(Session& session, Kind kind, const std::string& reference) {
  return Find(session, {kind}, reference);
}

Object FindNode(Session& session, const std::string& reference) {
  return Find(session, {Kind::kServer, Kind::kAp}, reference);
}

Object FindAnyObject(Session& session, const std::string& reference) {
  return Find(session, {std::begin(kKinds), std::end(kKinds)}, reference);
}

Failure UnknownName(const std::string& what, const std::string& text,
                    const std::vector<Object>& candidates, const std::string& hint) {
  Nearest nearest(BytesFromUtf8(text).value_or(text));
  for (const Object& object : candidates) nearest.Offer(object.name);
  const std::vector<std::string> closest = nearest.Found();
  if (closest.empty()) return Failure(what, hint);
  return Failure(what,
                 fmt::format("Did you mean \"{}\"?", Printable(ReferenceTo(closest.front()))));
}

Failure SeveralNamed(View& view, const std::string& text, const std::vector<Object>& found) {
  std::vector<std::string> ids;
  for (const Object& object : found) ids.push_back(IdTextOf(view, object));
  return Several(fmt::format("{} objects", ids.size()), text, ids);
}

std::string RequireName(const std::string& utf8) {
  NameBytes name = BytesFromName(utf8);
  if (name.reason.empty() && IsBlank(name.bytes)) name.reason = "holds nothing but blanks";
  if (!name.reason.empty()) throw Failure(fmt::format("the name \"{}\" {}", utf8, name.reason));
  return std::move(name.bytes);
}

void RefuseTakenName(View& view, Kind kind, const std::string& name, std::uint32_t except) {
  for (const Object& holder : Named(view.All(kind), name)) {
    if (holder.id == except) continue;
    const std::string place =
        kind == Kind::kAp ? fmt::format(", at the server \"{}\"", ServerNameOf(view, holder)) : "";
    throw Failure(fmt::format("{} {} is named {} already (id:{}{})", ArticleOf(kind), WordOf(kind),
                              Quoted(holder), holder.id, place));
  }
}

}  // namespace ncc::tool
