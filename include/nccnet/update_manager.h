/// \file
/// The journal of generated files and the copying of changed ones into the distributed folders.
#pragma once

#include "nccnet/export.h"

#include <cstdint>
#include <list>
#include <string>

/// Keeps the journal "newfiles.dat" of the current directory: records of 17 bytes, each a file name
/// of 13 bytes (base name cut to 8, extension to 4, padded with zeros) and the file's stamp (32
/// bits, little-endian). Later records of a name are the newer ones. Every failure is silent. Not
/// thread-safe: the CNCCNet that owns a manager calls Write under its object lock.
class NCC_API CUpdateManager {
  friend class CNCCNet;

 public:
  CUpdateManager();
  virtual ~CUpdateManager();
  CUpdateManager(const CUpdateManager&);
  CUpdateManager& operator=(const CUpdateManager&);

  /// Reads the journal in place of the records read before.
  /// \return 1; 0 when it cannot be opened, with no records. The records end in one more than the
  ///   journal has, with what the last one left (an empty name and 0 for an empty journal).
  int Read();
  /// Stamps the file and appends its record to the journal, while the journal is being written.
  /// \return 1; 0 when it is not
  int Write(const char* path);
  /// \return 0
  int SetUpdateAb();
  /// Reads the journal and copies the files that belong to each name that is new, or whose value
  /// changed, since the last reading: of an AP from "NEW\APDB\" to "APDB\", of a server from
  /// "NEW\MAP\" to "MAP\", of a user from "NEW\ABN\" to "ABN\", and single files from "NEW\" into
  /// the export or the DB folder, all relative to the current directory.
  void CheckCRC();
  /// Deletes the journal.
  void Clear();

  /// Whether Write writes; on at start.
  void WriteCRC(bool write);
  bool WriteCRC();

  /// The folders of single files; null at start. The texts are kept by pointer, not copied.
  void SetExportFolder(const char* folder);
  void SetDBFolder(const char* folder);
  const char* GetExportFolder();
  const char* GetDBFolder();

 private:
  struct Record {
    std::string name;
    std::uint32_t value;
  };

  // Follows a text that may move, until SetExportFolder.
  void FollowExportFolder(const std::string* text);
  unsigned long GetImito(const char* path);
  void WriteImito(unsigned long value, const char* path);
  void CopyFileA(const char* name);
  void CopyOneFile(const char* format, const char* from, const char* to, const char* x);
  void CopyOneFile(const char* format, const char* from, const char* to, int x);

  std::list<Record> records_;
  unsigned long count_ = 0;
  bool write_journal_ = true;
  const char* export_folder_ = nullptr;
  const std::string* export_text_ = nullptr;  // where it is the text of another object
  const char* db_folder_ = nullptr;
  bool checked_ = true;
};
