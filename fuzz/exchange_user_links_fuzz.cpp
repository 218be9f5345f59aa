#include "exchange_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = TextOf(data, size);
  ncc::ImportedNet net;
  ReadSample(net);
  const ncc::ReadResult primaries = ncc::ReadPrimaries(text, kNet, net);
  const ncc::ReadResult links = ncc::ReadUserLinks(text, kNet, net);
  RequireFault(primaries, text);
  RequireFault(links, text);
  Require(primaries || !links);  // the first reading is the stricter one
  for (const auto& [user, memberships] : net.user_links) {
    for (const CColAb& membership : memberships) {
      Require(!net.users_of_dep.ValuesOf(membership.id.dep).empty());
      Require(!net.users_of_node.ValuesOf(membership.id.node).empty());
    }
  }
  return 0;
}
