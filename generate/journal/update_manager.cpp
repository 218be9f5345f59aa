// The journal "newfiles.dat" and the distribution of what changed.
//
// A record: 13 bytes "%.8s%.4s" of base name and extension, padded with zeros; the stamp, u32
// little-endian.

#include "nccnet/update_manager.h"

#include "core/last_error.h"
#include "platform/disk/files.h"
#include "platform/disk/journal_file.h"
#include "platform/stamps/stamps.h"
#include "platform/text/ascii_fold.h"
#include "platform/text/bytes.h"

#include <array>
#include <cstdio>
#include <map>
#include <string_view>
#include <utility>

using namespace ncc;

namespace {

constexpr char kJournal[] = "newfiles.dat";
constexpr std::size_t kNameSize = 13;
constexpr std::size_t kRecordSize = kNameSize + 4;

// The files of one staging folder that belong to a journal name; each format takes the folder and
// the node.
constexpr const char* kDirectoryFormats[] = {"%sapn%s.txt", "%sapn%s.crg", "%sapn%s.crc",
                                             "%sapa%s.txt", "%sapc%s.txt", "%sapl%s.txt"};
constexpr const char* kMapFormats[] = {"%snode%d.map", "%snode%d.reg", "%snode%d.xnw",
                                       "%snode%d.tun"};

constexpr char kSingleFilesFolder[] = "NEW\\";
enum class SingleFileFolder { kExport, kDatabase };
struct SingleFile {
  const char* name;
  SingleFileFolder folder;
};
constexpr SingleFile kSingleFiles[] = {
    {"ABONAME.TXT", SingleFileFolder::kExport},  {"ABONAMEE.TXT", SingleFileFolder::kExport},
    {"CCC_KC.TXT", SingleFileFolder::kExport},   {"ABN_AP.TXT", SingleFileFolder::kExport},
    {"NODENAME.DOC", SingleFileFolder::kExport}, {"NMATRIX.DAT", SingleFileFolder::kExport},
    {"EXTNET.DOC", SingleFileFolder::kDatabase}, {"IPKELADR.DOC", SingleFileFolder::kDatabase}};

std::string JournalName(std::string_view path) {
  const std::string_view file = FileName(path);
  const auto dot = file.rfind('.');
  const std::string_view base = file.substr(0, dot);
  const std::string_view extension =
      dot == std::string_view::npos ? std::string_view() : file.substr(dot);
  return std::string(base.substr(0, 8)) + std::string(extension.substr(0, 4));
}

// A path format with its two places, folder and node, filled.
std::string Fill(std::string_view format, std::string_view folder, std::string_view node) {
  std::string path(folder);
  const auto place = format.find('%', 1);
  path.append(format.substr(2, place - 2)).append(node);
  return path.append(format.substr(place + 2));
}

}  // namespace

void CUpdateManager::Clear() {
  Attempt([] { RemoveJournal(kJournal); });
}

int CUpdateManager::Write(const char* path) {
  if (!write_journal_) return 0;
  Attempt([&] {
    if (path == nullptr) return;
    std::optional<FileError> failure;
    unsigned long value = 0;
    try {
      value = GetImito(path);
    } catch (const FileError& error) {
      failure = error;
    }
    WriteImito(value, path);  // with 0 the file still counts as changed
    if (failure) throw FileError(*failure);
  });
  return 1;
}

unsigned long CUpdateManager::GetImito(const char* path) { return StampKey().OfFile(path); }

void CUpdateManager::WriteImito(unsigned long value, const char* path) {
  std::string record = JournalName(path);
  record.resize(kNameSize);
  AppendU32(record, static_cast<std::uint32_t>(value));
  AppendToJournal(kJournal, record);
}

int CUpdateManager::Read() {
  bool found = false;
  const bool read = Attempt([&] { found = ReadRecords(); });
  if (read && found) return 1;
  if (read) SetLastError("there is no journal newfiles.dat");
  return 0;
}

