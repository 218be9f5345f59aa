// The public forms of the generators of directory files: for all nodes, for one, for a list.

#include "generate/forms.h"

using namespace ncc;

namespace {

// The list form of a generator: one(folder, id) for each, into this sub-folder.
template <class One>
bool ForListIn(NetState& net, const char* folder, const char* sub_folder,
               const std::list<unsigned long>& ids, One one) {
  const auto into = OutputFolder(net, folder, sub_folder);
  if (!into) return true;
  FirstFailure failure;
  return ForList(net, ids, Stop::kAfterEach, failure,
                 [&](unsigned long id) { one(into->c_str(), id); });
}

}  // namespace

bool CNCCNet::GenApn(const char* folder, unsigned char mode) {
  return ForAll(*state_, kTypeAP, Callback::kBeforeEach, Stop::kAfterEach,
                [&](TDBObjId& ap) { GenApn(folder, mode, ap); });
}

bool CNCCNet::GenApn(const char* folder, unsigned char mode, unsigned long id) {
  return ForKnown(*state_, id, kTypeAP, [&](TDBObjId& ap) { GenApn(folder, mode, ap); });
}

bool CNCCNet::GenApn(const char* folder, unsigned char mode, std::list<unsigned long> ids) {
  return ForListIn(*state_, folder, "N\\", ids,
                   [&](const char* into, unsigned long id) { GenApn(into, mode, id); });
}

bool CNCCNet::GenApa(const char* folder) {
  return ForAll(*state_, kTypeAP, Callback::kNone, Stop::kAfterEach,
                [&](TDBObjId& ap) { GenApa(folder, ap); });
}

bool CNCCNet::GenApa(const char* folder, unsigned long id) {
  return ForKnown(*state_, id, kTypeAP, [&](TDBObjId& ap) { GenApa(folder, ap); });
}

bool CNCCNet::GenApa(const char* folder, std::list<unsigned long> ids) {
  return ForListIn(*state_, folder, "A\\", ids,
                   [&](const char* into, unsigned long id) { GenApa(into, id); });
}

bool CNCCNet::GenApc(const char* folder) {
  return ForAll(*state_, kTypeAP, Callback::kBeforeEach, Stop::kAfterEach,
                [&](TDBObjId& ap) { GenApc(folder, ap); });
}

bool CNCCNet::GenApc(const char* folder, unsigned long id) {
  return ForKnown(*state_, id, kTypeAP, [&](TDBObjId& ap) { GenApc(folder, ap); });
}

bool CNCCNet::GenApc(const char* folder, std::list<unsigned long> ids) {
  return ForListIn(*state_, folder, "C\\", ids,
                   [&](const char* into, unsigned long id) { GenApc(into, id); });
}

bool CNCCNet::GenApl(const char* folder) {
  return ForAll(*state_, kTypeAP, Callback::kBeforeEach, Stop::kAfterEach,
                [&](TDBObjId& ap) { GenApl(folder, ap); });
}

bool CNCCNet::GenApl(const char* folder, unsigned long id) {
  return ForKnown(*state_, id, kTypeAP, [&](TDBObjId& ap) { GenApl(folder, ap); });
}

bool CNCCNet::GenApl(const char* folder, std::list<unsigned long> ids) {
  return ForListIn(*state_, folder, "L\\", ids,
                   [&](const char* into, unsigned long id) { GenApl(into, id); });
}

bool CNCCNet::GenApu(const char* folder) {
  return ForAll(*state_, kTypeAP, Callback::kBeforeEach, Stop::kAfterEach,
                [&](TDBObjId& ap) { GenApu(folder, ap); });
}

bool CNCCNet::GenApu(const char* folder, unsigned long id) {
  return ForKnown(*state_, id, kTypeAP, [&](TDBObjId& ap) { GenApu(folder, ap); });
}

bool CNCCNet::GenApu(const char* folder, std::list<unsigned long> ids) {
  return ForListIn(*state_, folder, "U\\", ids,
                   [&](const char* into, unsigned long id) { GenApu(into, id); });
}

bool CNCCNet::GenTun(const char* folder) {
  return ForAll(*state_, kTypeAP, Callback::kNone, Stop::kAfterEach,
                [&](TDBObjId& ap) { GenTun(folder, ap); });
}

bool CNCCNet::GenTun(const char* folder, unsigned long id) {
  return ForKnown(*state_, id, kTypeAP, [&](TDBObjId& ap) { GenTun(folder, ap); });
}

