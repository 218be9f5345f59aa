// Real etcd processes on this machine, with ports and folders of their own.
#pragma once

#include "support/scratch.h"

#include <cstddef>
#include <string>
#include <vector>

#include <sys/types.h>

// One that nobody has now.
int FreePort();

// Whether etcd is installed; says so loudly when it is not.
bool HasEtcd();

// Where a node runs, if not simply here: its addresses for clients and for other nodes, and the
// words of a command that runs another one there.
struct NodePlace {
  std::string client_host = "127.0.0.1";
  std::string peer_host = "127.0.0.1";
  std::vector<std::string> through;
  int peer_port = 0;          // 0: any that is free
  int seen_as_peer_port = 0;  // what other nodes know; 0: the same
};

// A cluster that lives as long as this object and dies with the process. Nodes flush as they do in
// earnest.
class EtcdNodes {
 public:
  // Throws std::runtime_error when it does not come up. With certificates in `tls` (see
  // MakeCertificates) clients have to show one.
  explicit EtcdNodes(std::size_t count, std::string tls = {});
  explicit EtcdNodes(const std::vector<NodePlace>& places, std::string tls = {});
  ~EtcdNodes();
  EtcdNodes(const EtcdNodes&) = delete;
  EtcdNodes& operator=(const EtcdNodes&) = delete;

  std::size_t Count() const { return nodes_.size(); }
  int Port(std::size_t node) const { return nodes_[node].client_port; }
  const std::string& Host(std::size_t node) const { return nodes_[node].place.client_host; }
  // Of its data.
  std::string Folder(std::size_t node) const;
  // "http://127.0.0.1:2379, ..."
  std::string Endpoints() const;

  void Kill(std::size_t node);
  // From the data that it has.
  void Start(std::size_t node);
  void Pause(std::size_t node);
  void Wake(std::size_t node);
  // Whether its process has not ended by itself.
  bool IsAlive(std::size_t node) const;
  // The node that leads; waits for one.
  std::size_t Leader() const;

  // Whether all nodes answer.
  bool IsUp() const;

  // Hands the lead over to it, as soon as that can be.
  void LetLead(std::size_t node) const;

  // What etcdctl prints, with this cluster's addresses.
  std::string Control(const std::string& arguments) const;

 private:
  struct Node {
    NodePlace place;
    int client_port = 0;
    int peer_port = 0;
    pid_t process = 0;
  };

  static std::string PeerAddress(const Node& node);
  void StopAll();

  const ScratchFolder scratch_;
  const std::string tls_;
  std::vector<Node> nodes_;
};

// Makes an authority and certificates for a node and a client in the folder: ca.pem, node.pem,
// node.key, client.pem, client.key.
void MakeCertificates(const std::string& folder);

// The output of a command of the shell; throws std::runtime_error when it fails.
std::string OutputOf(const std::string& command);
