#include "console/nearest.h"

#include <algorithm>

#include "console/text.h"

namespace ncc::tool {
namespace {

std::size_t Gap(std::size_t a, std::size_t b) { return a > b ? a - b : b - a; }

}  // namespace

Nearest::Nearest(std::string_view text, std::size_t most)
    : wanted_(FoldForSearch(text)), most_(most), limit_(wanted_.size() / 3 + 1) {
  for (const char c : wanted_) ++letters_[static_cast<unsigned char>(c)];
}

// Whether so few of its letters are strange to the text, and so few of the text's letters are
// lacking, that it can be near.
bool Nearest::SharesLetters(std::string_view folded) const {
  std::array<std::size_t, 256> left = letters_;
  std::size_t shared = 0;
  for (const char c : folded) {
    std::size_t& count = left[static_cast<unsigned char>(c)];
    if (count > 0) {
      --count;
      ++shared;
    }
  }
  return std::max(folded.size(), wanted_.size()) - shared <= limit_;
}

// Edit distance where neighbours that changed places count once, since that is how people mistype.
// Looks only where it can be within the limit, and ends when it cannot be any more.
std::size_t Nearest::DistanceTo(std::string_view folded) {
  const std::size_t far = limit_ + 1;
  auto& [before, last, row] = rows_;
  for (auto& each : rows_) each.assign(folded.size() + 1, far);
  for (std::size_t j = 0; j <= std::min(limit_, folded.size()); ++j) last[j] = j;
  for (std::size_t i = 1; i <= wanted_.size(); ++i) {
    const std::size_t begin = i > limit_ ? i - limit_ : 1;
    const std::size_t end = std::min(folded.size(), i + limit_);
    row[begin - 1] = begin == 1 ? i : far;
    std::size_t least = row[begin - 1];
    for (std::size_t j = begin; j <= end; ++j) {
      const std::size_t changed = last[j - 1] + (wanted_[i - 1] == folded[j - 1] ? 0 : 1);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, changed});
      if (i > 1 && j > 1 && wanted_[i - 1] == folded[j - 2] && wanted_[i - 2] == folded[j - 1]) {
        row[j] = std::min(row[j], before[j - 2] + 1);
      }
      least = std::min(least, row[j]);
    }
    if (least > limit_) return far;
    before.swap(last);
    last.swap(row);
    if (end < folded.size()) last[end + 1] = far;
  }
  return last[folded.size()];
}

void Nearest::Offer(const std::string& candidate) {
  if (Gap(candidate.size(), wanted_.size()) > limit_) return;
  const std::string folded = FoldForSearch(candidate);
  if (!SharesLetters(folded)) return;
  const std::size_t distance = DistanceTo(folded);
  if (distance > limit_ || distance * 2 > std::max(folded.size(), wanted_.size())) return;
  const std::pair<std::size_t, std::string> found(distance, candidate);
  found_.insert(std::upper_bound(found_.begin(), found_.end(), found), found);
  if (found_.size() > most_) found_.pop_back();
  if (found_.size() == most_) limit_ = found_.back().first;
}

std::vector<std::string> Nearest::Found() {
  std::vector<std::string> names;
  names.reserve(found_.size());
  for (auto& [distance, name] : found_) names.push_back(std::move(name));
  found_.clear();
  return names;
}

std::string ClosestMatch(std::string_view text, const std::vector<std::string>& candidates) {
  Nearest nearest(text);
  for (const std::string& candidate : candidates) nearest.Offer(candidate);
  const std::vector<std::string> found = nearest.Found();
  return found.empty() ? std::string() : found.front();
}

}  // namespace ncc::tool
