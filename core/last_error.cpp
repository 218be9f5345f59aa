#include "core/last_error.h"

#include <algorithm>
#include <array>

namespace ncc {
namespace {

constinit thread_local std::array<char, 512> text_of_thread{};

}  // namespace

void SetLastError(std::string_view text) noexcept {
  const std::size_t length = std::min(text.size(), text_of_thread.size() - 1);
  std::copy_n(text.data(), length, text_of_thread.data());
  text_of_thread[length] = '\0';
}

void ClearLastError() noexcept { text_of_thread[0] = '\0'; }

const char* LastErrorText() noexcept { return text_of_thread.data(); }

}  // namespace ncc
