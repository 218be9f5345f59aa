/// \file
/// How generated files get onto the disk, and who is told about it.
#pragma once

#include "nccnet/export.h"

#include <cstdint>

/// What became of one file that a generator had to write, or of a folder that it could not use.
struct CFileEvent {
  const char* path;     ///< as the generator built it; valid during the call
  unsigned long node;   ///< the node or user that the file is for; 0 for one of the whole network
  std::uint64_t bytes;  ///< its length; 0 for a failure
  bool shared;          ///< its bytes are stored together with those of another file
  const char* failure;  ///< why that could not be done; null when it was
  bool kept = false;    ///< it had its bytes already and was not written (see changed_files.h)
};

/// Whether generated files with identical bytes, of 64 KiB or more, may share their storage (a
/// copy-on-write clone, else a hard link). On at start; for the whole process. Take it off where
/// programs write into the generated files instead of replacing them.
NCC_API void SetShareIdenticalFiles(bool share);

/// Line end of generated text files, for the whole process: "\r\n" (at start) or "\n". Not while
/// files are being generated.
/// \return false for any other text, which changes nothing
NCC_API bool SetTextLineEnd(const char* line_end);
