#include "exchange_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = TextOf(data, size);
  ncc::ImportedNet net;
  RequireFault(ncc::ReadGroupLinks(text, kNet, net), text);
  for (const auto& [group, members] : net.group_links) {
    for (const ncc::GroupMember& member : members) {
      const auto& groups = member.kind == ncc::kMemberNode ? net.groups_of_node : net.groups_of_dep;
      Require(!groups.ValuesOf(member.id).empty());
    }
  }
  return 0;
}
