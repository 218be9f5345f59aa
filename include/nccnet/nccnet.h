/// \file
/// Everything that a client of the library sees. Begin with CNCCNet; what trips people at first:
///
/// **Files.** Create("db", "city", 7) makes "db/city.db", and beside it "db/city.db-wal", the log
/// of the last changes, and "db/city.lock". The path is always a folder: "." is the current one,
/// and "" is the root folder of the system.
///
/// **Names are bytes** of code page 1251, whatever the source file is written in. Where that is
/// UTF-8, call SetTextEncoding(CTextEncoding::kUtf8) first, and read records with Utf8NameOf.
///
/// **A literal 0** is a number and a null pointer: GetAP(0) and DeleteServer(0) do not compile, and
/// GetServer(0) asks for no name at all. Write 0UL. GetAP(number) takes application flags, so
/// GetAP(0UL) is the first AP of all; GetAPInfo takes an identifier.
///
/// **Fields are packed.** A reference or a pointer to a field of a record is misaligned, which the
/// language does not allow and some processors punish; so is what std::max(a.number, b.number) and
/// numbers.emplace_back(node.id) bind. Copy the field first: `const auto id = node.id;`.
///
/// **Walks meet what is appended.** A member that calls the progress callback for each item goes on
/// to the items that the callback appends: GetListServer lists the server that it has added, and
/// does not end while it adds one each time.
///
/// **Batches end in EndBatch.** An exception in the caller's own code between BeginBatch and
/// EndBatch ends nothing: call EndBatch(false) in a destructor. A thread that ends before EndBatch
/// leaves the object locked; all other threads wait for ever, the destructor too. A refusal leaves
/// the batch as it is. An exception of the progress callback does so where the operation that it
/// meets has changed nothing yet, else the whole batch is lost: EndBatch(true) is false.
///
/// **LastError is left alone** by SetCallback, SetFileObserver, AcceptLoss, GetDBPath, GetDBName,
/// the three paths without an argument, Preferences, GetUpdateManager, GetThreadPool,
/// GetTextEncoding, GetRevision, IsStandby, GetAddr4, GetAddr8, GetNetAddr, LockGen, UnLockGen,
/// CheckAB, GetListDep with a value, and Close when no database is open: ask it right after the
/// call that failed.
#pragma once

#include "nccnet/backup.h"
#include "nccnet/changed_files.h"
#include "nccnet/exchange_check.h"
#include "nccnet/exchange_writer.h"
#include "nccnet/explain.h"
#include "nccnet/export_manager.h"
#include "nccnet/file_output.h"
#include "nccnet/history.h"
#include "nccnet/identity.h"
#include "nccnet/import_container.h"
#include "nccnet/import_net.h"
#include "nccnet/netdb.h"
#include "nccnet/notes.h"
#include "nccnet/records.h"
#include "nccnet/stamp_provider.h"
#include "nccnet/standby.h"
#include "nccnet/text.h"
#include "nccnet/thread_pool.h"
#include "nccnet/update_manager.h"
