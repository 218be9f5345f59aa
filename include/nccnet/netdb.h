/// \file
/// CNCCNet: one network database.
#pragma once

#include "nccnet/callback.h"
#include "nccnet/export.h"
#include "nccnet/failure.h"
#include "nccnet/file_output.h"
#include "nccnet/history.h"
#include "nccnet/records.h"
#include "nccnet/standby.h"
#include "nccnet/text.h"
#include "nccnet/thread_pool.h"
#include "nccnet/update_manager.h"

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>

class CHDBase;
class CHDBFolder;
class CHDBList;
class CHDBRecord;

namespace ncc {
struct NetState;
struct NetAccess;
struct StateOf;
}  // namespace ncc

/// The network database of the network control centre: one object holds one open network.
///
/// Every public operation is one durable unit: when it has returned, its changes survive a crash
/// and a power cut; when the process dies inside it, the database is as before or as after.
/// Failures show in the result (false, 0, an empty list) and LastError() has the reason; nothing is
/// printed and nothing is thrown but what a callback throws. What trips people is told in nccnet.h.
///
/// Thread-safe: every operation holds the object lock, which is re-entrant, from start to end.
/// Exceptions are said at the member.
///
/// Names are bytes of code page 1251 (or see SetTextEncoding), up to 51 of them and a zero;
/// comparisons fold ASCII letters. A longer name or a null pointer is refused. Members that name an
/// object exist in twins, by name and by identifier; an identifier above 0xFFFFFFFF is unknown.
class NCC_API CNCCNet : public CNetHistory, public CNetStandby {
 public:
  /// No database is open afterwards. `callback` may be null.
  /// \throws std::bad_alloc, std::system_error when the system gives no memory
  explicit CNCCNet(NCCCallback callback = nullptr, void* context = nullptr);

  /// Stops and joins the worker threads, closes the database as Close does and drops a batch. Waits
  /// for the object lock.
  ~CNCCNet();
  CNCCNet(const CNCCNet&) = delete;
  CNCCNet& operator=(const CNCCNet&) = delete;

  /// Tells how the caller writes names; code page 1251 at first. Names that members take, the
  /// gateway's included, are converted; one that is not UTF-8 or has a character that the code page
  /// lacks is refused. LastError and CExchangeReport show names in it, too. All else stays as it
  /// is: records (read their names with Utf8NameOf), paths, the views of neighbouring networks,
  /// generated files. \return false in a progress callback
  bool SetTextEncoding(CTextEncoding encoding);
  CTextEncoding GetTextEncoding();

  // Lifecycle -----------------------------------------------------------------------------------

  /// Replaces the callback and keeps the context.
  /// \return the callback that was set before
  NCCCallback SetCallback(NCCCallback callback);
  /// Replaces both.
  NCCCallback SetCallback(NCCCallback callback, void* context);
  /// Creates the database `name` in the folder `path` (made when missing) for network `net_number`
  /// and opens it: the file is `<path>/<name>.db`, and "" is the root folder. A database that is
  /// open already is dropped first, without saving its preferences. The three counters of the
  /// preferences stay as the object holds them: create each network with a fresh object.
  /// \return false when the database exists, is in use or cannot be written. A failure after the
  ///   files were made leaves the object lock entered by the calling thread.
  bool Create(const char* path, const char* name, unsigned long net_number);
  /// Opens an existing database; every row is checked. Drops an open one as Create does.
  /// \return false when it is missing, in use by another owner, damaged or not one of ours; the
  /// file stays as it was. A failure in LoadNetInfo leaves the object lock entered by the thread.
  bool Open(const char* path, const char* name);
  /// Reads the last stored state beside any owner; touches no file, refuses changes and Backup.
  bool OpenSnapshot(const char* path, const char* name);
  /// Opens it to follow its owner: see CNetStandby. A database that is a file has none to follow.
  bool OpenStandby(const char* path, const char* name);
  /// Whether Open and OpenSnapshot go on where changes may be lost (LastFailure(): kLossPossible).
  void AcceptLoss(bool accept);
  /// Saves the preferences block and lets go of the database. Does nothing when none is open.
  void Close();
  /// Stores the preferences block in the network record.
  void SaveNetInfo();
  /// Reads the preferences block from the network record: the record of the root folder's first
  /// entry, whatever its name.
  void LoadNetInfo();
  /// Folder of the database as given to Create or Open, with a separator at its end, and the base
  /// name of its files. \throws std::bad_alloc
  CString GetDBPath();
  CString GetDBName();
  /// The three output folders; texts are stored unchanged. The references stay valid as long as the
  /// object and are read and written under no lock. KCPath with a text also hands it to the update
  /// manager as its export folder.
  void KCPath(const char* path);
  CString& KCPath();
  void APDBPath(const char* path);
  CString& APDBPath();
  void MAPPath(const char* path);
  CString& MAPPath();
  /// The preferences block of this object; its address never changes. Fields may be changed by the
  /// caller, under no lock; they are stored by the next SaveNetInfo (which Close and every creation
  /// of an object call) and not before.
  CNetPref* Preferences();
  /// The update manager, to which generators report the files that they stamp. Belongs to the
  /// object.
  CUpdateManager* GetUpdateManager();
  /// The worker pool. Belongs to the object.
  CThreadPool* GetThreadPool();

