#include "soak/scene.h"

using ncc::etcd::EtcdSettings;

Place::Place(const Machines* on)
    : machines(on), nodes(on != nullptr ? on->Places() : std::vector<NodePlace>(3)) {
  for (std::size_t i = 0; i < nodes.Count(); ++i)
    networks.push_back(std::make_unique<Proxy>(nodes.Port(i), nodes.Host(i)));
}

EtcdSettings Place::Settings(const std::string& prefix, int timeout) const {
  EtcdSettings settings;
  settings.file = "soak.cluster";
  settings.prefix = prefix;
  settings.lease = std::chrono::seconds(1);
  settings.timeout = std::chrono::seconds(timeout);
  for (std::size_t i = 0; i < nodes.Count(); ++i)
    settings.endpoints.push_back("http://" + nodes.Host(i) + ":" + std::to_string(nodes.Port(i)));
  return settings;
}

EtcdSettings Place::SettingsOfOwner(const std::string& prefix, int timeout) const {
  EtcdSettings settings = Settings(prefix, timeout);
  for (std::size_t i = 0; i < networks.size(); ++i)
    settings.endpoints[i] = "http://127.0.0.1:" + std::to_string(networks[i]->Port());
  return settings;
}

Scene::Scene(Place& where, const std::string& kind, std::uint64_t seed)
    : place(where),
      nodes(where.nodes),
      random(seed),
      prefix("/soak/" + kind + "/" + std::to_string(seed) + "/") {}
