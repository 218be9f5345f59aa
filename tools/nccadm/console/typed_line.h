// A line of words as a shell takes it apart, and what to type for a word.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ncc::tool {

struct TypedLine {
  std::vector<std::string> words;
  bool ends_in_word = false;    // what is typed next goes on with the last word
  bool ends_in_remark = false;  // or with a remark
  bool ends_in_escape = false;  // or is taken as it is, behind a backslash
  char quote = '\0';            // the one that does not end
  // Where a shell that also parts words at `breaks` begins the last part; behind an open quote.
  std::size_t last_part = 0;

  // The last word when the line ends in it, so far.
  std::string Typed() const { return ends_in_word ? words.back() : std::string(); }
};

// Blanks, quotes, a backslash, # for a remark.
TypedLine TakeApart(std::string_view line, std::string_view breaks = {});

// The words of a whole line. Throws Failure when a quote does not end.
std::vector<std::string> WordsOf(std::string_view line);

// What is to be typed for `text` behind an open quote or, when there is none, as a part of a word.
std::string Escaped(std::string_view text, char quote);

}  // namespace ncc::tool