  // Batches, failures, copies -------------------------------------------------------------------

  /// Makes all operations up to EndBatch one unit. Holds the object lock until then. Not nestable.
  bool BeginBatch();
  /// Ends the batch that the calling thread began: stores it durably when `keep`, else drops it
  /// whole, in memory and in the preferences block too. \return false without a batch of this
  /// thread, or when the batch was dropped, as an operation in it or storing it has failed.
  bool EndBatch(bool keep = true);
  /// Text of the calling thread's last failure, of whichever object; empty after a success
  /// (nccnet.h says which members leave it alone). Valid until the thread's next call.
  const char* LastError();
  /// Whether the last change that ended with NCCFailure::kNotKnown is stored: asks again as long as
  /// that is not known, and makes it show when it is. Until then queries answer as of
  /// GetRevision(), and changes are refused with kNotKnown; each asks again by itself first. It
  /// stays kNotKnown when another owner has taken the database over meanwhile (kNotOwner): the
  /// history tells then.
  NCCOutcome Settle();
  /// Writes a consistent copy of the open database to `file`, an existing file being replaced
  /// whole. False inside a batch, while ShowRevision shows a former revision, and when that file is
  /// a database that somebody has open.
  bool Backup(const char* file);
  /// The database's revision: raised by every unit that changed something. 0 while no database is
  /// open.
  std::uint64_t GetRevision();

  // Addresses and types -------------------------------------------------------------------------

  /// Writes "%4.4X" of the identifier. `buffer` holds 5 characters or more (9 for identifiers above
  /// 0xFFFF). \return buffer
  char* GetAddr4(unsigned long id, char* buffer);
  /// Writes "%4.4X%4.4X" of network number and identifier: 9 characters or more (17 for large
  /// values).
  char* GetAddr8(unsigned long id, char* buffer);
  /// Writes "%4.4X" of the network number.
  char* GetNetAddr(char* buffer);
  /// Type code of the object with this identifier; 0xFF when there is none.
  unsigned char GetType(unsigned long id);
  /// First AP whose flags hold every bit of `mask`, by server in root order, then in the server's
  /// order; 0 when there is none.
  unsigned long GetAP(unsigned long mask);
  unsigned long GetNCC();  ///< GetAP(0x4)
  unsigned long GetKC();   ///< GetAP(0x40)

  // Generation stop -----------------------------------------------------------------------------

  /// Asks a running generation to stop; stays in force until UnLockGen. Takes no lock.
  void LockGen();
  void UnLockGen();

  // Servers -------------------------------------------------------------------------------------

