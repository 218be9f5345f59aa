/// \file
/// Neighbouring networks: the read-only view of a network that a set of exchange files describes.
#pragma once

#include "nccnet/export.h"
#include "nccnet/records.h"

#include <cstdint>
#include <list>
#include <memory>

namespace ncc {
struct ImportState;
}

/// Results of the exchange: 0 for success, else one of these.
inline constexpr int kExchangeWrongNet = -4;  ///< no network number, or another network is loaded
inline constexpr int kExchangeNoFile = 4;     ///< a file cannot be opened
inline constexpr int kExchangeNoMemory = 16;  ///< out of memory
inline constexpr int kExchangeBadLine = 22;   ///< a line of a file is malformed
inline constexpr int kExchangeDangling = 83;  ///< a link names a record that is not there
inline constexpr int kExchangeNotFound = 85;  ///< nothing has this name, identifier or kind
inline constexpr int kExchangeNothingDone = 115;  ///< a step of an export that does nothing

/// A neighbouring network. CImportContainer hands views out, shared, and takes them back.
///
/// The queries change nothing and take no lock: any number of threads may ask at a time, but none
/// while another one loads or unloads the network. They append to the caller's list. Names are
/// compared byte by byte. A name that is not found gives 85; a relation of an identifier that has
/// none is empty (0); one that leads to a record that is not there ends with 83 at that record.
/// Nothing is thrown but std::bad_alloc.
class NCC_API CImportNet {
 public:
  CImportNet() = default;
  CImportNet(const CImportNet&) = delete;
  CImportNet& operator=(const CImportNet&) = delete;
  virtual ~CImportNet();

  /// The number of the loaded network; 0 while none is loaded.
  virtual int GetNet() const = 0;

  /// The lists of records: by pointer, the view's own list, which loading and unloading change; or
  /// a copy of every record, appended to the caller's list.
  virtual const std::list<CABEntry>* GetListAb() const = 0;
  virtual int GetListAb(std::list<CABEntry>& list) const = 0;
  virtual const std::list<CNNEntry>* GetListAp() const = 0;
  virtual int GetListAp(std::list<CNNEntry>& list) const = 0;
  virtual const std::list<CNNEntry>* GetListSm() const = 0;
  virtual int GetListSm(std::list<CNNEntry>& list) const = 0;
  virtual const std::list<CDepEntry>* GetListDep() const = 0;
  virtual int GetListDep(std::list<CDepEntry>& list) const = 0;
  virtual const std::list<CNNEntry>* GetListNN() const = 0;
  virtual int GetListNN(std::list<CNNEntry>& list) const = 0;
  virtual const std::list<CNGrpEntry>* GetListNGrp() const = 0;
  virtual int GetListNGrp(std::list<CNGrpEntry>& list) const = 0;

  /// The gateway: `second` and `first` are the numbers of the gateway file's third and second line,
  /// in this order; the name (52 bytes) is copied when `name` is not null. \return 0
  virtual int GetGateInfo(unsigned long& second, unsigned long& first, char* name) const = 0;

  /// The identifier of a name, and the name (52 bytes) of an identifier, among the records of a
  /// type code: 1 servers, 2 APs, 3 Deps, 4 users, 7 node groups.
  virtual int GetIdFromName(const char* name, unsigned long kind, unsigned long& id) const = 0;
  virtual int GetNameFromId(unsigned long id, unsigned long kind, char* name) const = 0;

  /// The first record of a name or an identifier. GetNNInfo answers from the node list.
  virtual int GetAbInfo(const char* name, CABEntry& entry) const = 0;
  virtual int GetAbInfo(unsigned long id, CABEntry& entry) const = 0;
  virtual int GetApInfo(const char* name, CNNEntry& entry) const = 0;
  virtual int GetApInfo(unsigned long id, CNNEntry& entry) const = 0;
  virtual int GetDepInfo(const char* name, CDepEntry& entry) const = 0;
  virtual int GetDepInfo(unsigned long id, CDepEntry& entry) const = 0;
  virtual int GetSrvInfo(const char* name, CNNEntry& entry) const = 0;
  virtual int GetSrvInfo(unsigned long id, CNNEntry& entry) const = 0;
  virtual int GetNNInfo(const char* name, CNNEntry& entry) const = 0;
  virtual int GetNNInfo(unsigned long id, CNNEntry& entry) const = 0;
  virtual int GetNGrpInfo(const char* name, CNGrpEntry& entry) const = 0;
  virtual int GetNGrpInfo(unsigned long id, CNGrpEntry& entry) const = 0;

  /// Users with a membership at the node, by ascending identifier.
  virtual int GetListAbFromNN(const char* node, std::list<CABEntry>& list) const = 0;
  virtual int GetListAbFromNN(unsigned long node, std::list<CABEntry>& list) const = 0;

