// A plain model of a network: what every operation should do, said in the simplest way, and a
// source of random operations that run on the model and on a network object alike.
#pragma once

#include "nccnet/nccnet.h"

#include <algorithm>
#include <list>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

class Model {
 public:
  using Wish = std::optional<CIdentity>;  // identifier and ordinal of a new object
  using Numbers = std::vector<unsigned long>;

  struct Object {
    std::string name_field;  // all 52 bytes: a rename leaves those behind its zero
    std::uint32_t id = 0;
    std::uint8_t type = 0;
    Numbers groups;  // node groups with this node or Dep
    std::map<std::string, std::string> notes;
    unsigned long added = 0;  // users, Deps and groups: the how manieth of all

    std::string Head() const;
    std::string Name() const { return name_field.c_str(); }
    void Rename(const std::string& name);
  };
  struct Node : Object {
    std::uint32_t number = 0;
    std::uint32_t flags = 0;
    std::uint8_t attribute = 0;
    std::uint32_t ap_count = 0;
    std::uint32_t server_id = 0;
    std::uint8_t settings = 0;
    std::uint16_t value = 0;

    std::string Image() const;
  };
  struct Server : Node {
    Numbers links;
    std::list<Node> aps;
  };
  struct Item {
    TDBObjId object;
    std::uint8_t kind = 0;
    std::optional<std::string> label;  // none: the name of what it refers to
  };
  struct Dep : Object {
    std::uint32_t ngrp_id = 0;
    std::vector<Item> items;

    std::string Image() const;
    Numbers Linked(std::uint8_t kind) const;
    Item* Find(const TDBObjId& object);
    void Append(const Object& other, std::uint8_t kind, const std::string& name);
    void Remove(const TDBObjId& object);  // the first item
  };
  struct User : Object {
    CColId primary{0, 0};
    std::vector<CColAb> memberships;

    std::string Image() const;
  };
  struct Group : Object {
    std::uint32_t number = 0;
    Numbers nodes;
    Numbers deps;

    std::string Image() const;
  };

  explicit Model(const CNetPref& preferences) : preferences_(preferences) {}

  // The same text as Describe of a network in this state.
  std::string Describe() const;
  // Objects of a kind: S, A, N for any node, U, D, G.
  std::vector<const Object*> Objects(char kind) const;
  std::uint32_t NextId() const { return preferences_.next_id; }

  // Null for what does not exist; of several with one name the first.
  Server* FindServer(const std::string& name);
  Server* FindServer(unsigned long id);
  Node* FindAP(const std::string& name);
  Node* FindAP(unsigned long id);
  Node* FindNode(unsigned long id);
  User* FindAB(const std::string& name);
  User* FindAB(unsigned long id);
  Dep* FindDep(const std::string& name);
  Dep* FindDep(unsigned long id);
  Group* FindNGrp(const std::string& name);
  Group* FindNGrp(unsigned long id);
  Object* FindAny(unsigned long id);

  unsigned long AddServer(const std::string& name, std::uint32_t flags, std::uint16_t value,
                          const Wish& as = {});
  bool DeleteServer(Server* server);
  bool ModifyServer(Server* server, const std::string& name);
  bool Link(Server* one, Server* other);
  bool Unlink(Server* one, Server* other);
  unsigned long AddAP(Server* server, const std::string& name, std::uint32_t flags,
                      const Wish& as = {});
  bool ModifyAP(Node* ap, const std::string& name);
  bool ChangeSrv(Node* ap, Server* server);
  bool DeleteAP(Server* server, const std::string& name);
  bool SetNote(Object* object, const std::string& key, const std::string& value);
  bool RemoveNote(Object* object, const std::string& key);
  bool Register(Node* node, std::uint32_t flags, std::uint8_t settings);

  unsigned long CreateAB(const std::string& name, const Wish& as = {});
  bool ModifyAB(User* user, const std::string& name);
  bool DeleteAB(User* user);
  bool LinkABToDep(Dep* dep, User* user, bool collectives);
  bool LinkABToDep(const std::string& dep, const std::string& user, bool collectives);
  bool DeleteABFromDep(Dep* dep, User* user);
  bool DeleteABFromDep(Dep* dep, const std::string& user);
  bool DeleteAllAb(Dep* dep);
  bool SetPrimary(User* user, CColId collective);
  bool SetMemberships(User* user, unsigned long dep, std::vector<CColAb> list, bool remove);