  /// Adds a server with the next identifier and the next server ordinal.
  /// \return its identifier; 0 when the name is taken by a server or refused, with both counters
  /// unchanged
  unsigned long AddServer(const char* name, unsigned long flags, unsigned short value);
  /// Deletes a server, its APs with it (each as DeleteAP does), and every link to it.
  bool DeleteServer(const char* name);
  bool DeleteServer(unsigned long id);
  /// Renames a server. False when it is unknown or the new name is the name of any server, its own
  /// included.
  bool ModifyServer(const char* name, const char* new_name);
  bool ModifyServer(unsigned long id, const char* new_name);
  /// Gives the identifier of the server's folder; `result` stays as it was when there is none.
  bool GetServer(const char* name, TDBObjId& result);
  bool GetServer(unsigned long id, TDBObjId& result);
  /// \return the server's identifier, 0 when there is none
  unsigned long GetServer(const char* name);
  bool GetServerInfo(const char* name, CNNEntry& entry);
  bool GetServerInfo(unsigned long id, CNNEntry& entry);
  bool GetServerInfo(TDBObjId& server, CNNEntry& entry);
  unsigned long GetServersCount();
  /// All servers in the order in which they were added. Empties the list first.
  /// \return the list's size
  unsigned long GetListServer(std::list<CNNEntry>& list);
  /// Servers linked to a server, in link order. Empties the list first.
  unsigned long GetListLinkedSrv(const char* name, std::list<CNNEntry>& list);
  unsigned long GetListLinkedSrv(unsigned long id, std::list<CNNEntry>& list);
  /// Links two servers, in both directions and at most once. False for an unknown server and for a
  /// server with itself.
  bool LinkSrvToSrv(const char* name1, const char* name2);
  bool LinkSrvToSrv(unsigned long id1, unsigned long id2);
  /// Unlinks two servers; true also when they were not linked.
  bool DeleteLink(const char* name1, const char* name2);
  bool DeleteLink(unsigned long id1, unsigned long id2);
  /// Whether a server of this name exists.
  bool CheckServerName(const char* name);

  // Subscriber points ---------------------------------------------------------------------------

  /// Adds an AP under a server. The name is not tested for being taken (ask CheckAPName). Its
  /// ordinal is the server's number of APs after it was added, so an ordinal can repeat after a
  /// deletion. \return its identifier; 0 when the server is unknown or the name refused
  unsigned long AddAP(const char* server, const char* name, unsigned long flags);
  unsigned long AddAP(unsigned long server, const char* name, unsigned long flags);
  unsigned long AddAP(TDBObjId& server, const char* name, unsigned long flags);
  /// Renames an AP. False when it is unknown or the new name is the name of any AP, its own
  /// included.
  bool ModifyAP(const char* name, const char* new_name);
  bool ModifyAP(unsigned long id, const char* new_name);
  /// Moves an AP to the end of a server's APs; it keeps its identifier and its ordinal.
  bool ChangeSrv(const char* ap, unsigned long server);
  bool ChangeSrv(const char* ap, const char* server);
  bool ChangeSrv(unsigned long ap, unsigned long server);
  /// Deletes the server's first AP of this name, with every link to it. Memberships of users at the
  /// AP stay.
  bool DeleteAP(const char* server, const char* name);
  bool DeleteAP(unsigned long server, const char* name);
  bool DeleteAP(TDBObjId& server, const char* name);
  /// By identifier alone a server is found as well as an AP. By name the first AP in root order of
  /// the servers, then in the server's order. `result` is the folder's identifier.
  bool GetAP(unsigned long id, TDBObjId& result);
  bool GetAP(const char* name, TDBObjId& result);
  bool GetAP(unsigned long server, unsigned long id, TDBObjId& result);
  bool GetAP(const char* server, const char* name, TDBObjId& result);
  /// \return the AP's identifier, 0 when there is none
  unsigned long GetAP(const char* server, const char* name);
  unsigned long GetAP(const char* name);
  bool GetAPInfo(const char* name, CNNEntry& entry);
  bool GetAPInfo(unsigned long id, CNNEntry& entry);
  /// \return the identifier of the AP's server, 0 when the AP is unknown (and for a server)
  unsigned long GetAPServerID(unsigned long id);
  /// APs of a server in its order, or all APs by ascending identifier. Empties the list first.
  /// \return the list's size
  unsigned long GetListAP(unsigned long server, std::list<CNNEntry>& list);
  unsigned long GetListAP(const char* server, std::list<CNNEntry>& list);
  unsigned long GetListAP(std::list<CNNEntry>& list);
  /// Whether an AP of this name exists anywhere in the network.
  bool CheckAPName(const char* name);
  /// Finds a node: a server or an AP.
  bool GetNN(unsigned long id, TDBObjId& result);
  bool GetNNInfo(unsigned long id, CNNEntry& entry);

  // Applications --------------------------------------------------------------------------------

