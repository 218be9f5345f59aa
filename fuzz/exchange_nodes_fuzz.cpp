#include "exchange_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = TextOf(data, size);
  ncc::ImportedNet net;
  const ncc::ReadResult result = ncc::ReadNodes(text, kNet, net);
  RequireFault(result, text);
  net.LinkServers();
  RequireRecords(net.servers);
  RequireRecords(net.aps);
  RequireRecords(net.groups);
  Require(result || net.nodes.Size() == net.servers.Size() + net.aps.Size());
  return 0;
}
