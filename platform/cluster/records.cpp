// A record begins with the number of its format and ends in the CRC-32C of what is before; numbers
// are in least significant byte first, texts behind their length in four bytes. A row of a stream:
// u64 key (see Pack), u8 whether there is one; if so u32 sum, u32 type and its texts.

#include "platform/cluster/records.h"

#include "platform/compression.h"
#include "platform/crc32c.h"
#include "platform/storage/engine.h"
#include "platform/storage/row_sum.h"
#include "platform/text/bytes.h"

#include <cstddef>

namespace ncc::etcd {
namespace {

constexpr std::uint32_t kFormat = 1;
constexpr std::size_t kBlock = std::size_t{1} << 20;
constexpr std::size_t kSum = 4;

[[noreturn]] void Damaged(const std::string& what) {
  throw StorageError("database is damaged: " + what);
}

class Writer {
 public:
  explicit Writer(std::string& bytes) : bytes_(bytes) {}

  Writer& Number(std::uint64_t value, std::size_t size) {
    bytes_.resize(bytes_.size() + size);
    PutNumber(bytes_.data() + bytes_.size() - size, value, size);
    return *this;
  }
  Writer& U64(std::uint64_t value) { return Number(value, 8); }
  Writer& U32(std::uint32_t value) { return Number(value, 4); }
  Writer& Text(std::string_view text) {
    U32(static_cast<std::uint32_t>(text.size()));
    bytes_ += text;
    return *this;
  }

 private:
  std::string& bytes_;
};

// What is read beyond the end is zero, and shows once it is asked.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest_(bytes) {}

  std::uint64_t Number(std::size_t size) {
    const std::string_view bytes = Take(size);
    std::uint64_t value = 0;
    for (std::size_t i = bytes.size(); i > 0; --i)
      value = value << 8 | static_cast<unsigned char>(bytes[i - 1]);
    return value;
  }
  std::uint64_t U64() { return Number(8); }
  std::uint32_t U32() { return static_cast<std::uint32_t>(Number(4)); }
  std::string_view Text() { return Take(U32()); }
  std::string_view Rest() const { return rest_; }
  bool IsOverrun() const { return is_overrun_; }

 private:
  std::string_view Take(std::size_t size) {
    if (rest_.size() < size) {
      is_overrun_ = true;
      rest_ = {};
      return {};
    }
    const std::string_view taken = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return taken;
  }

  std::string_view rest_;
  bool is_overrun_ = false;
};

std::string Sealed(std::string record) {
  Writer(record).U32(ExtendCrc32c(0, record));
  return record;
}

// What stands between the format and the sum.
Reader Opened(std::string_view value, const char* what) {
  if (value.size() < 1 + kSum) Damaged(std::string(what) + " is cut off");
  const std::string_view record = value.substr(0, value.size() - kSum);
  if (Reader(value.substr(record.size())).U32() != ExtendCrc32c(0, record)) {
    Damaged(std::string(what) + " does not match its checksum");
  }
  Reader reader(record);
  const std::uint64_t format = reader.Number(1);
  if (format != kFormat) {
    throw StorageError(std::string(what) + " has format " + std::to_string(format) +
                       " of a newer version of this program");
  }
  return reader;
}

void CheckRead(const Reader& reader, const char* what) {
  if (reader.IsOverrun() || !reader.Rest().empty()) Damaged(std::string(what) + " is cut off");
}

std::string Begun() { return {static_cast<char>(kFormat)}; }

void Put(Writer& out, const StoredState& state) {
  out.U64(state.revision).U64(state.totals.rows).U64(state.totals.sum).U64(state.unit);
  out.Number(static_cast<std::uint64_t>(state.history.rule.keep), 1);
  out.U32(state.history.rule.count).U64(state.history.first);
}

StoredState TakeState(Reader& in) {
  StoredState state;
  state.revision = in.U64();
  state.totals.rows = in.U64();
  state.totals.sum = in.U64();
  state.unit = in.U64();
  state.history.rule.keep = static_cast<HistoryRule::Keep>(in.Number(1));
  state.history.rule.count = in.U32();
  state.history.first = in.U64();
  return state;
}

constexpr const char* kHead = "the record of its last change";
constexpr const char* kBase = "the record of its rows";
constexpr const char* kUnit = "the record of a change";
constexpr const char* kEntry = "an entry of its history";

}  // namespace

std::string Encode(const Head& head) {
  std::string record = Begun();
  Writer out(record);
  Put(out, head.state);
  out.U64(head.fence);
  return Sealed(std::move(record));
}