  /// Sets a node's flags to `mask` and its settings byte to `value`. RegAPP finds servers as well
  /// as APs.
  bool RegAPP(unsigned long id, unsigned long mask, unsigned char value);
  bool RegSrv(unsigned long server, unsigned long mask, unsigned char value);

  /// Flags of an AP or a server; 0xFFFFFFFF when the identifier is neither.
  unsigned long GetAPP(unsigned long id);
  /// The same; appends the names of all 17 applications, number k belonging to bit k-1, whatever
  /// the flags.
  unsigned long GetAPP(unsigned long id, std::list<std::string>& names);

  /// Nodes whose flags hold every bit of `mask`; with the 1, at least one. Empties the list first.
  /// \return the list's size
  int GetListSrvInApps(unsigned int mask, std::list<CNNEntry>& list);
  int GetListSrvInApps1(unsigned int mask, std::list<CNNEntry>& list);
  int GetListApInApps(unsigned int mask, std::list<CNNEntry>& list);
  int GetListApInApps1(unsigned int mask, std::list<CNNEntry>& list);

  // Users ---------------------------------------------------------------------------------------

  /// Creates a user; the name is not tested for being taken (ask CheckABName). The two-argument
  /// form gives the identifier of its folder. \return its identifier; 0 when the name is refused
  unsigned long CreateAB(const char* name, TDBObjId& result);
  unsigned long CreateAB(const char* name);
  /// Renames a user, in the Deps that list it too. False when it is unknown or the new name is the
  /// name of any user, its own included.
  bool ModifyAB(const char* name, const char* new_name);
  bool ModifyAB(unsigned long id, const char* new_name);
  /// Deletes a user, with its memberships and its place in every Dep.
  bool DeleteAB(const char* name);
  bool DeleteAB(unsigned long id);
  /// Makes a user a member of a Dep. A user without a primary collective gets (the Dep, the first
  /// node of the Dep's node group), if there is such a node; `collectives` adds a membership of
  /// kind 0 at every node of the group. A user who is in the Dep already is listed once more. The
  /// form by name creates the Dep or the user that is missing.
  bool LinkABToDep(const char* dep, const char* user, bool collectives);
  bool LinkABToDep(unsigned long dep, unsigned long user, bool collectives);
  bool GetAB(const char* name, TDBObjId& result);
  bool GetAB(unsigned long id, TDBObjId& result);
  bool GetABInfo(const char* name, CABEntry& entry);
  bool GetABInfo(unsigned long id, CABEntry& entry);
  /// All users by ascending identifier, or the users of a Dep in the order in which they were
  /// linked (one who was linked twice stands twice). Empties the list first. \return the list's
  /// size
  unsigned long GetListAB(std::list<CABEntry>& list);
  unsigned long GetListAB(unsigned long dep, std::list<CABEntry>& list);
  unsigned long GetListAB(const char* dep, std::list<CABEntry>& list);
  /// Whether a user of this name exists.
  bool CheckABName(const char* name);
  /// Always false.
  bool CheckAB(unsigned long a, unsigned long b);
  /// Takes a user out of a Dep: one place in its list, and all of the user's memberships of the
  /// Dep. The primary collective stays.
  void DeleteABFromDep(unsigned long dep, unsigned long user);
  void DeleteABFromDep(const char* dep, const char* user);
  /// Takes all users out of a Dep.
  void DeleteAllAb(unsigned long dep);

  // Deps ----------------------------------------------------------------------------------------

  /// As CreateAB, for a Dep that is in no node group.
  unsigned long CreateDep(const char* name, TDBObjId& result);
  unsigned long CreateDep(const char* name);
  bool ModifyDep(const char* name, const char* new_name);
  bool ModifyDep(unsigned long id, const char* new_name);
  /// Deletes a Dep; its users stay and lose their memberships of it.
  bool DeleteDep(const char* name);
  bool DeleteDep(unsigned long id);

  bool GetDep(const char* name, TDBObjId& result);
  bool GetDep(unsigned long id, TDBObjId& result);
  bool GetDepInfo(const char* name, CDepEntry& entry);
  bool GetDepInfo(unsigned long id, CDepEntry& entry);
  bool GetDepInfo(TDBObjId& dep, CDepEntry& entry);

