// Each row: u8 kind, u32 number, u8 list, u32 chunk, u8 whether there was one; if so u32 type and
// the texts of the row, each behind its u32 length. Least significant bytes first.
#include "platform/hdb/history_codec.h"

#include "platform/compression.h"
#include "platform/storage/engine.h"
#include "platform/text/bytes.h"

#include <cstddef>
#include <cstdint>
#include <utility>

namespace ncc {
namespace {

[[noreturn]] void Fail() {
  throw StorageError("database is damaged: what its history holds cannot be read");
}

class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest_(bytes) {}

  bool IsAtEnd() const { return rest_.empty(); }
  std::string_view Take(std::size_t size) {
    if (rest_.size() < size) Fail();
    const std::string_view taken = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return taken;
  }
  std::uint8_t TakeU8() { return static_cast<std::uint8_t>(Take(1)[0]); }
  std::uint32_t TakeU32() { return U32At(Take(4), 0); }
  std::string TakeText() { return std::string(Take(TakeU32())); }

 private:
  std::string_view rest_;
};

void AppendText(std::string& bytes, const std::string& text) {
  AppendU32(bytes, static_cast<std::uint32_t>(text.size()));
  bytes += text;
}

}  // namespace

void RowPacker::Add(const RowKey& key, const Row* row) {
  bytes_ += static_cast<char>(key.kind);
  AppendU32(bytes_, key.number);
  bytes_ += static_cast<char>(key.list);
  AppendU32(bytes_, key.chunk);
  bytes_ += static_cast<char>(row != nullptr);
  if (row == nullptr) return;
  AppendU32(bytes_, row->type);
  for (const std::string* text : {&row->name, &row->body, &row->lists}) AppendText(bytes_, *text);
}

std::string RowPacker::Pack() const { return Compress(bytes_); }

std::vector<KeyedRow> UnpackRows(std::string_view packed) {
  const std::optional<std::string> bytes = Decompress(packed);
  if (!bytes) Fail();
  std::vector<KeyedRow> rows;
  for (Reader in(*bytes); !in.IsAtEnd();) {
    RowKey key;
    key.kind = static_cast<RowKind>(in.TakeU8());
    key.number = in.TakeU32();
    key.list = in.TakeU8();
    key.chunk = in.TakeU32();
    KeyedRow& former = rows.emplace_back(KeyedRow{key, std::nullopt});
    if (in.TakeU8() == 0) continue;
    Row& row = former.row.emplace();
    row.key = key;
    row.type = in.TakeU32();
    row.name = in.TakeText();
    row.body = in.TakeText();
    row.lists = in.TakeText();
  }
  return rows;
}

}  // namespace ncc
