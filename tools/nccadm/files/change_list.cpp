#include "files/change_list.h"

#include <array>
#include <cstdlib>
#include <map>
#include <optional>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "console/encoding.h"
#include "console/text.h"
#include "files/files.h"
#include "files/output_folder.h"
#include "files/stamper.h"
#include "network/view.h"

namespace ncc::tool {
namespace {

namespace fs = std::filesystem;
using What = CFileChange::What;

constexpr std::size_t kMostNodes = 20;
constexpr const char* kWords[] = {"new", "changed", "gone"};  // in the order of What

struct Tally {
  std::array<std::size_t, 3> files{};
  std::uint64_t bytes = 0;

  void Add(const CFileChange& change) {
    ++files[static_cast<std::size_t>(change.what)];
    bytes += change.bytes;
  }
};

std::vector<std::string> Row(std::string first, const Tally& tally) {
  std::vector<std::string> row = {std::move(first)};
  for (const std::size_t count : tally.files) row.push_back(std::to_string(count));
  row.push_back(std::to_string(tally.bytes));
  return row;
}

std::string WordsOf(const std::string& part) {
  static const std::map<std::string, std::string> kParts = {
      {"apdb", "directories"}, {"routes", "routing tables"},  {"map", "maps"},
      {"kc", "key centre"},    {"full-packages", "packages"}, {"short-packages", "short packages"},
      {"-", "for some nodes"}};
  const auto found = kParts.find(part);
  return found != kParts.end() ? found->second : part;
}

}  // namespace

std::vector<CFileChange> ChangesSince(const CManifest& manifest, std::uint64_t revision) {
  std::vector<CFileChange> changes;
  for (const CFileRecord& file : manifest.files) {
    if (file.revision < revision) continue;
    const bool is_gone = file.kind == CFileRecord::Kind::kGone;
    changes.push_back({is_gone ? What::kGone : What::kChanged, file.path, file.part, file.node,
                       file.bytes, !is_gone});
  }
  return changes;
}

std::vector<std::string> GoneFiles(const std::vector<CFileChange>& changes) {
  std::vector<std::string> files;
  for (const CFileChange& change : changes) {
    if (change.what == What::kGone && change.is_there) files.push_back(change.path);
  }
  return files;
}

FileOwners::FileOwners(Session& session, const std::vector<CFileChange>& changes) {
  Learn(session, changes);
}

void FileOwners::Learn(Session& session, const std::vector<CFileChange>& changes) {
  if (!session.IsOpen()) return;
  for (const CFileChange& change : changes) {
    const auto [at, is_new] = objects_.try_emplace(change.node);
    if (change.node == 0 || at->second) continue;
    at->second = session.Shown().AnyById(static_cast<std::uint32_t>(change.node));
  }
}

std::optional<std::string> FileOwners::NameOf(unsigned long id) const {
  const auto found = objects_.find(id);
  if (found == objects_.end() || !found->second) return std::nullopt;
  return Utf8FromBytes(found->second->name);
}

std::string FileOwners::TextOf(unsigned long id) const {
  if (id == 0) return "the network";
  const auto found = objects_.find(id);
  if (found == objects_.end() || !found->second) return fmt::format("id:{}", id);
  return fmt::format("{} {} (id:{})", WordOf(found->second->kind), Quoted(*found->second), id);
}

void PrintChanges(Output& out, const std::vector<CFileChange>& changes, const FileOwners& owners) {
  std::map<std::string, Tally> parts;
  std::map<unsigned long, Tally> nodes;
  Tally total;
  for (const CFileChange& change : changes) {
    parts[WordsOf(change.part)].Add(change);
    nodes[change.node].Add(change);
    total.Add(change);
  }
  Table table = {{"", "NEW", "CHANGED", "GONE", "BYTES"}};
  for (const auto& [words, tally] : parts) table.push_back(Row(words, tally));
  table.push_back(Row("total", total));
  out.PrintTable(table);
  if (nodes.empty()) return;
  table = {{"OF", "NEW", "CHANGED", "GONE", "BYTES"}};
  for (const auto& [node, tally] : nodes) {
    if (table.size() > kMostNodes) break;
    table.push_back(Row(owners.TextOf(node), tally));
  }
  out.Line("");
  out.PrintTable(table);
  if (nodes.size() >= table.size()) {
    out.Line(
        fmt::format("and files of {} more; --json lists all", nodes.size() + 1 - table.size()));
  }
}

Json ChangesJson(const std::vector<CFileChange>& changes, const FileOwners& owners) {
  Json all = Json::array();
  for (const CFileChange& change : changes) {
    const std::optional<std::string> name = owners.NameOf(change.node);
    all.push_back({{"file", change.path},
                   {"change", kWords[static_cast<std::size_t>(change.what)]},
                   {"part", change.part},
                   {"node", change.node == 0 ? Json() : Json(change.node)},
                   {"name", name ? Json(*name) : Json()},
                   {"bytes", change.bytes}});
  }
  return all;
}

void PrepareSendList(Session& session, const std::string& file, const fs::path& out) {
  RefuseOwnFiles(out, file, "the list", "Give another file with --list.");
  std::error_code error;
  const char* const key = std::getenv(kKeyVariable);
  if (key != nullptr && fs::equivalent(file, key, error))
    throw Failure(fmt::format("{} is the stamping key", file), "Give another file with --list.");
  session.ConfirmReplacing(file);
  RequireWritable(file);
}

void WriteSendList(const std::string& file, const std::vector<CFileChange>& changes) {
  std::string lines;
  for (const CFileChange& change : changes) lines.append(change.path).append("\n");
  WriteFile(file, lines);
}

}  // namespace ncc::tool
