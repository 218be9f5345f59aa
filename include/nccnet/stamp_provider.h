/// \file
/// The component that makes the authentication stamps of files.
#pragma once

#include "nccnet/export.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

/// A stamp is a 32-bit message authentication code of a whole file under the network's fixed key.
/// An application whose nodes check other stamps derives from this class. Members are called from
/// every thread that generates, several at a time; they report failure by their results.
class NCC_API CStampProvider {
 public:
  virtual ~CStampProvider();

  /// Fills the 32 bytes with the stamping key. The caller wipes them after use.
  /// \return false when there is no key; every stamp is 0 then
  virtual bool GetFixedKey(unsigned char key[32]) = 0;

  /// Stamps the file at `path` (either separator), which is there.
  /// \return 0 for success, else an error number of the system: what needs the stamp fails
  virtual int FindFileImito(const char* path, const unsigned char key[32],
                            std::uint32_t& stamp) = 0;

  /// Stamps bytes in memory, with the value that a file of these bytes has.
  /// \return false when that is not possible (as here): files are stamped by their paths then
  virtual bool FindImito(const void* data, std::size_t size, const unsigned char key[32],
                         std::uint32_t& stamp);

  /// GetFixedKey for the library's own use, which tells no key from one that cannot be had: a false
  /// that leaves a text in `problem` makes what needs a stamp fail with that text; one that leaves
  /// it empty makes every stamp 0, as all do in the default body. What a member throws is a problem
  /// too.
  virtual bool FetchKey(unsigned char key[32], std::string& problem);
};

/// The provider of this library: the 32-bit MAC of RFC 5830, its four bytes read little-endian. The
/// key is read at each use from `key_file`: 32 bytes, a plain file of one name that belongs to the
/// user of the process and is open to nobody else. Any other one is a problem (FetchKey), as is one
/// that is missing. Null or an empty text stands for what NCCNET_STAMP_KEY names; while that names
/// nothing there is no key.
/// \throws std::bad_alloc
NCC_API std::shared_ptr<CStampProvider> MakeStampProvider(const char* key_file);

/// Puts a provider in force for the whole process. Null brings back the one of the start, whose key
/// file is named by the environment variable NCCNET_STAMP_KEY at each use. Takes no object lock.
NCC_API void SetStampProvider(std::shared_ptr<CStampProvider> provider);
