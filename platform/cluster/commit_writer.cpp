#include "platform/cluster/commit_writer.h"

#include "platform/token.h"

#include <algorithm>
#include <utility>

namespace ncc::etcd {
namespace {

// A block or a piece, and a little more. etcd takes 1.5 MB and 128 operations.
constexpr std::size_t kPiece = std::size_t{1} << 20;
constexpr std::size_t kLittle = std::size_t{1} << 18;
constexpr int kManyOperations = 100;

// Entries of the history. Those of one commit go with it; a database that is copied has many, which
// are staged in groups and count once the head is there.
class EntryWriter {
 public:
  EntryWriter(const Layout& layout, const std::function<void(Transaction&)>& stage)
      : layout_(layout), stage_(stage) {}

  void Add(const HistoryEntry& told) {
    Entry entry{told, {told.revision, DrawToken()}, 0, SumOf(told)};
    std::string& rest = entry.entry.replaced;
    std::size_t at = 0;
    for (; rest.size() - at > kLittle / 2; at += std::min(kPiece, rest.size() - at)) {
      Transaction piece;
      piece.Put(layout_.Piece(entry.stage, entry.pieces++), rest.substr(at, kPiece));
      stage_(piece);
    }
    rest.erase(0, at);
    const std::string value = Encode(entry);
    if (waiting_.Size() + value.size() > kLittle || waiting_.Operations() >= kManyOperations) {
      stage_(waiting_);
      waiting_ = {};
    }
    waiting_.Put(layout_.Entry(told.revision, told.time), value);
  }

  Transaction& Waiting() { return waiting_; }

 private:
  const Layout& layout_;
  const std::function<void(Transaction&)>& stage_;
  Transaction waiting_;
};

}  // namespace

PreparedCommit Prepare(const Layout& layout, const ChangeSet& changes, const StoredState& before,
                       const std::function<void(Transaction& writes)>& stage) {
  Unit unit;
  unit.stage = {before.revision, DrawToken()};
  PreparedCommit commit;
  BlockWriter blocks([&](const std::string& block) {
    Transaction writes;
    stage(writes.Put(layout.StagedBlock(unit.stage, unit.staged++), block));
    commit.size += block.size();
  });
  commit.state = unit.state = changes.ForEach([&](const RowChange& change) {
    const RowView now = change.now != nullptr ? ViewOf(*change.now) : RowView{};
    blocks.Add(change.key, change.now != nullptr ? &now : nullptr, change.sum);
  });
  unit.block = blocks.Finish();
  commit.size += unit.block.size();

  EntryWriter entries(layout, stage);
  changes.ForEachEntry([&](const HistoryEntry& entry) { entries.Add(entry); });
  commit.writes = std::move(entries.Waiting());
  commit.writes.Put(layout.Unit(unit.state.revision), Encode(unit));
  const std::uint64_t first = unit.state.history.first;
  if (first != before.history.first && first > 1) {
    commit.writes.Delete(layout.First('h', 0), layout.First('h', first));
    commit.writes.Delete(layout.First('p', 0), layout.First('p', first));
  }
  return commit;
}

}  // namespace ncc::etcd
