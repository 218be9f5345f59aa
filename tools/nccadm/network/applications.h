// The names of the applications and the bits that they stand for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ncc::tool {

class Applications {
 public:
  // Name number k, counted from 0, belongs to bit k.
  explicit Applications(std::vector<std::string> names) : names_(std::move(names)) {}

  const std::vector<std::string>& Names() const { return names_; }

  // The names of a mask's bits; what has no name comes last, as one hexadecimal number.
  std::vector<std::string> NamesOf(std::uint32_t mask) const;
  // The same as one text: "NCC,MAIL", "none".
  std::string TextOf(std::uint32_t mask) const;

  // The bits of a name (letter case ignored) or of a number.
  std::optional<std::uint32_t> Parse(std::string_view text) const;

  // Why Parse refused the text, with a near name where there is one.
  std::string Complain(std::string_view text) const;

  // All texts together. Throws Failure for the first that is no application.
  std::uint32_t ParseAll(const std::vector<std::string>& texts) const;

 private:
  std::vector<std::string> names_;
};

}  // namespace ncc::tool
