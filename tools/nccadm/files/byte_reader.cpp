#include "files/byte_reader.h"

#include <fmt/format.h>

#include "console/failure.h"

namespace ncc::tool {

std::uint32_t ByteReader::Number(std::size_t size) {
  const std::string_view bytes = Next(size);
  std::uint32_t number = 0;
  for (std::size_t i = size; i-- > 0;) number = number << 8 | static_cast<unsigned char>(bytes[i]);
  return number;
}

std::string_view ByteReader::Next(std::size_t size) {
  if (size > Left()) {
    Fail(at_, fmt::format("{} bytes should follow, {} do", size, Left()));
  }
  at_ += size;
  return bytes_.substr(at_ - size, size);
}

void ByteReader::Fail(std::size_t at, const std::string& what) const {
  throw Failure(fmt::format("{} is damaged at byte {}: {}", file_, at, what));
}

}  // namespace ncc::tool
