#include "core/last_error.h"

#include "platform/storage/engine.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <new>

namespace ncc {
namespace {

constinit thread_local std::array<char, 512> text_of_thread{};
constinit thread_local NCCFailure kind_of_thread = NCCFailure::kNone;

}  // namespace

void SetLastError(std::string_view text, NCCFailure kind) noexcept {
  kind_of_thread = kind;
  const std::size_t room = text_of_thread.size() - 1;
  if (text.size() <= room) {
    *std::copy(text.begin(), text.end(), text_of_thread.begin()) = '\0';
    return;
  }
  // What went wrong stands at the end, behind what may be a long path.
  constexpr std::string_view kGap = " ... ";
  const std::size_t head = room / 4;
  const std::size_t tail = room - head - kGap.size();
  auto at = std::copy_n(text.begin(), head, text_of_thread.begin());
  at = std::copy(kGap.begin(), kGap.end(), at);
  *std::copy(text.end() - static_cast<std::ptrdiff_t>(tail), text.end(), at) = '\0';
}

void SetLastErrorToCaught() {
  try {
    throw;
  } catch (const CallbackFailure&) {
    throw;
  } catch (const std::bad_alloc&) {
    SetLastError("out of memory");
  } catch (const StorageError& error) {
    SetLastError(error.what(), error.Kind());
  } catch (const std::exception& error) {
    SetLastError(error.what());
  }
}

void ClearLastError() noexcept {
  kind_of_thread = NCCFailure::kNone;
  text_of_thread[0] = '\0';
}

const char* LastErrorText() noexcept { return text_of_thread.data(); }

}  // namespace ncc

NCCFailure LastFailure() { return ncc::kind_of_thread; }
