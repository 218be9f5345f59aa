#include "compare.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace {

double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double Sum(const std::vector<double>& values) {
  return std::accumulate(values.begin(), values.end(), 0.0);
}

}  // namespace

void Comparison::Add(benchmark::State& state, double ours, double bare) {
  state.SetIterationTime(ours);
  ours_.push_back(ours);
  bare_.push_back(bare);
  ratios_.push_back(ours / bare);
}

void Comparison::Report(benchmark::State& state, double operations) const {
  if (ratios_.empty()) return;
  state.counters["ours"] = Median(ours_) / operations;
  state.counters["bare"] = Median(bare_) / operations;
  state.counters["ratio"] = Median(ratios_);
  state.counters["best_ratio"] =
      *std::min_element(ours_.begin(), ours_.end()) / *std::min_element(bare_.begin(), bare_.end());
  state.counters["total_ratio"] = Sum(ours_) / Sum(bare_);
}
