#include "exchange/set_files.h"

#include "platform/disk/folder_lock.h"
#include "platform/disk/output_file.h"
#include "platform/disk/paths.h"

#include <algorithm>
#include <utility>

namespace ncc {
namespace {

constexpr std::string_view kNewSuffix = ".nccnet-new";

std::string PlaceOf(const std::string& folder, ExchangeFile file, unsigned long net) {
  return NativePath(folder + ExchangeFileName(file, net));
}

std::string NewName(const std::string& path) { return path + std::string(kNewSuffix); }

bool IsDecided(const std::string& folder, unsigned long net) {
  return IdentifyFile(NewName(PlaceOf(folder, ExchangeFile::kGate, net))).has_value();
}

void DiscardNew(const std::string& folder, unsigned long net) noexcept {
  for (const ExchangeFile file : kExchangeFiles) DiscardFile(NewName(PlaceOf(folder, file, net)));
}

// Moves the files of a set that was decided to their names.
void MoveSet(const std::string& folder, unsigned long net) {
  const std::string gate = PlaceOf(folder, ExchangeFile::kGate, net);
  DiscardFile(gate);  // who knows nothing of the new names shall find no set rather than a mixture
  for (const ExchangeFile file : kExchangeFiles) {
    const std::string path = PlaceOf(folder, file, net);
    if (file != ExchangeFile::kGate && IdentifyFile(NewName(path))) RenameFile(NewName(path), path);
  }
  RenameFile(NewName(gate), gate);
}

// Writes the files under their new names, the gateway file last; removes them again when that
// fails.
void WriteNew(const std::string& folder, unsigned long net,
              const std::array<ExchangeText, 8>& texts) {
  try {
    for (const ExchangeText& text : texts) RequireReplaceable(PlaceOf(folder, text.file, net));
    for (const ExchangeText& text : texts) {
      OutputFile file(NewName(PlaceOf(folder, text.file, net)));
      file.AppendText(text.text);
      file.Commit();
    }
  } catch (...) {
    DiscardNew(folder, net);
    throw;
  }
}

}  // namespace

void PublishSet(const std::string& folder, unsigned long net,
                const std::array<ExchangeText, 8>& texts) {
  MakeFolders(folder);
  const FolderLock lock(NativePath(folder));
  if (IsDecided(folder, net)) {
    MoveSet(folder, net);
  } else {
    DiscardNew(folder, net);
  }
  WriteNew(folder, net, texts);
  MoveSet(folder, net);
}

std::optional<FileText> ReadSetFile(const std::string& folder, ExchangeFile file,
                                    unsigned long net) {
  const std::string path = PlaceOf(folder, file, net);
  if (IsDecided(folder, net)) {
    if (auto text = ReadWholeFile(NewName(path))) return text;
    if (IdentifyFile(NewName(path))) return std::nullopt;  // and not one of the set before
  }
  return ReadWholeFile(path);
}

std::vector<std::string> GateFileNames(std::string_view folder) {
  std::vector<std::string> names;
  std::vector<std::string> decided;
  for (std::string& name : FolderEntries(folder)) {
    const bool is_new = name.ends_with(kNewSuffix);
    if (is_new) name.resize(name.size() - kNewSuffix.size());
    if (LooksLikeGateFile(name)) (is_new ? decided : names).push_back(std::move(name));
  }
  for (std::string& name : decided) {
    if (std::find(names.begin(), names.end(), name) == names.end())
      names.push_back(std::move(name));
  }
  return names;
}

SetState StateOfSet(const std::string& folder, unsigned long net) {
  const std::string gate = PlaceOf(folder, ExchangeFile::kGate, net);
  if (const auto decided = IdentifyFile(NewName(gate))) return {true, decided};
  return {false, IdentifyFile(ReadablePath(gate))};
}

}  // namespace ncc