  /// Deps whose home is the node or a group that lists the node, and Deps that such a group lists;
  /// in the order of the Dep list.
  virtual int GetListDepFromNN(const char* node, std::list<CDepEntry>& list) const = 0;
  virtual int GetListDepFromNN(unsigned long node, std::list<CDepEntry>& list) const = 0;

  /// Node groups that list the node, by ascending identifier.
  virtual int GetListNGrpFromNN(const char* node, std::list<CNGrpEntry>& list) const = 0;
  virtual int GetListNGrpFromNN(unsigned long node, std::list<CNGrpEntry>& list) const = 0;

  /// APs of the server.
  virtual int GetListApFromSrv(const char* server, std::list<CNNEntry>& list) const = 0;
  virtual int GetListApFromSrv(unsigned long server, std::list<CNNEntry>& list) const = 0;

  /// Members of the group: its APs, and its Deps.
  virtual int GetListNNFromNGrp(const char* group, std::list<CNNEntry>& list) const = 0;
  virtual int GetListNNFromNGrp(unsigned long group, std::list<CNNEntry>& list) const = 0;
  virtual int GetListDepFromNGrp(const char* group, std::list<CDepEntry>& list) const = 0;
  virtual int GetListDepFromNGrp(unsigned long group, std::list<CDepEntry>& list) const = 0;

  /// The Dep's home (server, AP or node group), then the node groups that list the Dep, by
  /// ascending identifier.
  virtual int GetListNOFromDep(const char* dep, std::list<CNCCEntry>& list) const = 0;
  virtual int GetListNOFromDep(unsigned long dep, std::list<CNCCEntry>& list) const = 0;

  /// Every Dep that has links, as (network, identifier), ascending.
  virtual int GetListDepInLinks(std::list<tag_WORD4>& list) const = 0;

  /// What a Dep is linked to. By name a Dep of this network. The form without a list gives the
  /// view's own list, null when there is none.
  virtual int GetListLinkedDep(const char* dep, std::list<tag_WORD4>& list) const = 0;
  virtual const std::list<tag_WORD4>* GetListLinkedDep(tag_WORD4 dep) const = 0;
  virtual int GetListLinkedDep(tag_WORD4 dep, std::list<tag_WORD4>& list) const = 0;

  /// The user's memberships. The form without a list gives the view's own, null when there is none.
  virtual const std::list<CColAb>* GetListColAb(unsigned long user) const = 0;
  virtual int GetListColAb(const char* user, std::list<CColAb>& list) const = 0;
  virtual int GetListColAb(unsigned long user, std::list<CColAb>& list) const = 0;

  /// Users with a membership of the Dep, by ascending identifier.
  virtual int GetListAbFromDep(const char* dep, std::list<CABEntry>& list) const = 0;
  virtual int GetListAbFromDep(unsigned long dep, std::list<CABEntry>& list) const = 0;

  /// Nodes whose flags hold every bit of `mask`; with the 1, at least one.
  virtual int GetListSrvInApp(unsigned long mask, std::list<CNNEntry>& list) const = 0;
  virtual int GetListSrvInApp1(unsigned long mask, std::list<CNNEntry>& list) const = 0;
  virtual int GetListApInApp(unsigned long mask, std::list<CNNEntry>& list) const = 0;
  virtual int GetListApInApp1(unsigned long mask, std::list<CNNEntry>& list) const = 0;

 protected:
  virtual int AddRef() = 0;
  virtual void Release() = 0;
};

