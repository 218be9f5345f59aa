#include "model.h"

bool SameName(const std::string& a, const std::string& b) {
  const auto fold = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](char x, char y) { return fold(x) == fold(y); });
}

std::string LittleEndian(std::uint32_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i));
  return text;
}

std::string Model::Object::Head() const {
  return name_field + LittleEndian(id, 4) + LittleEndian(type, 1);
}

void Model::Object::Rename(const std::string& name) {
  name_field.replace(0, name.size() + 1, name.c_str(), name.size() + 1);
}

std::string Model::Node::Image() const {
  return Head() + LittleEndian(number, 4) + LittleEndian(flags, 4) + LittleEndian(attribute, 1) +
         LittleEndian(ap_count, 4) + LittleEndian(server_id, 4) + LittleEndian(settings, 1) +
         LittleEndian(value, 2);
}

bool Model::CanBe(const Wish& as) {
  if (!as) return true;
  const unsigned long id = as->id;
  return id != 0 && id <= kMaxIdentifier && as->number <= 0xFFFFFFFF && FindAny(id) == nullptr;
}

unsigned long Model::AddServer(const std::string& name, std::uint32_t flags, std::uint16_t value,
                               const Wish& as) {
  if (!Fits(name) || FindServer(name) != nullptr || !CanBe(as)) return 0;
  Server server = NewObject<Server>(name, kTypeServer, as);
  server.flags = flags;
  server.settings = preferences_.node_settings;
  server.number = NumberOf(preferences_.server_counter, as);
  preferences_.server_counter = std::max<std::uint32_t>(preferences_.server_counter, server.number);
  server.attribute = 1;
  server.value = value;
  servers_.push_back(server);
  return server.id;
}

bool Model::DeleteServer(Server* server) {
  if (server == nullptr) return false;
  for (Server& other : servers_) std::erase(other.links, server->id);
  for (const Node& ap : server->aps) ForgetNode(ap);
  ForgetNode(*server);
  servers_.remove_if([&](const Server& each) { return &each == server; });
  return true;
}

bool Model::ModifyServer(Server* server, const std::string& name) {
  if (server == nullptr || !Fits(name) || FindServer(name) != nullptr) return false;
  server->Rename(name);
  return true;
}

bool Model::Link(Server* one, Server* other) {
  if (one == nullptr || other == nullptr || one == other) return false;
  if (std::count(one->links.begin(), one->links.end(), other->id) > 0) return true;
  one->links.push_back(other->id);
  other->links.push_back(one->id);
  return true;
}

bool Model::Unlink(Server* one, Server* other) {
  if (one == nullptr || other == nullptr) return false;
  std::erase(one->links, other->id);
  std::erase(other->links, one->id);
  return true;
}

unsigned long Model::AddAP(Server* server, const std::string& name, std::uint32_t flags,
                           const Wish& as) {
  if (server == nullptr || !Fits(name) || !CanBe(as)) return 0;
  Node ap = NewObject<Node>(name, kTypeAP, as);
  ap.flags = flags;
  ap.settings = preferences_.node_settings;
  ap.number = NumberOf(server->ap_count++, as);
  ap.server_id = server->id;
  server->aps.push_back(ap);
  return ap.id;
}

bool Model::ModifyAP(Node* ap, const std::string& name) {
  if (ap == nullptr || !Fits(name) || FindAP(name) != nullptr) return false;
  ap->Rename(name);
  return true;
}

bool Model::ChangeSrv(Node* ap, Server* server) {
  if (ap == nullptr || server == nullptr) return false;
  Server& old = *FindServer(ap->server_id);
  const auto at =
      std::find_if(old.aps.begin(), old.aps.end(), [&](Node& each) { return &each == ap; });
  server->aps.splice(server->aps.end(), old.aps, at);
  --old.ap_count;
  ++server->ap_count;
  ap->server_id = server->id;
  return true;
}

bool Model::DeleteAP(Server* server, const std::string& name) {
  Node* const ap = server != nullptr ? FindIn(server->aps, name) : nullptr;
  if (ap == nullptr) return false;
  ForgetNode(*ap);
  server->aps.remove_if([&](const Node& each) { return &each == ap; });
  --server->ap_count;
  return true;
}

bool Model::SetNote(Object* object, const std::string& key, const std::string& value) {
  if (object == nullptr || key.size() == Step::kNullName || value.size() == Step::kNullName)
    return false;
  object->notes[key] = value;
  return true;
}

bool Model::RemoveNote(Object* object, const std::string& key) {
  return object != nullptr && object->notes.erase(key) != 0;
}

bool Model::Register(Node* node, std::uint32_t flags, std::uint8_t settings) {
  if (node == nullptr) return false;
  node->flags = flags;
  node->settings = settings;
  return true;
}

Model::Server* Model::FindServer(const std::string& name) { return FindIn(servers_, name); }
Model::Server* Model::FindServer(unsigned long id) { return FindIn(servers_, id); }

Model::Node* Model::FindAP(const std::string& name) {
  for (Server& server : servers_) {
    if (Node* const ap = FindIn(server.aps, name)) return ap;
  }
  return nullptr;
}

Model::Node* Model::FindAP(unsigned long id) {
  for (Server& server : servers_) {
    if (Node* const ap = FindIn(server.aps, id)) return ap;
  }
  return nullptr;
}

Model::Node* Model::FindNode(unsigned long id) {
  Server* const server = FindServer(id);
  return server != nullptr ? server : FindAP(id);
}

Model::Object* Model::FindAny(unsigned long id) {
  if (Object* const node = FindNode(id)) return node;
  if (Object* const user = FindAB(id)) return user;
  if (Object* const dep = FindDep(id)) return dep;
  return FindNGrp(id);
}
