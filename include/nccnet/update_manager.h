/// \file
/// The journal of generated files and the copying of changed ones into the distributed folders.
#pragma once

#include "nccnet/export.h"

#include <cstdint>
#include <list>
#include <string>

/// What a CheckCRC did with the files that belong to the names in the journal.
struct CCopyReport {
  struct Failure {
    std::string file;  ///< what was to be written, or the journal
    std::string reason;
  };

  std::list<std::string> copied;    ///< the files that were put in place
  std::list<std::string> missing;   ///< files of such a name that are in no staging folder
  std::list<std::string> unplaced;  ///< names of unknown files, or whose folder is not set
  std::list<Failure> failed;
};

/// Keeps the journal "newfiles.dat" of the current directory: records of 17 bytes, each a file name
/// of 13 bytes (base name cut to 8, extension to 4, padded with zeros) and the file's stamp (32
/// bits, little-endian). Later records of a name are the newer ones. Only a plain file is read or
/// appended to, and none is appended to through a symbolic link. No file of an AP, a server or a
/// user is copied into a folder that is a symbolic link.
///
/// Failures show in no result but that of CheckCRC with a report; CNCCNet::LastError has the first
/// one of the last call. Nothing is thrown, but std::bad_alloc by copying a manager. Not
/// thread-safe: the CNCCNet that owns a manager calls Write under its object lock.
class NCC_API CUpdateManager {
  friend class CNCCNet;

 public:
  CUpdateManager();
  virtual ~CUpdateManager();
  /// A copy takes the records and the flags; its folders are unset. Assignment leaves the folders
  /// of the target as they were.
  CUpdateManager(const CUpdateManager& other);
  CUpdateManager& operator=(const CUpdateManager& other);

  /// Reads the journal in place of the records read before.
  /// \return 1; 0 when it cannot be read, with no records. The records end in one more than the
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
  /// The same, telling what became of each file. \return whether nothing failed; false without a
  ///   failure in the report for want of memory, when nothing counts as known to the next one
  bool CheckCRC(CCopyReport& report);
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
  // Reads the journal; false when there is none. Throws FileError when it cannot be read.
  bool ReadRecords();
  void CopyChanged();
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
  CCopyReport* report_ = nullptr;  // of the running CheckCRC
};
