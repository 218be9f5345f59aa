#include "platform/hdb/row_merge.h"

#include "nccnet/notes.h"
#include "platform/hdb/row_codec.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

namespace ncc {
namespace {

using Elements = std::vector<std::string_view>;

// Where a quoted string ends that begins at `at`.
std::size_t EndOfString(std::string_view text, std::size_t at) {
  for (++at; text[at] != '"'; ++at) {
    if (text[at] == '\\') ++at;
  }
  return at;
}

// The elements of a JSON array that an encoder wrote; none of an empty text or null.
Elements ElementsOf(std::string_view text) {
  Elements elements;
  if (!text.starts_with('[')) return elements;
  std::size_t begin = 1;
  int depth = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '"') at = EndOfString(text, at);
    if (text[at] == '[') ++depth;
    if (text[at] == ']') --depth;
    if ((text[at] == ',' && depth == 1) || (text[at] == ']' && depth == 0)) {
      elements.push_back(text.substr(begin, at - begin));
      begin = at + 1;
    }
  }
  return elements;
}

constexpr std::string_view kHole = "null";

std::string_view At(const Elements& elements, std::size_t i) {
  return i < elements.size() ? elements[i] : kHole;
}

// Nothing when the same was changed.
template <class Value>
const Value* Merged(const Value& before, const Value& after, const Value& now) {
  if (before == after || now == before) return &now;
  return now == after ? &before : nullptr;
}

// The text of a chunk; empty when no element is in it. False when the same was changed.
bool MergeChunk(std::string_view before_text, std::string_view after_text,
                std::string_view now_text, std::string& merged) {
  const Elements before = ElementsOf(before_text);
  const Elements after = ElementsOf(after_text);
  const Elements now = ElementsOf(now_text);
  const bool went_on = now.size() != after.size();
  const std::size_t size = went_on ? std::max(now.size(), before.size()) : before.size();
  bool is_empty = true;
  std::string text;
  for (std::size_t i = 0; i < std::max({before.size(), after.size(), now.size()}); ++i) {
    const std::string_view elements[] = {At(before, i), At(after, i), At(now, i)};
    const std::string_view* element = Merged(elements[0], elements[1], elements[2]);
    if (element == nullptr) return false;
    if (i >= size) continue;
    is_empty = is_empty && *element == kHole;
    text.append(text.empty() ? "[" : ",").append(*element);
  }
  merged = is_empty ? std::string() : text + "]";
  return true;
}

bool MergeLists(const Row& before, const Row& after, const Row& now, std::string& merged) {
  const Elements lists[] = {ElementsOf(before.lists), ElementsOf(after.lists),
                            ElementsOf(now.lists)};
  std::vector<std::string> chunks(std::max({lists[0].size(), lists[1].size(), lists[2].size()}));
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    if (!MergeChunk(At(lists[0], i), At(lists[1], i), At(lists[2], i), chunks[i])) return false;
  }
  while (!chunks.empty() && chunks.back().empty()) chunks.pop_back();
  std::string text;
  for (const std::string& chunk : chunks) {
    text += text.empty() ? '[' : ',';
    text += chunk.empty() ? kHole : chunk;
  }
  merged = text.empty() ? text : text + "]";
  return true;
}

bool MergeObject(const Row& before, const Row& after, Row& now, const MergeData& merge) {
  const auto* name = Merged(before.name, after.name, now.name);
  auto body = merge(before.key, before.body, after.body, now.body);
  std::string lists;
  if (name == nullptr || !body || !MergeLists(before, after, now, lists)) return false;
  now = {now.key, now.type, std::string(*name), *std::move(body), std::move(lists)};
  return true;
}

bool MergeListRow(const RowKey& key, const std::optional<Row>& before,
                  const std::optional<Row>& after, std::optional<Row>& now) {
  const auto text = [](const std::optional<Row>& row) {
    return row ? std::string_view(row->body) : std::string_view();
  };
  std::string merged;
  if (!MergeChunk(text(before), text(after), text(now), merged)) return false;
  now.reset();
  if (!merged.empty()) now = Row{key, 0, {}, std::move(merged), {}};
  return true;
}

// Key by key.
bool MergeNotes(const RowKey& key, const std::optional<Row>& before,
                const std::optional<Row>& after, std::optional<Row>& now) {
  const auto notes = [](const std::optional<Row>& row) {
    return row ? DecodeNotes(row->body) : Notes();
  };
  const auto find = [](const Notes& all, const std::string& name) {
    const auto found = all.find(name);
    return found != all.end() ? std::optional(found->second) : std::nullopt;
  };
  const Notes old = notes(before);
  const Notes next = notes(after);
  Notes merged = notes(now);
  Notes all = old;
  all.insert(next.begin(), next.end());
  for (const auto& [name, any] : all) {
    const std::optional<std::string> texts[] = {find(old, name), find(next, name),
                                                find(merged, name)};
    const std::optional<std::string>* const text = Merged(texts[0], texts[1], texts[2]);
    if (text == nullptr) return false;
    merged.erase(name);
    if (*text) merged.emplace(name, **text);
  }
  if (merged.size() > kMaxNotes) return false;
  now.reset();
  if (merged.empty()) return true;
  EncodeNotes(now.emplace(Row{key, 0, {}, {}, {}}).body, merged);
  return true;
}

// The elements of a JSON array, also of arrays in it, without the holes.
std::string WithoutHoles(std::string_view text) {
  if (!text.starts_with('[')) return std::string(text);
  std::string rest = "[";
  for (const std::string_view element : ElementsOf(text)) {
    if (element != kHole) rest.append(WithoutHoles(element)).append(",");
  }
  return rest;
}

}  // namespace

bool HoldSame(const std::optional<Row>& one, const std::optional<Row>& other) {
  if (!one || !other) return one.has_value() == other.has_value();
  const bool is_chunk = one->key.kind == RowKind::kChunk;
  return one->type == other->type && one->name == other->name &&
         (is_chunk ? WithoutHoles(one->body) == WithoutHoles(other->body)
                   : one->body == other->body) &&
         WithoutHoles(one->lists) == WithoutHoles(other->lists);
}

bool TakeBackRow(const RowKey& key, const std::optional<Row>& before,
                 const std::optional<Row>& after, std::optional<Row>& now, const MergeData& merge) {
  if (key.kind == RowKind::kChunk) return MergeListRow(key, before, after, now);
  if (key.kind == RowKind::kNote) return MergeNotes(key, before, after, now);
  // One that went to another kind of object has nothing in common with what it was.
  const bool is_same =
      before && after && now && before->type == after->type && now->type == after->type;
  if (key.kind == RowKind::kObject && is_same) return MergeObject(*before, *after, *now, merge);
  if (now != after) return false;
  now = before;
  return true;
}

}  // namespace ncc
