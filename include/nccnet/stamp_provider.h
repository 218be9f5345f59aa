/// \file
/// The component that makes the authentication stamps of files.
#pragma once

#include "nccnet/export.h"

#include <cstddef>
#include <cstdint>
#include <memory>

/// A stamp is a 32-bit message authentication code of a whole file under the network's fixed key.
/// An application whose nodes check other stamps derives from this class. Members are called from
/// every thread that generates, several at a time; they report failure by their results.
class NCC_API CStampProvider {
 public:
  virtual ~CStampProvider();

  /// Fills the 32 bytes with the stamping key. The caller wipes them after use.
  /// \return false when there is no key; every stamp is 0 then
  virtual bool GetFixedKey(unsigned char key[32]) = 0;

  /// Stamps the file at `path` (either separator).
  /// \return 0 for success
  virtual int FindFileImito(const char* path, const unsigned char key[32],
                            std::uint32_t& stamp) = 0;

  /// Stamps bytes in memory, with the value that a file of these bytes has.
  /// \return false when that is not possible (as here): files are stamped by their paths then
  virtual bool FindImito(const void* data, std::size_t size, const unsigned char key[32],
                         std::uint32_t& stamp);
};

/// The provider of this library: the 32-bit MAC of RFC 5830, its four bytes read little-endian. The
/// key is read at each use from `key_file`: 32 bytes, a file that nobody but its owner can read. A
/// file that is missing, of another length or readable by others gives no key.
/// \throws std::bad_alloc
NCC_API std::shared_ptr<CStampProvider> MakeStampProvider(const char* key_file);

/// Puts a provider in force for the whole process. Null brings back the one of the start, whose key
/// file is named by the environment variable NCCNET_STAMP_KEY at each use. Takes no object lock.
NCC_API void SetStampProvider(std::shared_ptr<CStampProvider> provider);
