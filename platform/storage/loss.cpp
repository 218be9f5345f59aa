#include "platform/storage/loss.h"

namespace ncc {
namespace {

bool IsOlderThan(const Acknowledged& last, const StoredState& state) {
  return state.revision < last.revision ||
         (state.revision == last.revision && state.unit != last.unit);
}

}  // namespace

std::string FindLoss(const DatabaseFiles& files, const LogFile& log, const MetaRow& meta,
                     const std::optional<Acknowledged>& left) {
  // An owner marks the data file once the log has a head, and takes the mark away before the log.
  const bool log_lost = meta.open && !log.HasHead();
  const bool older =
      left && left->inode == IdOf(files.data).inode && IsOlderThan(*left, meta.state);
  if (!log.HasGap() && !log_lost && !older) return {};
  const char* const what = log.IsEmpty() ? " is missing" : " is damaged";
  return "the log " + files.log + what + ": the last changes after revision " +
         std::to_string(meta.state.revision) + " may be lost";
}

}  // namespace ncc