  unsigned long CreateDep(const std::string& name, const Wish& as = {});
  bool ModifyDep(Dep* dep, const std::string& name);
  bool DeleteDep(Dep* dep);
  // 0 for an unknown Dep, 1 when both had the link, 2 when one is new.
  unsigned long LinkDeps(Dep* one, Dep* other);
  bool LinkDeps(const std::string& one, const std::string& other);
  bool LinkAllDeps();
  bool UnlinkDeps(Dep* one, Dep* other);

  unsigned long CreateNGrp(const std::string& name, const Wish& as = {});
  bool ModifyNGrp(Group* group, const std::string& name);
  bool DeleteNGrp(Group* group);
  bool LinkNode(Group* group, Node* node);
  bool UnlinkNode(Group* group, Node* node);
  bool LinkDep(Group* group, Dep* dep);
  bool UnlinkDep(Group* group, Dep* dep);

 private:
  bool CanBe(const Wish& as);
  // Adds an object to those of its kind, which stand by their identifiers.
  template <class Kind>
  Kind* AddTo(std::list<Kind>& all, const std::string& name, std::uint8_t type, const Wish& as);
  template <class Kind>
  Kind NewObject(const std::string& name, std::uint8_t type, const Wish& as);
  template <class Kind>
  bool Modify(std::list<Kind>& all, Kind* object, const std::string& name);
  void ForgetNode(const Node& node);
  void ForgetItems(const Object& object);
  void EndMemberships(const Dep& dep);
  bool LinkDeps(const std::string& one_name, const std::string& other_name, Dep* one, Dep* other);
  std::string DescribeUsers();
  std::string DescribeDeps();
  std::string DescribeLoose();
  Numbers PossibleOf(const User& user);

  CNetPref preferences_;
  std::list<Server> servers_;
  std::list<User> users_;
  std::list<Dep> deps_;
  std::list<Group> groups_;
  unsigned long added_ = 0;
};

// A name or an identifier among a list of the model's objects: the first; null when there is none.
bool SameName(const std::string& a, const std::string& b);

template <class Kind>
Kind* FindIn(std::list<Kind>& list, unsigned long id) {
  const auto at = std::find_if(list.begin(), list.end(), [&](Kind& e) { return e.id == id; });
  return at != list.end() ? &*at : nullptr;
}

template <class Kind>
Kind* FindIn(std::list<Kind>& list, const std::string& name) {
  Kind* first = nullptr;
  for (Kind& each : list) {
    const bool is_before = first == nullptr || each.added < first->added;
    if (is_before && SameName(each.Name(), name)) first = &each;
  }
  return first;
}

inline bool Fits(const std::string& name) { return name.size() <= kMaxNameLength; }
// The ordinal that is wished for or the one behind `before`.
inline std::uint32_t NumberOf(std::uint32_t before, const Model::Wish& as) {
  return as && as->number != 0 ? static_cast<std::uint32_t>(as->number) : before + 1;
}
std::string LittleEndian(std::uint32_t value, int bytes);

template <class Kind>
Kind Model::NewObject(const std::string& name, std::uint8_t type, const Wish& as) {
  Kind object;
  object.name_field.resize(kMaxNameLength + 1);
  object.Rename(name);
  object.id = as ? static_cast<std::uint32_t>(as->id) : preferences_.next_id;
  preferences_.next_id = std::max<std::uint32_t>(preferences_.next_id, object.id + 1);
  object.type = type;
  return object;
}

template <class Kind>
Kind* Model::AddTo(std::list<Kind>& all, const std::string& name, std::uint8_t type,
                   const Wish& as) {
  if (!Fits(name) || !CanBe(as)) return nullptr;
  Kind object = NewObject<Kind>(name, type, as);
  object.added = ++added_;
  const auto behind =
      std::find_if(all.begin(), all.end(), [&](Kind& e) { return e.id > object.id; });
  return &*all.insert(behind, object);
}

// One operation with its arguments, of which it takes those that it needs.
struct Step {
  std::size_t operation = 0;
  std::string name, other_name;  // one of kNullName's length stands for a null pointer
  unsigned long id = 0, other_id = 0;
  std::uint32_t flags = 0;
  std::uint8_t byte = 0;
  std::vector<CColAb> memberships;

  static constexpr std::size_t kNullName = 60;

  std::string Text() const;
  unsigned long Run(CNCCNet& net) const;
  unsigned long Run(Model& model) const;
};

// The step of which `text`, or how it begins, is the Text; without memberships.
Step StepOf(const std::string& text);
// Names collide often; names and identifiers are mostly of objects of the kind that is wanted.
Step RandomStep(std::mt19937& random, const Model& model);

// The operations that steps are drawn from.
std::vector<std::string> OperationNames();
