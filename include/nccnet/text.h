/// \file
/// Names between code page 1251, in which the library stores and writes them, and UTF-8.
#pragma once

#include "nccnet/export.h"
#include "nccnet/records.h"

#include <optional>
#include <string>
#include <string_view>

/// How the caller of a CNCCNet writes names; see CNCCNet::SetTextEncoding.
enum class CTextEncoding { kCp1251, kUtf8 };

// The code page is the one of the system's iconv. Both ways nothing is replaced or guessed, and
// what one direction gives the other takes back: the byte 0x98, to which the code page gives no
// character, is U+0098.

/// The text in UTF-8, up to three times as long. Any bytes are text.
/// \throws std::bad_alloc, std::runtime_error when the system's iconv lacks the code page
NCC_API std::string Utf8FromCp1251(std::string_view bytes);

/// The text in code page 1251, a byte for each character. Nothing when it is not UTF-8 (overlong
/// forms and surrogates are not) or has a character that the code page lacks.
/// \throws as Utf8FromCp1251
NCC_API std::optional<std::string> Cp1251FromUtf8(std::string_view utf8);

/// A record's name in UTF-8. The record's own field is too small for it: 51 letters of an alphabet
/// other than the Latin one take 102 bytes and more.
/// \throws as Utf8FromCp1251
NCC_API std::string Utf8NameOf(const CNCCEntry& entry);
