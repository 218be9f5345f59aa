// Stamps of files, and the lists of stamps that go with a node's directory files: a line
// "NAME=STAMP\n" a file, the last one of the list itself as it stood before that line.

#include "generate/file_names.h"
#include "generate/forms.h"
#include "generate/output.h"

#include <algorithm>
#include <vector>

using namespace ncc;

namespace {

// Writes the list of these files, appends its own line, and reports it to the update manager.
void WriteStampList(NetState& net, const std::string& path, std::uint32_t node,
                    const std::vector<std::string>& files, FirstFailure& failure) {
  WriteFile(net, path, node, [&](OutputFile& list) {
    const StampKey key;
    for (const std::string& file : files)
      list.AppendText(StampLine(file, key.OfFile(ReadablePath(file))));
    list.AppendText(StampLine(path, StampSoFar(list, key)));
    list.Commit();
    RememberStampOf(list, key);
  });
  failure.Journal(net, path, node);
}

// 0, and the last error says why, when it cannot be stamped.
std::uint32_t StampOrZero(const char* path) noexcept {
  std::uint32_t stamp = 0;
  Attempt([&] { stamp = StampKey().OfFile(ReadablePath(path)); });
  return stamp;
}

}  // namespace

void CNCCNet::GetOnlyImito(const char* path, char* out) {
  if (out == nullptr) return;
  const std::string digits = StampDigits(path != nullptr ? StampOrZero(path) : 0);
  *std::copy(digits.begin(), digits.end(), out) = '\0';
}

void CNCCNet::GetImito(const char* path, char* out) {
  if (path == nullptr || out == nullptr) return;
  *PutStampLine(path, StampOrZero(path), out) = '\0';
}

bool CNCCNet::GenApnCrg(const char* folder, TDBObjId& ap) {
  NetState& net = *state_;
  FirstFailure failure;
  const bool written = Run(net, false, [&] {
    const std::string root = Prefix(folder);
    const std::uint32_t id = RecordOf(net, ap).Number();
    const std::string path = root + "R\\" + HexName("apn", id, ".crg");
    ReportingFailure(net, path, id, [&] { RefuseLinks(root, "R\\"); });
    WriteStampList(
        net, path, id,
        {root + "N\\" + HexName("apn", id, ".txt"), root + "U\\" + HexName("apu", id, ".txt"),
         root + "A\\" + HexName("apa", id, ".txt"), root + "L\\" + HexName("apl", id, ".txt"),
         root + "T\\" + HexName("node", id, ".tun")},
        failure);
    return true;
  });
  if (written) failure.Report();
  return written;
}

bool CNCCNet::GenMAPApnCrg(const char* folder, TDBObjId& server) {
  NetState& net = *state_;
  FirstFailure failure;
  const bool written = Run(net, false, [&] {
    const std::string map = Prefix(folder);
    const std::uint32_t id = RecordOf(net, server).Number();
    WriteStampList(net, map + HexName("apn", id, ".crg"), id,
                   {map + HexName("apn", id, ".txt"), map + HexName("apa", id, ".txt"),
                    map + ServerName(id, ".map"), map + ServerName(id, ".tun")},
                   failure);
    return true;
  });
  if (written) failure.Report();
  return written;
}
