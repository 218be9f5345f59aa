#include "platform/disk/paths.h"

#include <algorithm>

namespace ncc {

std::string NativePath(std::string_view path) {
  std::string native(path);
  std::replace(native.begin(), native.end(), '\\', '/');
  return native;
}

}  // namespace ncc
