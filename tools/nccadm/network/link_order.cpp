#include "network/link_order.h"

#include <algorithm>
#include <functional>
#include <queue>
#include <set>

namespace ncc::tool {
namespace {

using Link = std::pair<std::size_t, std::size_t>;

// A link can be made when it is the next one of both its ends.
class LinkMaker {
 public:
  explicit LinkMaker(const Neighbours& links) : links_(links), next_(links.size()) {}

  std::vector<Link> Run() {
    for (std::size_t i = 0; i < links_.size(); ++i) {
      // From its lower end only, as both ends see the link here.
      if (!links_[i].empty() && links_[i].front() >= i) Offer(i);
    }
    while (!ready_.empty()) {
      const Link link = ready_.top();
      ready_.pop();
      order_.push_back(link);
      ++next_[link.first];
      if (link.second != link.first) ++next_[link.second];
      Offer(link.first);
      if (link.second != link.first) Offer(link.second);
    }
    AppendRest();
    return std::move(order_);
  }

 private:
  void Offer(std::size_t i) {
    if (next_[i] == links_[i].size()) return;
    const std::size_t other = links_[i][next_[i]];
    const bool wanted = next_[other] < links_[other].size() && links_[other][next_[other]] == i;
    if (wanted) ready_.emplace(std::minmax(i, other));
  }

  void AppendRest() {
    std::set<Link> added;
    for (std::size_t i = 0; i < links_.size(); ++i) {
      for (std::size_t k = next_[i]; k < links_[i].size(); ++k) {
        const Link link = std::minmax(i, links_[i][k]);
        if (added.insert(link).second) order_.push_back(link);
      }
    }
  }

  const Neighbours& links_;
  std::vector<std::size_t> next_;
  std::priority_queue<Link, std::vector<Link>, std::greater<>> ready_;
  std::vector<Link> order_;
};

}  // namespace

bool HasPlainOrder(const Neighbours& links) {
  Neighbours made(links.size());
  for (std::size_t i = 0; i < links.size(); ++i) {
    for (const std::size_t other : links[i]) {
      if (other < i) continue;
      made[i].push_back(other);
      if (other != i) made[other].push_back(i);
    }
  }
  return made == links;
}

std::vector<Link> OrderLinks(const Neighbours& links) { return LinkMaker(links).Run(); }

}  // namespace ncc::tool