  /// Links two Deps in both directions, each at most once. `changed`, if given, tells whether
  /// anything was added. The form by name labels the new items with the names as they were spelled.
  bool LinkDepToDep(const char* name1, const char* name2);
  bool LinkDepToDep(unsigned long id1, unsigned long id2, bool* changed = nullptr);
  /// Links every Dep with every other one. Takes no lock: call it only while no other thread works
  /// on the database. Adds one more record item per ordered pair at each run. \return always false
  bool LinkAllDeps();
  /// Unlinks two Deps; true also when they were not linked. The record items of the link stay.
  bool DeleteLinkDepToDep(const char* name1, const char* name2);
  bool DeleteLinkDepToDep(unsigned long id1, unsigned long id2);
  /// Deps linked to a Dep, in link order. Empties the list first.
  unsigned long GetListLinkedDep(const char* name, std::list<CDepEntry>& list);
  unsigned long GetListLinkedDep(unsigned long id, std::list<CDepEntry>& list);

  /// All Deps by ascending identifier. Empties the list first.
  unsigned long GetListDep(std::list<CDepEntry>& list);
  /// Fills nothing.
  /// \return the size of the list that was passed
  unsigned long GetListDep(unsigned long value, std::list<CDepEntry> list);
  /// The Deps that are in no node group.
  unsigned long GetListDepFree(std::list<CDepEntry>& list);
  /// Whether a Dep of this name exists.
  bool CheckDepName(const char* name);

  // Node groups ---------------------------------------------------------------------------------

  /// As CreateAB, for a node group with the next ordinal.
  unsigned long CreateNGrp(const char* name, TDBObjId& result);
  unsigned long CreateNGrp(const char* name);
  bool ModifyNGrp(const char* name, const char* new_name);
  bool ModifyNGrp(unsigned long id, const char* new_name);
  /// Deletes a node group, after taking each of its Deps out as DeleteDepFromNGrp does.
  bool DeleteNGrp(const char* name);
  bool DeleteNGrp(unsigned long id);

  bool GetNGrp(const char* name, TDBObjId& result);
  bool GetNGrp(unsigned long id, TDBObjId& result);
  bool GetNGrpInfo(const char* name, CNGrpEntry& entry);
  bool GetNGrpInfo(unsigned long id, CNGrpEntry& entry);
  bool GetNGrpInfo(TDBObjId& group, CNGrpEntry& entry);
  /// All node groups by ascending identifier. Empties the list first.
  unsigned long GetListNGrp(std::list<CNGrpEntry>& list);
  /// Whether a node group of this name exists.
  bool CheckNGrpName(const char* name);

  /// Puts a server or an AP into a node group, at most once.
  bool LinkNNToNGrp(unsigned long group, unsigned long node);
  /// Takes a node out of a node group, and with it the memberships at the node of all users of the
  /// group's Deps. True also when the node was not in it.
  bool DeleteNNFromNGrp(unsigned long group, unsigned long node);
  /// Assigns a Dep to a node group. The Dep's entry names the group that was linked last; the
  /// groups before keep it in their lists.
  bool LinkDepToNGrp(unsigned long group, unsigned long dep);
  /// Takes a Dep out of a node group, and with it all memberships of the Dep that its users have.
  /// True also when the Dep was not in it.
  bool DeleteDepFromNGrp(unsigned long group, unsigned long dep);

  /// Relations, in the order in which the links were made. Each empties the list first.
  unsigned long GetListNN(unsigned long group, std::list<CNNEntry>& list);
  unsigned long GetListDepFromNGrp(unsigned long group, std::list<CDepEntry>& list);
  unsigned long GetListNGrpFromNN(unsigned long node, std::list<CNGrpEntry>& list);
  unsigned long GetListNGrpFromDep(unsigned long dep, std::list<CNGrpEntry>& list);

  // Collectives ---------------------------------------------------------------------------------

  /// The user's primary collective; (0, 0) when there is none.
  CColId GetPrimaryCol(const char* user);
  CColId GetPrimaryCol(unsigned long user);
  /// Sets it, to any value. False for an unknown user.
  bool SetPrimaryCol(const char* user, CColId collective);
  bool SetPrimaryCol(unsigned long user, CColId collective);

