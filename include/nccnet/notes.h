/// \file
/// Notes: texts that an application keeps with an object, stored with it and gone with it. No
/// record and no generated file shows them.
#pragma once

#include <cstddef>

/// Bounds, in bytes of UTF-8, and of the notes of one object.
inline constexpr std::size_t kMaxNoteKey = 64;
inline constexpr std::size_t kMaxNoteValue = 4096;
inline constexpr std::size_t kMaxNotes = 32;
