#include "exchange/read/record_table.h"

#include <algorithm>
#include <array>
#include <random>

namespace ncc {

std::uint32_t HashName(std::string_view name) {
  __extension__ using Product = unsigned __int128;
  static const std::array<std::uint64_t, 2> kSecrets = [] {
    std::random_device random;
    const auto draw = [&] { return std::uint64_t{random()} << 32 | random(); };
    return std::array<std::uint64_t, 2>{draw(), draw() | 1};
  }();
  std::uint64_t hash = kSecrets[0] ^ name.size();
  while (!name.empty()) {
    std::uint64_t word = 0;
    const std::size_t size = std::min(name.size(), sizeof(word));
    std::memcpy(&word, name.data(), size);
    name.remove_prefix(size);
    const Product product = Product{hash ^ word} * kSecrets[1];
    hash = static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64) ^
           kSecrets[0];
  }
  return static_cast<std::uint32_t>(hash >> 32);
}

void PairIndex::Build() {
  const auto by_value = [](const auto& a, const auto& b) { return a.second < b.second; };
  if (!std::is_sorted(pairs_.begin(), pairs_.end(), by_value))
    std::stable_sort(pairs_.begin(), pairs_.end(), by_value);
  std::uint32_t keys = 0;
  for (const auto& pair : pairs_) keys = std::max(keys, pair.first + 1);
  std::vector<std::uint32_t> ends(keys);
  for (const auto& pair : pairs_) ++ends[pair.first];
  std::uint32_t sum = 0;
  for (std::uint32_t& end : ends) sum += std::exchange(end, sum);
  std::vector<std::uint32_t> starts = ends;
  std::vector<std::uint32_t> values(pairs_.size());
  for (const auto& [key, value] : pairs_) {
    std::uint32_t& end = ends[key];
    if (end == starts[key] || values[end - 1] != value) values[end++] = value;
  }
  values_.swap(values);
  starts_.swap(starts);
  ends_.swap(ends);
  pairs_.clear();
}

void PairIndex::Clear() {
  pairs_.clear();
  values_.clear();
  starts_.clear();
  ends_.clear();
}

std::span<const std::uint32_t> PairIndex::ValuesOf(unsigned long key) const {
  if (key >= ends_.size()) return {};
  return std::span(values_).subspan(starts_[key], ends_[key] - starts_[key]);
}

}  // namespace ncc
