#include "platform/cluster/health.h"

#include "platform/cluster/answer.h"
#include "platform/cluster/http.h"

#include <algorithm>

namespace ncc::etcd {
namespace {

constexpr std::chrono::milliseconds kPatience(2000);

// In words that say what to do.
std::string DescribeFault(const std::string& fault) {
  if (fault.find("no leader") != std::string::npos) return "it reaches no majority of the machines";
  if (fault.find("NOSPACE") != std::string::npos) {
    return "its space is used up (etcdctl defrag, alarm disarm, --quota-backend-bytes)";
  }
  if (fault.find("CORRUPT") != std::string::npos)
    return "its data are damaged: remove it from the cluster and add it anew";
  return fault;
}

std::string Describe(const Answer& answer) {
  std::string text = answer.leader == answer.member ? "leads, " : "";
  return text + "etcd " + answer.version + ", " + std::to_string((answer.size >> 20) + 1) + " MB";
}

EngineStatus::Node Ask(Http& http, const std::string& place, std::chrono::milliseconds timeout) {
  const HttpAnswer answer = http.Post(place + "/v3/maintenance/status", "{}", timeout);
  if (answer.status == 0) return {place, false, answer.error};
  const std::optional<Answer> told = ParseAnswer(answer.body);
  if (answer.status != 200 || !told || told->version.empty())
    return {place, false, "it answers with status " + std::to_string(answer.status)};
  if (!told->faults.empty()) return {place, false, DescribeFault(told->faults.front())};
  if (told->leader == 0) return {place, false, DescribeFault("no leader")};
  return {place, true, Describe(*told)};
}

}  // namespace

std::vector<EngineStatus::Node> AskNodes(const EtcdSettings& settings) {
  Http http(settings);
  const auto timeout = std::min<std::chrono::milliseconds>(settings.timeout, kPatience);
  std::vector<EngineStatus::Node> nodes;
  for (const std::string& place : settings.endpoints) nodes.push_back(Ask(http, place, timeout));
  return nodes;
}

}  // namespace ncc::etcd