/// The view over the files of a folder, and its loading.
class NCC_API _CImportNet : public CImportNet {
 public:
  int GetNet() const override;
  const std::list<CABEntry>* GetListAb() const override;
  int GetListAb(std::list<CABEntry>& list) const override;
  const std::list<CNNEntry>* GetListAp() const override;
  int GetListAp(std::list<CNNEntry>& list) const override;
  const std::list<CNNEntry>* GetListSm() const override;
  int GetListSm(std::list<CNNEntry>& list) const override;
  const std::list<CDepEntry>* GetListDep() const override;
  int GetListDep(std::list<CDepEntry>& list) const override;
  const std::list<CNNEntry>* GetListNN() const override;
  int GetListNN(std::list<CNNEntry>& list) const override;
  const std::list<CNGrpEntry>* GetListNGrp() const override;
  int GetListNGrp(std::list<CNGrpEntry>& list) const override;
  int GetGateInfo(unsigned long& second, unsigned long& first, char* name) const override;
  int GetIdFromName(const char* name, unsigned long kind, unsigned long& id) const override;
  int GetNameFromId(unsigned long id, unsigned long kind, char* name) const override;
  int GetAbInfo(const char* name, CABEntry& entry) const override;
  int GetAbInfo(unsigned long id, CABEntry& entry) const override;
  int GetApInfo(const char* name, CNNEntry& entry) const override;
  int GetApInfo(unsigned long id, CNNEntry& entry) const override;
  int GetDepInfo(const char* name, CDepEntry& entry) const override;
  int GetDepInfo(unsigned long id, CDepEntry& entry) const override;
  int GetSrvInfo(const char* name, CNNEntry& entry) const override;
  int GetSrvInfo(unsigned long id, CNNEntry& entry) const override;
  int GetNNInfo(const char* name, CNNEntry& entry) const override;
  int GetNNInfo(unsigned long id, CNNEntry& entry) const override;
  int GetNGrpInfo(const char* name, CNGrpEntry& entry) const override;
  int GetNGrpInfo(unsigned long id, CNGrpEntry& entry) const override;
  int GetListAbFromNN(const char* node, std::list<CABEntry>& list) const override;
  int GetListAbFromNN(unsigned long node, std::list<CABEntry>& list) const override;
  int GetListDepFromNN(const char* node, std::list<CDepEntry>& list) const override;
  int GetListDepFromNN(unsigned long node, std::list<CDepEntry>& list) const override;
  int GetListNGrpFromNN(const char* node, std::list<CNGrpEntry>& list) const override;
  int GetListNGrpFromNN(unsigned long node, std::list<CNGrpEntry>& list) const override;
  int GetListApFromSrv(const char* server, std::list<CNNEntry>& list) const override;
  int GetListApFromSrv(unsigned long server, std::list<CNNEntry>& list) const override;
  int GetListNNFromNGrp(const char* group, std::list<CNNEntry>& list) const override;
  int GetListNNFromNGrp(unsigned long group, std::list<CNNEntry>& list) const override;
  int GetListDepFromNGrp(const char* group, std::list<CDepEntry>& list) const override;
  int GetListDepFromNGrp(unsigned long group, std::list<CDepEntry>& list) const override;
  int GetListNOFromDep(const char* dep, std::list<CNCCEntry>& list) const override;
  int GetListNOFromDep(unsigned long dep, std::list<CNCCEntry>& list) const override;
  int GetListDepInLinks(std::list<tag_WORD4>& list) const override;
  int GetListLinkedDep(const char* dep, std::list<tag_WORD4>& list) const override;
  const std::list<tag_WORD4>* GetListLinkedDep(tag_WORD4 dep) const override;
  int GetListLinkedDep(tag_WORD4 dep, std::list<tag_WORD4>& list) const override;
  const std::list<CColAb>* GetListColAb(unsigned long user) const override;
  int GetListColAb(const char* user, std::list<CColAb>& list) const override;
  int GetListColAb(unsigned long user, std::list<CColAb>& list) const override;
  int GetListAbFromDep(const char* dep, std::list<CABEntry>& list) const override;
  int GetListAbFromDep(unsigned long dep, std::list<CABEntry>& list) const override;
  int GetListSrvInApp(unsigned long mask, std::list<CNNEntry>& list) const override;
  int GetListSrvInApp1(unsigned long mask, std::list<CNNEntry>& list) const override;
  int GetListApInApp(unsigned long mask, std::list<CNNEntry>& list) const override;
  int GetListApInApp1(unsigned long mask, std::list<CNNEntry>& list) const override;

 protected:
  friend class CImportContainer;
  friend class _CExportManager;

  /// `path` is the folder of the files; null for ".\DB\IMPORT\". Its last level is made when it is
  /// missing. \throws std::runtime_error "Import dir doesn't exist and cannot be created"
  explicit _CImportNet(const char* path = nullptr);
  ~_CImportNet() override;

  /// Reads the network's whole set anew and, when all of it was good, raises the count. After a
  /// failure the records that were read before it stay until the next Load or UnLoad; LastError of
  /// CNCCNet names file, line and reason.
  /// \return 0, 4, 22, 16; -4 for network 0 and while another network is loaded: the calling thread
  ///   then keeps the lock entered once more
  int Load(unsigned long net);
  /// Lowers the count; at 0 everything is emptied and no network is loaded.
  /// \return the count
  int UnLoad();

  // The steps of loading, without the lock but for UnLoadNet.

  /// Gateway, users, nodes, applications, Deps, primary collectives; appends to what is there.
  int LoadNet(unsigned long net);
  int UnLoadNet();
  // Build a table of links anew, or with false empty it.
  int LoadSrvLinks(bool load);
  int LoadAbLinks(bool load);
  int LoadDepLinks(bool load);
  int LoadNGrpLinks(bool load);

  int AddRef() override;
  /// \throws std::runtime_error without a text when the count becomes negative
  void Release() override;

  /// Enter and leave the lock, which is re-entrant. \return true
  bool Lock();
  bool UnLock();

 private:
  std::unique_ptr<ncc::ImportState> state_;
};