bool CNCCNet::GenTun(const char* folder, std::list<unsigned long> ids) {
  return ForListIn(*state_, folder, "T\\", ids,
                   [&](const char* into, unsigned long id) { GenTun(into, id); });
}

bool CNCCNet::GenApnCrc(const char* folder) {
  return ForAll(*state_, kTypeAP, Callback::kBeforeEach, Stop::kNever,
                [&](TDBObjId& ap) { GenApnCrc(folder, ap); });
}

bool CNCCNet::GenApnCrc(const char* folder, unsigned long id) {
  return ForKnown(*state_, id, kTypeAP, [&](TDBObjId& ap) { GenApnCrc(folder, ap); });
}

bool CNCCNet::GenApnCrc(const char* folder, std::list<unsigned long> ids) {
  NetState& net = *state_;
  const auto into = OutputFolder(net, folder, "R\\");
  if (!into) return true;
  FirstFailure failure;
  failure.Note(GenApnCrc(into->c_str()));
  return ForList(net, ids, Stop::kNever, failure,
                 [&](unsigned long id) { GenApnCrc(into->c_str(), id); });
}

bool CNCCNet::GenApnCrg(const char* folder) {
  return ForAll(*state_, kTypeAP, Callback::kBeforeEach, Stop::kNever,
                [&](TDBObjId& ap) { GenApnCrg(folder, ap); });
}

bool CNCCNet::GenApnCrg(const char* folder, unsigned long id) {
  return ForKnown(*state_, id, kTypeAP, [&](TDBObjId& ap) { GenApnCrg(folder, ap); });
}

// The folder of the stamp lists is made, but each list is given that of the whole database.
bool CNCCNet::GenApnCrg(const char* folder, std::list<unsigned long> ids) {
  NetState& net = *state_;
  const auto root = OutputPath(net, folder, "");
  if (!root || !OutputFolder(net, folder, "R\\")) return true;
  FirstFailure failure;
  return ForList(net, ids, Stop::kNever, failure,
                 [&](unsigned long id) { GenApnCrg(root->c_str(), id); });
}

bool CNCCNet::GenMAPApn(const char* folder, unsigned char mode) {
  return ForAll(*state_, kTypeServer, Callback::kBeforeEach, Stop::kAfterEach,
                [&](TDBObjId& server) { GenMAPApn(folder, mode, server); });
}

bool CNCCNet::GenMAPApn(const char* folder, unsigned char mode, unsigned long id) {
  return ForKnown(*state_, id, kTypeServer,
                  [&](TDBObjId& server) { GenMAPApn(folder, mode, server); });
}

bool CNCCNet::GenMAPApn(const char* folder, unsigned char mode, std::list<unsigned long> ids) {
  return ForListIn(*state_, folder, "", ids,
                   [&](const char* into, unsigned long id) { GenMAPApn(into, mode, id); });
}

bool CNCCNet::GenMAPApa(const char* folder) {
  return ForAll(*state_, kTypeServer, Callback::kBeforeEach, Stop::kAfterEach,
                [&](TDBObjId& server) { GenMAPApa(folder, server); });
}

bool CNCCNet::GenMAPApa(const char* folder, unsigned long id) {
  return ForKnown(*state_, id, kTypeServer, [&](TDBObjId& server) { GenMAPApa(folder, server); });
}

bool CNCCNet::GenMAPApa(const char* folder, std::list<unsigned long> ids) {
  return ForListIn(*state_, folder, "", ids,
                   [&](const char* into, unsigned long id) { GenMAPApa(into, id); });
}

bool CNCCNet::GenMAPApnCrg(const char* folder) {
  return ForAll(*state_, kTypeServer, Callback::kBeforeEach, Stop::kNever,
                [&](TDBObjId& server) { GenMAPApnCrg(folder, server); });
}

bool CNCCNet::GenMAPApnCrg(const char* folder, unsigned long id) {
  return ForKnown(*state_, id, kTypeServer,
                  [&](TDBObjId& server) { GenMAPApnCrg(folder, server); });
}

bool CNCCNet::GenMAPApnCrg(const char* folder, std::list<unsigned long> ids) {
  NetState& net = *state_;
  const auto root = OutputFolder(net, folder, "");
  if (!root) return true;
  FirstFailure failure;
  return ForList(net, ids, Stop::kNever, failure,
                 [&](unsigned long id) { GenMAPApnCrg(root->c_str(), id); });
}