Head DecodeHead(std::string_view value) {
  Reader in = Opened(value, kHead);
  Head head;
  head.state = TakeState(in);
  head.fence = in.U64();
  CheckRead(in, kHead);
  return head;
}

std::string Encode(const Base& base) {
  std::string record = Begun();
  Writer(record).U64(base.revision).U32(base.blocks).U64(base.size);
  return Sealed(std::move(record));
}

Base DecodeBase(std::string_view value) {
  Reader in = Opened(value, kBase);
  Base base;
  base.revision = in.U64();
  base.blocks = in.U32();
  base.size = in.U64();
  CheckRead(in, kBase);
  return base;
}

std::string Encode(const Unit& unit) {
  std::string record = Begun();
  Writer out(record);
  Put(out, unit.state);
  out.U64(unit.stage.revision).U64(unit.stage.token).U32(unit.staged).Text(unit.block);
  return Sealed(std::move(record));
}

Unit DecodeUnit(std::string_view value) {
  Reader in = Opened(value, kUnit);
  Unit unit;
  unit.state = TakeState(in);
  unit.stage.revision = in.U64();
  unit.stage.token = in.U64();
  unit.staged = in.U32();
  unit.block = in.Text();
  CheckRead(in, kUnit);
  return unit;
}

std::string Encode(const Entry& entry) {
  std::string record = Begun();
  Writer out(record);
  const HistoryEntry& told = entry.entry;
  out.U64(told.revision).U64(static_cast<std::uint64_t>(told.time));
  out.Text(told.origin.person).Text(told.origin.program).Text(told.origin.text);
  out.U64(entry.stage.revision).U64(entry.stage.token).U32(entry.pieces).U32(entry.sum);
  out.Text(told.replaced);
  return Sealed(std::move(record));
}

Entry DecodeEntry(std::string_view value) {
  Reader in = Opened(value, kEntry);
  Entry entry;
  HistoryEntry& told = entry.entry;
  told.revision = in.U64();
  told.time = static_cast<std::int64_t>(in.U64());
  told.origin.person = in.Text();
  told.origin.program = in.Text();
  told.origin.text = in.Text();
  entry.stage.revision = in.U64();
  entry.stage.token = in.U64();
  entry.pieces = in.U32();
  entry.sum = in.U32();
  told.replaced = in.Text();
  CheckRead(in, kEntry);
  return entry;
}

std::uint32_t SumOf(const HistoryEntry& entry) {
  std::string head;
  Writer out(head);
  out.U64(entry.revision).U64(static_cast<std::uint64_t>(entry.time));
  out.Text(entry.origin.person).Text(entry.origin.program).Text(entry.origin.text);
  return ExtendCrc32c(ExtendCrc32c(0, head), entry.replaced);
}

void BlockWriter::Add(const RowKey& key, const RowView* row, std::uint32_t sum) {
  Writer out(stream_);
  out.U64(Pack(key)).Number(row != nullptr ? 1 : 0, 1);
  if (row != nullptr) {
    out.U32(sum).U32(row->type).Text(row->name).Text(row->body).Text(row->lists);
  }
  std::size_t begin = 0;
  for (; stream_.size() - begin > kBlock; begin += kBlock) {
    sink_(Compress(std::string_view(stream_).substr(begin, kBlock)));
  }
  stream_.erase(0, begin);
}

std::string BlockWriter::Finish() { return Compress(stream_); }

void BlockReader::Take(std::string_view block) {
  const std::optional<std::string> bytes = Decompress(block);
  if (!bytes) Damaged("a block of its rows cannot be read");
  if (stream_.empty()) {
    stream_ = *bytes;
  } else {
    stream_ += *bytes;
  }
  Reader in(stream_);
  std::size_t done = 0;
  for (;;) {
    const RowKey key = Unpack(in.U64());
    const bool is_there = in.Number(1) != 0;
    RowView row{key};
    std::uint32_t sum = 0;
    if (is_there) {
      sum = in.U32();
      row.type = in.U32();
      row.name = in.Text();
      row.body = in.Text();
      row.lists = in.Text();
    }
    if (in.IsOverrun()) break;
    if (is_there && SumOf(row) != sum) {
      Damaged("a row of object " + std::to_string(key.number) + " does not match its checksum");
    }
    visit_(key, is_there ? &row : nullptr, sum);
    done = stream_.size() - in.Rest().size();
  }
  stream_.erase(0, done);
}

void BlockReader::Finish() const {
  if (!stream_.empty()) Damaged("a block of its rows is missing");
}

}  // namespace ncc::etcd
