#include "platform/token.h"

#include <sys/random.h>

#include <cerrno>
#include <system_error>

namespace ncc {

std::uint64_t DrawToken() {
  std::uint64_t token = 0;
  while (::getrandom(&token, sizeof token, 0) != sizeof token) {
    if (errno == EINTR) continue;
    throw std::system_error(errno, std::generic_category(), "cannot draw a random number");
  }
  return token;
}

}  // namespace ncc
