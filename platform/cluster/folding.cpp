#include "platform/cluster/folding.h"

#include "platform/cluster/reader.h"
#include "platform/storage/row_sum.h"

#include <string>

namespace ncc::etcd {
namespace {

constexpr std::size_t kManyUnits = 500;
constexpr std::size_t kManyBytes = std::size_t{1} << 19;

// Whose ownership has ended folds nothing.
class Stopped {};

}  // namespace

Folding::Folding(const EtcdSettings& settings, const Layout& layout, std::int64_t owner)
    : client_(settings), layout_(layout), owner_(owner), thread_([this] { Run(); }) {}

Folding::~Folding() {
  {
    const std::lock_guard lock(mutex_);
    stops_ = true;
  }
  asked_.notify_all();
  thread_.join();
}

void Folding::Found(std::size_t base, std::size_t units, std::size_t bytes) {
  {
    const std::lock_guard lock(mutex_);
    base_ = base;
    units_ = units;
    bytes_ = bytes;
  }
  asked_.notify_all();
}

void Folding::Add(std::size_t bytes) {
  {
    const std::lock_guard lock(mutex_);
    ++units_;
    bytes_ += bytes;
  }
  asked_.notify_all();
}

// Half of what is in one piece already, so that all folding together writes little more than the
// commits do.
bool Folding::IsDue() const { return units_ > kManyUnits || bytes_ > kManyBytes + base_ / 2; }

void Folding::Run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    asked_.wait(lock, [this] { return stops_ || IsDue(); });
    if (!IsDue()) return;
    units_ = bytes_ = 0;
    lock.unlock();
    try {
      Fold();
    } catch (const std::exception&) {
      // The next one does it.
    } catch (const Stopped&) {
      return;
    }
    lock.lock();
  }
}

// By a request whose answer was lost.
bool Folding::HasMoved(const Base& base) {
  const Answer answer = client_.Get({layout_.Base()});
  const KeyValue* const stored = answer.found.front().Only();
  return stored != nullptr && DecodeBase(stored->value).revision == base.revision;
}

void Folding::Fold() {
  const auto run = [&](Transaction& transaction) {
    if (!client_.Run(transaction.WhenCreated(layout_.Owner(), owner_)).succeeded) throw Stopped();
  };
  Base base;
  std::uint64_t former = 0;
  std::int64_t former_modified = 0;
  {
    const Stored stored = Reader(client_, layout_).ReadAll();
    former = stored.base.revision;
    former_modified = stored.base_modified;
    base.revision = stored.seen.head.state.revision;
    if (base.revision == former) return;
    const auto put = [&](const std::string& block) {
      base.size += block.size();
      Transaction transaction;
      run(transaction.Put(layout_.BaseBlock(base.revision, base.blocks++), block));
    };
    BlockWriter blocks(put);
    RowTotals found;
    ForEachRow(stored, [&](const RowView& row, std::uint32_t sum) {
      AddTo(found, sum);
      blocks.Add(row.key, &row, sum);
    });
    CheckTotals(found, stored.seen.head.state.totals);  // what it is made of goes
    put(blocks.Finish());
  }
  // The commits since the former base stay, for those who follow.
  Transaction move;
  move.WhenModified(layout_.Base(), former_modified);  // a copy that comes late does nothing
  move.Put(layout_.Base(), Encode(base));
  move.Delete(layout_.First('b', 0), layout_.BaseBlocks(base.revision));
  move.Delete(layout_.First('c', 0), layout_.First('c', former + 1));
  move.Delete(layout_.First('s', 0), layout_.First('s', former));
  if (!client_.Run(move.WhenCreated(layout_.Owner(), owner_)).succeeded && !HasMoved(base))
    throw Stopped();
  const std::int64_t now = client_.Get({layout_.Base()}).revision;
  client_.Call("/v3/kv/compaction", "{\"revision\":\"" + std::to_string(now) + "\"}");
  const std::lock_guard lock(mutex_);
  base_ = base.size;
}

}  // namespace ncc::etcd
