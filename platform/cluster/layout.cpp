#include "platform/cluster/layout.h"

#include <charconv>

namespace ncc::etcd {
namespace {

void AppendHex16(std::string& key, std::uint64_t number, int digits = 16) {
  for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4)
    key += "0123456789abcdef"[number >> shift & 15];
}

std::string Indexed(std::string key, std::uint32_t index) {
  AppendHex16(key, index, 8);
  return key;
}

bool ParseHex16(std::string_view text, std::uint64_t& number) {
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number, 16);
  return text.size() == 16 && result.ec == std::errc() && result.ptr == end;
}

}  // namespace

std::string Layout::Key(const char* kind, std::uint64_t revision) const {
  std::string key = prefix_ + kind;
  AppendHex16(key, revision);
  return key;
}

std::string Layout::Key(const char* kind, const Stage& stage) const {
  std::string key = Key(kind, stage.revision) + "/";
  AppendHex16(key, stage.token);
  return key;
}

std::string Layout::BaseBlock(std::uint64_t revision, std::uint32_t index) const {
  return Indexed(BaseBlocks(revision), index);
}
std::string Layout::StagedBlock(const Stage& stage, std::uint32_t index) const {
  return Indexed(StagedBlocks(stage), index);
}
std::string Layout::Piece(const Stage& stage, std::uint32_t index) const {
  return Indexed(Pieces(stage), index);
}

std::string Layout::Entry(std::uint64_t revision, std::int64_t time) const {
  std::string key = Entry(revision);
  AppendHex16(key, static_cast<std::uint64_t>(time));
  return key;
}

std::string Layout::Follower(std::int64_t lease) const {
  return Key("f/", static_cast<std::uint64_t>(lease));
}

std::string Layout::First(char kind, std::uint64_t revision) const {
  const char text[] = {kind, '/', '\0'};
  return Key(text, revision);
}

std::optional<Layout::EntryKey> Layout::ParseEntry(std::string_view key) const {
  constexpr std::size_t kNumber = 16;
  if (key.size() != prefix_.size() + 2 + kNumber + 1 + kNumber) return std::nullopt;
  key.remove_prefix(prefix_.size() + 2);
  std::uint64_t revision = 0;
  std::uint64_t time = 0;
  if (!ParseHex16(key.substr(0, kNumber), revision) || !ParseHex16(key.substr(kNumber + 1), time))
    return std::nullopt;
  return EntryKey{revision, static_cast<std::int64_t>(time)};
}

}  // namespace ncc::etcd
