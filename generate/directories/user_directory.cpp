// The user directory files: of an AP, the same for all of them, and of a server.
//
//   000<k> %4.4X %4.4X%4.4X0 %4.4X%4.4X %s\n
//
// of Dep, network, node, network, user and name, one line a membership; k is the digit of its kind
// for the primary collective, of its kind + 2 for another one. A server's file has the memberships
// at the server, for each user and each Dep the first one.

#include "core/entry.h"
#include "core/find.h"
#include "generate/directories/directory_files.h"
#include "generate/file_names.h"
#include "generate/output_cache.h"

#include <map>
#include <utility>

namespace ncc {
namespace {

// Calls visit(entry, membership) for the memberships of a user, in stored order.
template <class Visit>
void ForEachMembership(const CHDBRecord& user, Visit visit) {
  for (auto at = user.Pairs().First(); at != kNoPosition; at = user.Pairs().Next(at))
    visit(user.Pairs().At(at));
}

void AppendLine(std::string& text, const std::string& network, const CABEntry& user,
                const PairValue& membership, Reasons* why) {
  const std::size_t start = text.size();
  const bool primary =
      membership.first == user.primary.dep && membership.second == user.primary.node;
  text += "000";
  text += static_cast<char>('0' + membership.kind + (primary ? 0 : 2));
  text += ' ';
  AppendHex4(text, membership.first);
  text += ' ';
  text += network;
  AppendHex4(text, membership.second);
  text += "0 ";
  text += network;
  AppendHex4(text, user.id);
  text += ' ';
  text += user.name;
  text += '\n';
  if (why == nullptr) return;
  ReasonList reasons = {{CReason::kMembership, user.id, membership.first, membership.second}};
  if (why->reader != 0) reasons.insert(reasons.begin(), {CReason::kFileOf, why->reader});
  if (primary) reasons.push_back({CReason::kPrimary, user.id, membership.first, membership.second});
  why->Add(std::string_view(text).substr(start), reasons);
}

}  // namespace

std::string ComposeAllUsers(const NetState& net, Reasons* why) {
  const std::string network = Hex4(net.prefs.net_number);
  std::string text;
  for (const std::uint32_t number : NumbersOf(net, kTypeAB)) {
    const CHDBRecord& record = *net.base->FindRecord(number);
    if (record.Pairs().Size() == 0) continue;
    const CABEntry user = EntryOf<CABEntry>(record);
    ForEachMembership(record, [&](const PairValue& membership) {
      AppendLine(text, network, user, membership, why);
    });
  }
  return WithLineEnds(text);
}

// Of each user, by ascending identifier, the first membership of each Dep at the server, the Deps
// ascending.
std::string ComposeUsersAt(NetState& net, std::uint32_t server, Reasons* why) {
  const std::string network = Hex4(net.prefs.net_number);
  std::string text;
  for (const std::uint32_t number : OutputCache::Of(net).MembersAt(net, server)) {
    const CHDBRecord& record = *net.base->FindRecord(number);
    std::map<std::uint32_t, PairValue> first_of_dep;
    ForEachMembership(record, [&](const PairValue& membership) {
      if (membership.second == server) first_of_dep.emplace(membership.first, membership);
    });
    const CABEntry user = EntryOf<CABEntry>(record);
    for (const auto& [dep, membership] : first_of_dep) {
      if (FindObject(net, dep, kTypeDep) != nullptr)
        AppendLine(text, network, user, membership, why);
    }
  }
  return WithLineEnds(text);
}

void WriteApUsers(Generation& run, const std::string& folder, std::uint32_t ap) {
  NetState& net = run.Net();
  const auto make = [&] {
    SharedBytes users;
    if (auto kept = KeptBytes(net, kApUsers, folder)) {
      users = std::move(*kept);
    } else {
      users.bytes = ComposeAllUsers(net);
    }
    return users;
  };
  WriteShared(net, kApUsers.Path(net, folder, ap), ap, OutputCache::Of(net).UserDirectory(make));
}

void WriteServerUsers(Generation& run, const std::string& folder, std::uint32_t server) {
  NetState& net = run.Net();
  WriteStamped(net, kServerUsers.Path(net, folder, server), server, ComposeUsersAt(net, server));
}

}  // namespace ncc
