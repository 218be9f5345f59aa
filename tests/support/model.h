// A plain model of a network: what every operation should do, said in the simplest way, and a
// source of random operations that run on the model and on a network object alike.
#pragma once

#include "nccnet/nccnet.h"

#include <list>
#include <random>
#include <string>
#include <vector>

class Model {
 public:
  struct Node {
    std::string name_field;  // all 52 bytes: a rename leaves those behind its zero
    std::uint32_t id = 0;
    std::uint8_t type = 0;
    std::uint32_t number = 0;
    std::uint32_t flags = 0;
    std::uint8_t attribute = 0;
    std::uint32_t ap_count = 0;
    std::uint32_t server_id = 0;
    std::uint8_t settings = 0;
    std::uint16_t value = 0;

    std::string Image() const;
    std::string Name() const { return name_field.c_str(); }
    void Rename(const std::string& name);
  };
  struct Server : Node {
    std::vector<unsigned long> links;
    std::list<Node> aps;
  };

  explicit Model(const CNetPref& preferences) : preferences_(preferences) {}

  // The same text as Describe of a network in this state.
  std::string Describe() const;

  unsigned long AddServer(const std::string& name, std::uint32_t flags, std::uint16_t value);
  bool DeleteServer(Server* server);
  bool ModifyServer(Server* server, const std::string& name);
  bool Link(Server* one, Server* other);
  bool Unlink(Server* one, Server* other);
  unsigned long AddAP(Server* server, const std::string& name, std::uint32_t flags);
  bool ModifyAP(Node* ap, const std::string& name);
  bool ChangeSrv(Node* ap, Server* server);
  bool DeleteAP(Server* server, const std::string& name);
  bool Register(Node* node, std::uint32_t flags, std::uint8_t settings);

  // Null for what does not exist.
  Server* FindServer(const std::string& name);
  Server* FindServer(unsigned long id);
  Node* FindAP(const std::string& name);
  Node* FindAP(unsigned long id);
  Node* FindNode(unsigned long id);
  std::uint32_t NextId() const { return preferences_.next_id; }

 private:
  Node NewNode(const std::string& name, std::uint8_t type, std::uint32_t flags);

  CNetPref preferences_;
  std::list<Server> servers_;
};

// One operation with its arguments, of which it takes those that it needs.
struct Step {
  std::size_t operation = 0;
  std::string name, other_name;
  unsigned long id = 0, other_id = 0;
  std::uint32_t flags = 0;
  std::uint8_t byte = 0;

  std::string Text() const;
  unsigned long Run(CNCCNet& net) const;
  unsigned long Run(Model& model) const;
};

// Names collide often; identifiers are mostly of objects that exist or existed.
Step RandomStep(std::mt19937& random, const Model& model);