  /// The user's memberships, all or those of one Dep, in stored order. Empties the list first.
  /// \return the list's size
  unsigned long GetListAvailableColAb(const char* user, std::list<CColAb>& list);
  unsigned long GetListAvailableColAb(unsigned long user, std::list<CColAb>& list);
  unsigned long GetListAvailableColAb(const char* user, unsigned long dep, std::list<CColAb>& list);
  unsigned long GetListAvailableColAb(unsigned long user, unsigned long dep,
                                      std::list<CColAb>& list);
  unsigned long GetListAvailableColAb(unsigned long user, std::list<CCol>& list);
  /// Brings the user's memberships of a Dep into line with the list: stored ones take the kind of
  /// the element with the same collective, elements that are not stored are appended, and stored
  /// ones that the list lacks are removed when `remove`. Elements of other Deps are ignored.
  void SetListAvailableColAb(const char* user, unsigned long dep, std::list<CColAb> list,
                             bool remove);
  void SetListAvailableColAb(unsigned long user, unsigned long dep, std::list<CColAb> list,
                             bool remove);
  /// What the user could hold: each node of the node group of each Dep that lists the user (by
  /// ascending identifier), or of that Dep alone.
  unsigned long GetListColAb(unsigned long user, std::list<CCol>& list);
  unsigned long GetListColAb(unsigned long user, unsigned long dep, std::list<CCol>& list);

  // Loose objects -------------------------------------------------------------------------------

  // Each appends what it finds to the lists that are not null, in the order of the database.
  // \return 0

  /// Users in no Dep; without a whole primary collective; without memberships.
  int CheckAnomaliesAB(std::list<CABEntry>* in_no_dep, std::list<CABEntry>* no_primary,
                       std::list<CABEntry>* no_membership);
  /// Servers with neither AP nor link; in no node group; named by no membership.
  int CheckAnomaliesSrv(std::list<CNNEntry>* unconnected, std::list<CNNEntry>* in_no_group,
                        std::list<CNNEntry>* no_membership);
  /// APs in no node group; named by no membership.
  int ChechAnomaliesAP(std::list<CNNEntry>* in_no_group, std::list<CNNEntry>* no_membership);
  /// Node groups without nodes; without Deps.
  int CheckAnomaliesNGrp(std::list<CNGrpEntry>* no_node, std::list<CNGrpEntry>* no_dep);
  /// Deps without users; in no node group.
  int CheckAnomaliesDep(std::list<CDepEntry>* no_user, std::list<CDepEntry>* in_no_group);

  // Output --------------------------------------------------------------------------------------
  //
  // Generators only read the network. A file appears whole under its name, or not at all; texts end
  // their lines in CR LF. `folder` is used as a prefix: end it in a separator. Where it is said
  // that a folder is made, the separator is added. It may be a link; none below it is followed.
  //
  // The forms of a generator: by identifier for one node, false for an unknown one and true for any
  // other, whether or not its file could be written; without, for all nodes in the order of the
  // database, and for a list, both of which pass over what fails, end after the node in hand when
  // LockGen asks for it, and return true. LastError has the first failure, the observer has all.
  // The object lock is held node by node.

  /// Is told about each file that a generator has written or failed to write, on the generating
  /// thread. Null takes it off. What it throws is ignored.
  void SetFileObserver(std::function<void(const CFileEvent&)> observer);

  /// The key centre's whole set: makes and empties the folder and its "AB", "AP" and "AAA", writes
  /// the four files below, the node names, the users, the APs, the node matrix and the packages,
  /// full or short.
  /// \return true
  bool ExportForKC(bool full, const char* folder);
  /// The key centre's files, one by one; the folder is made. False when the file cannot be written.
  bool CreateAbonameFile(const char* folder);   ///< users and their addresses
  bool CreateAbonameeFile(const char* folder);  ///< an empty file
  bool CreateCcc_kcFile(const char* folder);    ///< addresses of NCC and KC
  bool CreateAbn_apFile(const char* folder);    ///< users and the nodes at which they are members
  /// The same, in a folder that is there.
  bool CreateNodenameFile(const char* folder);  ///< names of groups, APs and servers
  bool CreateNmatrixFile(const char* folder);   ///< which node sees which
  /// A file for each user (entry and memberships) and for each AP (entry and node groups).
  bool GenAB(const char* folder);
  bool GenAP(const char* folder);