bool CUpdateManager::ReadRecords() {
  records_.clear();
  count_ = 0;
  const std::optional<std::string> journal = ReadJournal(kJournal);
  if (!journal) return false;
  std::list<Record> records;
  // The end shows only in a read that fails, and that one makes a record too, of what the record
  // before it left: the readers of the list count on it.
  Record record{"", 0};
  for (std::size_t at = 0;; at += kRecordSize) {
    const std::string_view rest = std::string_view(*journal).substr(std::min(at, journal->size()));
    if (rest.size() >= kNameSize) {
      record.name = rest.substr(0, std::min(rest.find('\0'), kNameSize));
    }
    if (rest.size() >= kRecordSize) record.value = U32At(rest, kNameSize);
    records.push_back(record);
    if (rest.size() < kRecordSize) break;
  }
  records_.swap(records);
  count_ = records_.size();
  return true;
}

void CUpdateManager::CheckCRC() {
  CCopyReport report;
  CheckCRC(report);
}

bool CUpdateManager::CheckCRC(CCopyReport& report) {
  report = {};
  report_ = &report;
  const bool done = Attempt([this] { CopyChanged(); });
  report_ = nullptr;
  checked_ = true;
  if (!done) {  // what was not looked at is new to the next check
    records_.clear();
    count_ = 0;
  } else if (!report.failed.empty()) {
    SetLastError(report.failed.front().reason);
  }
  return done && report.failed.empty();
}

void CUpdateManager::CopyChanged() {
  std::map<std::string, std::uint32_t> known;
  for (const Record& record : records_) known[record.name] = record.value;
  try {
    ReadRecords();
  } catch (const FileError& error) {
    report_->failed.push_back({kJournal, error.what()});
    return;
  }
  std::map<std::string, std::uint32_t> last;
  for (const Record& record : records_) last[record.name] = record.value;
  for (const auto& [name, value] : last) {
    const auto before = known.find(name);
    if (before == known.end() || before->second != value) CopyFileA(name.c_str());
  }
}

void CUpdateManager::CopyFileA(const char* name) {
  if (FileName(name) != name) {  // no name of ours
    report_->unplaced.emplace_back(name);
    return;
  }
  std::array<char, 5> code{};
  int number = 0;
  if (std::sscanf(name, "apn%4s", code.data()) == 1) {
    for (const char* format : kDirectoryFormats)
      CopyOneFile(format, "NEW\\APDB\\", "APDB\\", code.data());
    return;
  }
  if (std::sscanf(name, "node%d", &number) == 1) {
    for (const char* format : kMapFormats) CopyOneFile(format, "NEW\\MAP\\", "MAP\\", number);
    return;
  }
  for (const SingleFile& file : kSingleFiles) {
    if (!EqualFolded(name, file.name)) continue;
    const char* folder =
        file.folder == SingleFileFolder::kExport ? GetExportFolder() : GetDBFolder();
    if (folder != nullptr && *folder != '\0') {
      CopyOneFile("%s%s", kSingleFilesFolder, WithSeparator(folder).c_str(), file.name);
    } else {
      report_->unplaced.emplace_back(name);
    }
    return;
  }
  const std::string_view text(name);
  if (text.size() >= 4 && EqualFolded(text.substr(text.size() - 4), ".ABN")) {
    CopyOneFile("%s%s", "NEW\\ABN\\", "ABN\\", name);
  } else if (!text.empty()) {  // an empty journal has an empty name
    report_->unplaced.emplace_back(name);
  }
}

void CUpdateManager::CopyOneFile(const char* format, const char* from, const char* to,
                                 const char* x) {
  const std::string source = Fill(format, from, x);
  const std::string target = Fill(format, to, x);
  try {
    // The folders of single files are named by the caller, who may name a link.
    if (from != std::string_view(kSingleFilesFolder)) RefuseLinks(".\\", target);
    if (CopyWholeFile(source, target)) {
      report_->copied.push_back(target);
    } else {
      report_->missing.push_back(source);
    }
  } catch (const FileError& error) {
    report_->failed.push_back({target, error.what()});
  }
}

void CUpdateManager::CopyOneFile(const char* format, const char* from, const char* to, int x) {
  CopyOneFile(format, from, to, std::to_string(x).c_str());
}
