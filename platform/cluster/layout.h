// The keys of a database in etcd. Below the prefix of the database:
//
//   meta                     what the last commit left (Head); the moment of commit is its write
//   owner                    who owns the database, on a lease; the revision of the store that made
//                            it is what every write of an owner is compared with
//   closed                   there while nobody owns it because the last owner has closed it
//   base                     the revision up to which all rows are in one piece (Base)
//   b/REVISION/INDEX         the blocks of that piece
//   c/REVISION               a commit behind it, and the last block of its rows (Unit)
//   s/BEFORE/TOKEN/INDEX     further blocks of a commit, staged before it; BEFORE is the revision
//                            that it followed
//   f/LEASE                  how far a follower is, on a lease of its own (Presence)
//   h/REVISION/TIME          an entry of the history (Entry)
//   p/REVISION/TOKEN/INDEX   what of an entry did not fit in there
//
// Numbers in keys are hexadecimal digits of fixed width. A block is packed by zstd, of 1 MiB of a
// stream of rows or the rest of it; records.h has what is in the values. TOKEN is drawn for each
// attempt, so that nothing of one that failed is taken for a part of the next.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ncc::etcd {

// A place that a unit's blocks or an entry's pieces are staged below.
struct Stage {
  std::uint64_t revision = 0;
  std::uint64_t token = 0;
};

class Layout {
 public:
  explicit Layout(std::string prefix) : prefix_(std::move(prefix)) {}

  std::string Head() const { return prefix_ + "meta"; }
  std::string Owner() const { return prefix_ + "owner"; }
  std::string Closed() const { return prefix_ + "closed"; }
  std::string Base() const { return prefix_ + "base"; }

  // Without an index the beginning of the keys.
  std::string BaseBlocks(std::uint64_t revision) const { return Key("b/", revision) + "/"; }
  std::string BaseBlock(std::uint64_t revision, std::uint32_t index) const;
  std::string Unit(std::uint64_t revision) const { return Key("c/", revision); }
  std::string StagedBlocks(const Stage& stage) const { return Key("s/", stage) + "/"; }
  std::string StagedBlock(const Stage& stage, std::uint32_t index) const;
  // The beginning of the key of the entry of a revision.
  std::string Entry(std::uint64_t revision) const { return Key("h/", revision) + "/"; }
  std::string Entry(std::uint64_t revision, std::int64_t time) const;
  std::string Pieces(const Stage& stage) const { return Key("p/", stage) + "/"; }
  std::string Piece(const Stage& stage, std::uint32_t index) const;

  // The first key of each kind ("b", "c", "f", "h", "p" or "s") of at least that revision, and the
  // end of the kind.
  std::string First(char kind, std::uint64_t revision) const;
  std::string End(char kind) const { return prefix_ + kind + '0'; }

  std::string Follower(std::int64_t lease) const;

  // The revision, and the time, that the key of an entry tells.
  struct EntryKey {
    std::uint64_t revision = 0;
    std::int64_t time = 0;
  };
  std::optional<EntryKey> ParseEntry(std::string_view key) const;

 private:
  std::string Key(const char* kind, std::uint64_t revision) const;
  std::string Key(const char* kind, const Stage& stage) const;

  std::string prefix_;
};

}  // namespace ncc::etcd
