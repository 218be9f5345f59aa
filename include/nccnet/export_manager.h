/// \file
/// The description of the own network for one partner network.
#pragma once

#include "nccnet/export.h"
#include "nccnet/import_net.h"
#include "nccnet/netdb.h"

#include <cstdint>
#include <memory>
#include <string>

/// Keeps a view of what is to be exported, in the folder ".\DB\EXPORT\<partner>\", which the client
/// edits before it runs the export. The steps that write files do nothing here: a class derived
/// from this one gives them their work. WriteExchangeSet writes a whole set without them.
///
/// Copies share the view.
class NCC_API _CExportManager {
 public:
  /// The view; lives as long as the last copy of the manager.
  const CImportNet* GetNetInfo() const;

  /// Sets the view's gateway; a name beyond 51 bytes is cut. \return 0
  int SetGateInfo(unsigned long first, unsigned long second, const char* name);

  /// Append a copy to the view's list, also behind a record with the same identifier. \return 0
  int AddAp(const CNNEntry& ap);
  int AddSrv(const CNNEntry& server);
  int AddDep(const CDepEntry& dep);
  /// Remove nothing. \return 0
  int DelAp(const CNNEntry& ap);
  int DelSrv(const CNNEntry& server);
  int DelDep(const CDepEntry& dep);

  /// Runs the preparation and the steps AN, BC, EN, GL, IP, NG, NN, TU, UC, UL, UN, GT up to the
  /// first result that is not 0; then puts the files of the export folder, alone, into
  /// ".\EXPORT\<own network>\"; a symbolic link in that path is refused. \return that result; 4
  /// when the files cannot be put there
  int CreateExport();

 protected:
  /// Makes the last level of the export folder and the partner's folder in it where they are
  /// missing, and loads the own network's set from there if there is one.
  /// \throws std::runtime_error "_CExportManager : Net must not be NULL", "Export dir doesn't exist
  ///   and cannot be created" or "ExportInfo class cannot be created"
  _CExportManager(CNCCNet* net, unsigned long partner);
  virtual ~_CExportManager();
  _CExportManager(const _CExportManager&);
  _CExportManager& operator=(const _CExportManager&);

  /// Empties the view's tables of links. \return 0
  virtual int PrepareEntryForExport();
  /// \return 115
  virtual int PrepareFile_AN();
  virtual int PrepareFile_BC();
  virtual int PrepareFile_EN();
  virtual int PrepareFile_GL();
  virtual int PrepareFile_IP();
  virtual int PrepareFile_NG();
  virtual int PrepareFile_NN();
  virtual int PrepareFile_TU();
  virtual int PrepareFile_UC();
  virtual int PrepareFile_UL();
  virtual int PrepareFile_UN();
  virtual int PrepareFile_GT();

 private:
  std::shared_ptr<_CImportNet> view_;
  std::string path_;
  std::uint32_t partner_;
  CNCCNet* net_;
};
