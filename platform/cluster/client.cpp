#include "platform/cluster/client.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace ncc::etcd {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// One node may hang that others answer for.
constexpr milliseconds kShortTry(300);
constexpr milliseconds kLongTry(2000);
constexpr milliseconds kPause(50);

// The codes of gRPC that leave open whether it was done, or say that another node may do it.
bool MayBeTriedAgain(int code) {
  constexpr int kOpen[] = {0, 1, 2, 4, 10, 13, 14};
  return std::find(std::begin(kOpen), std::end(kOpen), code) != std::end(kOpen);
}

std::string DescribeRefusal(const std::string& error) {
  if (error.find("database space exceeded") != std::string::npos) {
    return "its space is used up (etcdctl alarm list, defrag, --quota-backend-bytes)";
  }
  return error;
}

}  // namespace

Client::Client(const EtcdSettings& settings, std::size_t node)
    : settings_(settings), http_(settings_), current_(node) {}

std::string Client::Describe(const HttpAnswer& answer, const Answer& parsed) const {
  std::string why = answer.error;
  if (why.empty()) why = parsed.error;
  if (why.empty()) why = "no answer of etcd (status " + std::to_string(answer.status) + ")";
  return Endpoint() + ": " + why;
}

Answer Client::Call(const char* path, const std::string& body) {
  return Call(path, body, settings_.timeout);
}

Answer Client::Call(const char* path, const std::string& body, milliseconds timeout) {
  const Clock::time_point end = Clock::now() + timeout;
  const auto nodes = static_cast<milliseconds::rep>(settings_.endpoints.size());
  milliseconds one_try = std::clamp(timeout / nodes, kShortTry, kLongTry);
  bool was_sent = false;
  for (std::size_t tried = 1;; ++tried) {
    const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
    const bool was_sent_before = was_sent;
    HttpAnswer answer = http_.Post(Endpoint() + path, body, std::min(left, one_try));
    was_sent = was_sent || answer.was_sent;
    Answer parsed;
    if (answer.status != 0) {
      auto read = ParseAnswer(answer.body);
      if (read) parsed = std::move(*read);
      const bool is_of_etcd = read && answer.status == 200 && parsed.revision != 0;
      if (is_of_etcd && parsed.error.empty()) return parsed;
      if (read && !parsed.error.empty() && !MayBeTriedAgain(parsed.code)) {
        const std::string text = "the cluster refuses: " + DescribeRefusal(parsed.error);
        if (was_sent_before) throw Unreachable(text, true);
        throw Rejected(text, parsed.code);
      }
    }
    const std::string why = Describe(answer, parsed);
    TryNext();
    // No try without time for it: its failure would hide why the others have failed.
    if (Clock::now() + 2 * kPause >= end) {
      throw Unreachable("the cluster does not answer (the last of " +
                            std::to_string(settings_.endpoints.size()) + " tried: " + why + ")",
                        was_sent);
    }
    if (tried % settings_.endpoints.size() != 0) continue;
    one_try *= 2;  // the way may be slow, and the answer long
    std::this_thread::sleep_for(kPause);
  }
}

}  // namespace ncc::etcd