  /// The directory databases of all APs, in the sub-folders of folder + "APDB\" (made and emptied),
  /// which becomes the APDB path; or those of some APs, in the sub-folders of the folder itself,
  /// emptying nothing. `mode` is printed into the lines of kind "0017". \return true
  bool GenAPDB(const char* folder, unsigned char mode);
  bool GenAPDB(const char* folder, unsigned char mode, std::list<unsigned long> ids);
  /// The kinds of files of a directory database. The list forms write into a sub-folder, which is
  /// made; for the stamp list the folder is that of the whole directory database.
  bool GenApn(const char* folder, unsigned char mode);  ///< nodes: "apn<id>.txt", "N"
  bool GenApn(const char* folder, unsigned char mode, unsigned long id);
  bool GenApn(const char* folder, unsigned char mode, std::list<unsigned long> ids);
  bool GenApa(const char* folder);  ///< users: "apa<id>.txt", "A"
  bool GenApa(const char* folder, unsigned long id);
  bool GenApa(const char* folder, std::list<unsigned long> ids);
  bool GenApc(const char* folder);  ///< links between Deps: "apc<id>.txt", "C"
  bool GenApc(const char* folder, unsigned long id);
  bool GenApc(const char* folder, std::list<unsigned long> ids);
  bool GenApl(const char* folder);  ///< an empty file: "apl<id>.txt", "L"
  bool GenApl(const char* folder, unsigned long id);
  bool GenApl(const char* folder, std::list<unsigned long> ids);
  bool GenApu(const char* folder);  ///< places of Deps: "apu<id>.txt", "U"
  bool GenApu(const char* folder, unsigned long id);
  bool GenApu(const char* folder, std::list<unsigned long> ids);
  bool GenTun(const char* folder);  ///< an empty file: "node<id>.tun", "T"
  bool GenTun(const char* folder, unsigned long id);
  bool GenTun(const char* folder, std::list<unsigned long> ids);
  /// An empty file: "apn<id>.crc", "R". Never stops; the list form rewrites those of all APs first.
  bool GenApnCrc(const char* folder);
  bool GenApnCrc(const char* folder, unsigned long id);
  bool GenApnCrc(const char* folder, std::list<unsigned long> ids);
  /// Stamps of an AP's files: "R\apn<id>.crg". Never stops.
  bool GenApnCrg(const char* folder);
  bool GenApnCrg(const char* folder, unsigned long id);
  bool GenApnCrg(const char* folder, std::list<unsigned long> ids);

  /// The directories of all servers, in folder + "MAP\" (made), which becomes the MAP path; or
  /// those of some servers, in the folder itself, with the maps, tunnels and registrations of all
  /// servers rewritten after each. \return true
  bool GenMAP(const char* folder, unsigned char mode);
  bool GenMAP(const char* folder, unsigned char mode, std::list<unsigned long> ids);
  /// Tunnels, maps and registrations of all servers, in folder + "MAP\" (made, its files "node*"
  /// deleted). \return true
  bool GenRoutingTables(const char* folder);
  bool GenMAPApa(const char* folder);  ///< users at a server: "apa<id>.txt"
  bool GenMAPApa(const char* folder, unsigned long id);
  bool GenMAPApa(const char* folder, std::list<unsigned long> ids);
  bool GenMAPApn(const char* folder, unsigned char mode);  ///< nodes: "apn<id>.txt"
  bool GenMAPApn(const char* folder, unsigned char mode, unsigned long id);
  bool GenMAPApn(const char* folder, unsigned char mode, std::list<unsigned long> ids);
  bool GenMAPApnCrg(const char* folder);  ///< stamps: "apn<id>.crg". Never stops.
  bool GenMAPApnCrg(const char* folder, unsigned long id);
  bool GenMAPApnCrg(const char* folder, std::list<unsigned long> ids);
  /// Binary routing maps "nodeN.map", tunnels "nodeN.tun" and registrations "nodeN.reg" (decimal).
  /// The first file that cannot be written ends them with false; tunnels are false, too, when no
  /// server has a tunnel value.
  bool GenMAPNodeMap(const char* folder);
  bool GenMAPNodeMap(const char* folder, unsigned long id);
  bool GenMAPNodeTun(const char* folder);
  bool GenMAPNodeTun(const char* folder, unsigned long id);
  bool GenMAPNodeReg(const char* folder);
  bool GenMAPNodeReg(const char* folder, unsigned long id);

