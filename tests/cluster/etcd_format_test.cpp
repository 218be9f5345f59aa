// What goes to etcd and comes back: texts of its gateway, and the records in the values.
#include "platform/cluster/answer.h"
#include "platform/cluster/base64.h"
#include "platform/cluster/records.h"
#include "platform/cluster/request.h"
#include "support/engine_history.h"

#include <gtest/gtest.h>

namespace ncc::etcd {
namespace {

TEST(EtcdFormat, CarriesAllBytesInTexts) {
  std::string bytes;
  for (int i = 0; i < 300; ++i) {
    std::string text, back;
    AppendBase64(text, bytes);
    EXPECT_EQ(text.size(), (bytes.size() + 2) / 3 * 4);
    EXPECT_TRUE(DecodeBase64(text, back));
    EXPECT_EQ(back, bytes);
    bytes += static_cast<char>(i * 89);
  }
  std::string text;
  AppendBase64(text, "any carnal pleas");
  EXPECT_EQ(text, "YW55IGNhcm5hbCBwbGVhcw==");
  for (const char* wrong : {"YW5", "YW5*", "=W55", "Y===", "YW55IG"})
    EXPECT_FALSE(DecodeBase64(wrong, text)) << wrong;
}

TEST(EtcdFormat, ReadsWhatTheGatewayAnswers) {
  const char* const range =
      R"({"header":{"cluster_id":"148","member_id":"10","revision":"12","raft_term":"2"},)"
      R"("kvs":[{"key":"YQ==","create_revision":"2","mod_revision":"7","version":"3",)"
      R"("value":"AAEC/w==","lease":"77"},{"key":"Yg==","create_revision":"3",)"
      R"("mod_revision":"3","version":"1"}],"more":true,"count":"9"})";
  const auto found = ParseAnswer(range);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->revision, 12);
  ASSERT_EQ(found->found.size(), 1U);
  EXPECT_TRUE(found->found[0].has_more);
  ASSERT_EQ(found->found[0].keys.size(), 2U);
  const KeyValue& first = found->found[0].keys[0];
  EXPECT_EQ(first.key + first.value, std::string("a\0\1\2\xFF", 5));
  EXPECT_EQ(first.created + first.modified * 10 + first.lease * 100, 2 + 70 + 7700);
  EXPECT_EQ(found->found[0].keys[1].value, "");

  const auto refused = ParseAnswer(
      R"({"header":{"revision":"2"},"responses":[{"response_range":{"header":{"revision":"2"}}},)"
      R"({"response_put":{"header":{"revision":"2"}}},)"
      R"({"response_range":{"kvs":[{"key":"Yg=="}],"count":"1"}}]})");
  ASSERT_TRUE(refused && refused->found.size() == 2);
  EXPECT_FALSE(refused->succeeded);
  EXPECT_EQ(refused->found[0].Only(), nullptr);
  EXPECT_EQ(refused->found[1].Only()->key, "b");
  const auto error = ParseAnswer(R"({"error":"no \"x\" here","message":"","code":11})");
  EXPECT_TRUE(error && error->code == 11 && !error->error.empty());
  const auto alive = ParseAnswer(R"({"result":{"header":{},"ID":"9","TTL":"5"}})");
  EXPECT_TRUE(alive && alive->lease == 9 && alive->seconds_to_live == 5);
  for (std::size_t size = 0; size < std::string_view(range).size(); ++size)
    ParseAnswer(std::string_view(range).substr(0, size));
  EXPECT_FALSE(ParseAnswer("<html>"));
  EXPECT_FALSE(ParseAnswer(R"({"kvs":[{"key":"*"}]})"));
}

// Gives back what was encoded, and refuses it with any byte another or missing at its end.
template <class Record, class Decode>
void TryRecord(const Record& record, Decode decode) {
  const std::string bytes = Encode(record);
  EXPECT_EQ(Encode(decode(bytes)), bytes);
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    std::string wrong = bytes;
    wrong[at] = static_cast<char>(wrong[at] ^ (1 << at % 8));
    EXPECT_NE(ErrorOf([&] { decode(wrong); }), "") << at;
    EXPECT_NE(ErrorOf([&] { decode(bytes.substr(0, at)); }), "") << at;
  }
}

TEST(EtcdFormat, RecordsTellDamage) {
  StoredState state = HistoryChanges(9).state;
  state.history = {{HistoryRule::Keep::kDays, 30}, 4};
  TryRecord(Head{state, 77}, DecodeHead);
  TryRecord(Base{9, 3, 4000}, DecodeBase);
  TryRecord(Unit{state, {8, 123}, 2, std::string("block\0", 6)}, DecodeUnit);
  TryRecord(Entry{EntryOf(9), {9, 5}, 1, SumOf(EntryOf(9))}, DecodeEntry);
  EXPECT_EQ(DecodeUnit(Encode(Unit{state, {8, 123}, 2, "x"})).state, state);
  EXPECT_EQ(DecodeEntry(Encode(Entry{EntryOf(9), {}, 0, 0})).entry, EntryOf(9));
}

TEST(EtcdFormat, RowsGoThroughBlocksWhole) {
  Rows rows = HistoryRows(12);
  Row large{{RowKind::kObject, 5000}, 1, "large", std::string(2500000, '\0'), "[]"};
  for (std::size_t i = 0; i < large.body.size(); i += 7) large.body[i] = static_cast<char>(i / 3);
  rows[large.key] = large;
  std::vector<std::string> blocks;
  BlockWriter writer([&](const std::string& block) { blocks.push_back(block); });
  for (const auto& [key, row] : rows) {
    const RowView view = ViewOf(row);
    writer.Add(key, &view, SumOf(row));
  }
  const RowKey gone{RowKind::kChunk, 9000, 1, 2};
  writer.Add(gone, nullptr, 0);
  blocks.push_back(writer.Finish());
  EXPECT_GT(blocks.size(), 2U);

  Rows back;
  int removed = 0;
  const auto visit = [&](const RowKey& key, const RowView* row, std::uint32_t) {
    if (row != nullptr) back[key] = CopyOf(*row);
    removed += row == nullptr && key == gone ? 1 : 0;
  };
  BlockReader reader(visit);
  for (const std::string& block : blocks) reader.Take(block);
  reader.Finish();
  EXPECT_TRUE(back == rows);
  EXPECT_EQ(removed, 1);
  BlockReader cut(visit);
  cut.Take(blocks[0]);
  EXPECT_TRUE(Says(ErrorOf([&] { cut.Finish(); }), "database is damaged: a block"));
  BlockReader mixed(visit);
  mixed.Take(blocks[0]);
  EXPECT_NE(ErrorOf([&] {
              mixed.Take(blocks[2]);
              mixed.Finish();
            }),
            "");
}

}  // namespace
}  // namespace ncc::etcd
