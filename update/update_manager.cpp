// The journal "newfiles.dat" and the distribution of what changed.
//
// A record: 13 bytes "%.8s%.4s" of base name and extension, padded with zeros; the stamp, u32
// little-endian.

#include "nccnet/update_manager.h"

#include "platform/ascii_fold.h"
#include "platform/journal_file.h"
#include "platform/stamps.h"

#include <array>
#include <cstdio>
#include <exception>
#include <map>
#include <string_view>

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

std::uint32_t LittleEndian(std::string_view bytes) {
  std::uint32_t value = 0;
  for (std::size_t i = 4; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[i]);
  return value;
}

// A path format with its two places, folder and node, filled.
std::string Fill(std::string_view format, std::string_view folder, std::string_view node) {
  std::string path(folder);
  const auto place = format.find('%', 1);
  path.append(format.substr(2, place - 2)).append(node);
  return path.append(format.substr(place + 2));
}

void CopyQuietly(const std::string& from, const std::string& to) {
  try {
    CopyWholeFile(from, to);
  } catch (const std::exception&) {
    // A file that is not staged, or cannot be put in place, is passed over.
  }
}

}  // namespace

CUpdateManager::CUpdateManager() = default;
CUpdateManager::~CUpdateManager() = default;
CUpdateManager::CUpdateManager(const CUpdateManager&) = default;
CUpdateManager& CUpdateManager::operator=(const CUpdateManager&) = default;

int CUpdateManager::SetUpdateAb() { return 0; }
void CUpdateManager::Clear() { RemoveJournal(kJournal); }
void CUpdateManager::WriteCRC(bool write) { write_journal_ = write; }
bool CUpdateManager::WriteCRC() { return write_journal_; }
void CUpdateManager::SetExportFolder(const char* folder) {
  export_folder_ = folder;
  export_text_ = nullptr;
}
void CUpdateManager::FollowExportFolder(const std::string* text) { export_text_ = text; }
void CUpdateManager::SetDBFolder(const char* folder) { db_folder_ = folder; }
const char* CUpdateManager::GetExportFolder() {
  return export_text_ != nullptr ? export_text_->c_str() : export_folder_;
}
const char* CUpdateManager::GetDBFolder() { return db_folder_; }

int CUpdateManager::Write(const char* path) {
  if (!write_journal_) return 0;
  if (path != nullptr) WriteImito(GetImito(path), path);
  return 1;
}

unsigned long CUpdateManager::GetImito(const char* path) {
  return StampKey().OfFile(ReadablePath(path));
}

void CUpdateManager::WriteImito(unsigned long value, const char* path) {
  std::string record = JournalName(path);
  record.resize(kNameSize);
  for (int shift = 0; shift < 32; shift += 8) record += static_cast<char>(value >> shift & 0xFF);
  AppendToJournal(kJournal, record);
}

int CUpdateManager::Read() {
  records_.clear();
  count_ = 0;
  const std::optional<std::string> journal = ReadJournal(kJournal);
  if (!journal) return 0;
  // The end shows only in a read that fails, and that one makes a record too, of what the record
  // before it left: the readers of the list count on it.
  Record record{"", 0};
  for (std::size_t at = 0;; at += kRecordSize) {
    const std::string_view rest = std::string_view(*journal).substr(std::min(at, journal->size()));
    if (rest.size() >= kNameSize) {
      record.name = rest.substr(0, std::min(rest.find('\0'), kNameSize));
    }
    if (rest.size() >= kRecordSize) record.value = LittleEndian(rest.substr(kNameSize));
    records_.push_back(record);
    ++count_;
    if (rest.size() < kRecordSize) return 1;
  }
}

void CUpdateManager::CheckCRC() {
  std::map<std::string, std::uint32_t> known;
  for (const Record& record : records_) known[record.name] = record.value;
  Read();
  std::map<std::string, std::uint32_t> last;
  for (const Record& record : records_) last[record.name] = record.value;
  for (const auto& [name, value] : last) {
    const auto before = known.find(name);
    if (before == known.end() || before->second != value) CopyFileA(name.c_str());
  }
  checked_ = true;
}

void CUpdateManager::CopyFileA(const char* name) {
  if (FileName(name) != name) return;  // no name of ours
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
    if (folder != nullptr && *folder != '\0')
      CopyOneFile("%s%s", "NEW\\", WithSeparator(folder).c_str(), file.name);
    return;
  }
  const std::string_view text(name);
  if (text.size() >= 4 && EqualFolded(text.substr(text.size() - 4), ".ABN"))
    CopyOneFile("%s%s", "NEW\\ABN\\", "ABN\\", name);
}

void CUpdateManager::CopyOneFile(const char* format, const char* from, const char* to,
                                 const char* x) {
  CopyQuietly(Fill(format, from, x), Fill(format, to, x));
}

void CUpdateManager::CopyOneFile(const char* format, const char* from, const char* to, int x) {
  CopyOneFile(format, from, to, std::to_string(x).c_str());
}