  /// Packages of what was generated before, from the APDB and MAP paths and the database folder:
  /// "AAA\<address>.aaf" and ".aas". The folder must be there; files that are missing are left out
  /// (one that cannot be read fails the package); a longer package that is there keeps its end.
  bool GenFullDistr(const char* folder);
  bool GenFullDistr(const char* folder, unsigned long id);
  bool GenFullDistr(const char* folder, std::list<unsigned long> ids);
  bool GenShortDistr(const char* folder);
  bool GenShortDistr(const char* folder, unsigned long id);
  bool GenShortDistr(const char* folder, std::list<unsigned long> ids);

  /// Writes the file's stamp, eight hexadecimal digits and a zero, into `out` (9 bytes): zeros when
  /// it is not there, without a key, and on a failure, which LastError tells. Takes no lock.
  void GetOnlyImito(const char* path, char* out);
  /// Writes the stamp line "NAME=STAMP\n" and a zero, in upper case, the name without its folder
  /// (its length and 11 bytes). Takes no lock.
  void GetImito(const char* path, char* out);

 protected:
  void Lock();       ///< Enters the object lock.
  void UnLock();     ///< Leaves it.
  bool IsStopGen();  ///< Whether LockGen is in force or the pool is stopping.

 private:
  friend struct ncc::NetAccess;
  friend struct ncc::StateOf;
  TRef<CHDBase> HDBase();
  TRef<CHDBFolder> RootFolder();
  void CreateDB(unsigned long net_number);
  void ReadNetInfo();

  // Storage of objects, below the operations: these take the lock and no more. What changes
  // anything needs a unit that runs, and a failure of storage leaves as an exception.
  void SetData(TRef<CHDBList> list, void* data, unsigned long size);
  void AddListId(TRef<CHDBRecord>& record, TDBObjId& object, int n);
  void DelListId(TRef<CHDBRecord>& record, TDBObjId& object, int n);
  void DelAllListId(TRef<CHDBRecord>& record, TDBObjId& object, int n, int m);
  bool GetRootEntry(const char* name, unsigned char type, TDBObjId& result);
  bool GetRootEntry(unsigned long id, unsigned char type, TDBObjId& result);
  unsigned long GetRootFldSpc();
  bool DeleteRootEntry(const char* name, unsigned char type);
  bool DeleteRootEntry(unsigned long id, unsigned char type);
  void DeleteAllLink(TRef<CHDBFolder>& folder);
  void ChangeSrv(TDBObjId& ap, TDBObjId& server);
  bool GetABInfo(TDBObjId& user, CABEntry& entry);
  void DeleteAbFromDep(TRef<CHDBFolder>& dep, TRef<CHDBFolder>& user);
  void DeleteCollectiveDep(TRef<CHDBFolder>& dep, TRef<CHDBFolder>& user);
  void DeleteCollectiveNN(TRef<CHDBFolder>& node, TRef<CHDBFolder>& user);
  void DeleteNNFromNGrp(TRef<CHDBFolder>& group, TRef<CHDBFolder>& node);
  void DeleteDepFromNGrp(TRef<CHDBFolder>& group, TRef<CHDBFolder>& dep);
  void AddCollective(CDepEntry dep, TRef<CHDBRecord>& user);

  // One node's file, by the node's folder; false when it is not written.
  bool GenApn(const char* folder, unsigned char mode, TDBObjId& ap);
  bool GenApa(const char* folder, TDBObjId& ap);
  bool GenApc(const char* folder, TDBObjId& ap);
  bool GenApl(const char* folder, TDBObjId& ap);
  bool GenApu(const char* folder, TDBObjId& ap);
  bool GenTun(const char* folder, TDBObjId& ap);
  bool GenApnCrc(const char* folder, TDBObjId& ap);
  bool GenApnCrg(const char* folder, TDBObjId& ap);
  bool GenMAPApa(const char* folder, TDBObjId& server);
  bool GenMAPApn(const char* folder, unsigned char mode, TDBObjId& server);
  bool GenMAPApnCrg(const char* folder, TDBObjId& server);
  bool GenFullDistr(const char* folder, TDBObjId& node);
  bool GenShortDistr(const char* folder, TDBObjId& node);
  void PutFile(const char* path, int fd);

  std::unique_ptr<ncc::NetState> state_;
};