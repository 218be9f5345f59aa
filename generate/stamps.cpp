// Stamps of files, and the lists of stamps that go with a node's directory files: a line
// "NAME=STAMP\n" a file, the last one of the list itself as it stood before that line.

#include "generate/file_names.h"
#include "generate/forms.h"
#include "generate/output.h"

#include <vector>

using namespace ncc;

namespace {

// Writes the list of these files, appends its own line, and reports it to the update manager.
void WriteStampList(NetState& net, const std::string& path, std::uint32_t node,
                    const std::vector<std::string>& files, FirstFailure& failure) {
  WriteFile(net, path, node, [&](OutputFile& list) {
    const StampKey key;
    for (const std::string& file : files) list.AppendText(StampLine(file, key.OfFile(file)));
    list.AppendText(StampLine(path, StampSoFar(list, key)));
    list.Commit();
    RememberStampOf(list, key);
  });
  failure.Journal(net, path, node);
}

std::string Line(const char* path) {
  return StampLine(path, StampKey().OfFile(ReadablePath(path)));
}

}  // namespace

void CNCCNet::GetOnlyImito(const char* path, char* out) {
  if (out == nullptr) return;
  const std::string digits =
      StampDigits(path != nullptr ? StampKey().OfFile(ReadablePath(path)) : 0);
  digits.copy(out, digits.size());
  out[digits.size()] = '\0';
}

void CNCCNet::GetImito(const char* path, char* out) {
  if (path == nullptr || out == nullptr) return;
  const std::string line = Line(path);
  line.copy(out, line.size());
  out[line.size()] = '\0';
}

bool CNCCNet::GenApnCrg(const char* folder, TDBObjId& ap) {
  NetState& net = *state_;
  FirstFailure failure;
  const bool written = Run(net, false, [&] {
    const std::string root = Prefix(folder);
    const std::uint32_t id = RecordOf(net, ap).Number();
    WriteStampList(
        net, root + "R\\" + HexName("apn", id, ".crg"), id,
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
