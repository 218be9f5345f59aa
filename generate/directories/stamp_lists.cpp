// Stamps of files, and the lists of stamps that go with a node's directory files: a line
// "NAME=STAMP\n" a file, the last one of the list itself as it stood before that line.

#include "core/last_error.h"
#include "generate/directories/directory_files.h"
#include "generate/file_names.h"
#include "generate/output.h"

#include <algorithm>
#include <vector>

using namespace ncc;

namespace {

// Writes the list of these files, appends its own line, and enters it into the journal.
void WriteStampList(Generation& run, const std::string& path, std::uint32_t node,
                    const std::vector<std::string>& files) {
  WriteFile(run.Net(), path, node, [&](ComposedFile& list) {
    for (const std::string& file : files) list.AppendText(StampLine(file, list.StampOf(file)));
    list.AppendText(StampLine(path, list.StampSoFar()));
  });
  run.EnterIntoJournal(path, node);
}

// 0, and the last error says why, when it cannot be stamped.
std::uint32_t StampOrZero(const char* path) noexcept {
  std::uint32_t stamp = 0;
  Attempt([&] { stamp = StampKey().OfFile(path); });
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

namespace ncc {

void WriteApStampList(Generation& run, const std::string& folder, std::uint32_t ap) {
  const std::string path = folder + "R\\" + HexName("apn", ap, ".crg");
  ReportingFailure(run.Net(), path, ap, [&] { RefuseLinks(folder, "R\\"); });
  WriteStampList(
      run, path, ap,
      {folder + "N\\" + HexName("apn", ap, ".txt"), folder + "U\\" + HexName("apu", ap, ".txt"),
       folder + "A\\" + HexName("apa", ap, ".txt"), folder + "L\\" + HexName("apl", ap, ".txt"),
       folder + "T\\" + HexName("node", ap, ".tun")});
}

void WriteServerStampList(Generation& run, const std::string& folder, std::uint32_t server) {
  WriteStampList(run, folder + HexName("apn", server, ".crg"), server,
                 {folder + HexName("apn", server, ".txt"), folder + HexName("apa", server, ".txt"),
                  folder + ServerName(server, ".map"), folder + ServerName(server, ".tun")});
}

}  // namespace ncc
