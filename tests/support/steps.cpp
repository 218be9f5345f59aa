// The table of random operations: each says what it does to a network object and what to the model.
#include "model.h"

namespace {

struct Action {
  const char* name;
  int weight;
  unsigned long (*on_net)(CNCCNet&, const Step&);
  unsigned long (*on_model)(Model&, const Step&);
};

#define NET(expression) [](CNCCNet& net, const Step& s) -> unsigned long { return expression; }
#define MODEL(expression) [](Model& model, const Step& s) -> unsigned long { return expression; }

const Action kActions[] = {
    {"AddServer", 6, NET(net.AddServer(s.name.c_str(), s.flags, s.byte)),
     MODEL(model.AddServer(s.name, s.flags, s.byte))},
    {"AddAP id", 14, NET(net.AddAP(s.id, s.name.c_str(), s.flags)),
     MODEL(model.AddAP(model.FindServer(s.id), s.name, s.flags))},
    {"AddAP name", 6, NET(net.AddAP(s.name.c_str(), s.other_name.c_str(), s.flags)),
     MODEL(model.AddAP(model.FindServer(s.name), s.other_name, s.flags))},
    {"DeleteServer id", 1, NET(net.DeleteServer(s.id)),
     MODEL(model.DeleteServer(model.FindServer(s.id)))},
    {"DeleteServer name", 1, NET(net.DeleteServer(s.name.c_str())),
     MODEL(model.DeleteServer(model.FindServer(s.name)))},
    {"ModifyServer id", 2, NET(net.ModifyServer(s.id, s.name.c_str())),
     MODEL(model.ModifyServer(model.FindServer(s.id), s.name))},
    {"ModifyServer name", 2, NET(net.ModifyServer(s.name.c_str(), s.other_name.c_str())),
     MODEL(model.ModifyServer(model.FindServer(s.name), s.other_name))},
    {"LinkSrvToSrv id", 5, NET(net.LinkSrvToSrv(s.id, s.other_id)),
     MODEL(model.Link(model.FindServer(s.id), model.FindServer(s.other_id)))},
    {"LinkSrvToSrv name", 5, NET(net.LinkSrvToSrv(s.name.c_str(), s.other_name.c_str())),
     MODEL(model.Link(model.FindServer(s.name), model.FindServer(s.other_name)))},
    {"DeleteLink id", 2, NET(net.DeleteLink(s.id, s.other_id)),
     MODEL(model.Unlink(model.FindServer(s.id), model.FindServer(s.other_id)))},
    {"DeleteLink name", 2, NET(net.DeleteLink(s.name.c_str(), s.other_name.c_str())),
     MODEL(model.Unlink(model.FindServer(s.name), model.FindServer(s.other_name)))},
    {"ModifyAP id", 3, NET(net.ModifyAP(s.id, s.name.c_str())),
     MODEL(model.ModifyAP(model.FindAP(s.id), s.name))},
    {"ModifyAP name", 3, NET(net.ModifyAP(s.name.c_str(), s.other_name.c_str())),
     MODEL(model.ModifyAP(model.FindAP(s.name), s.other_name))},
    {"ChangeSrv ids", 4, NET(net.ChangeSrv(s.id, s.other_id)),
     MODEL(model.ChangeSrv(model.FindAP(s.id), model.FindServer(s.other_id)))},
    {"ChangeSrv name, id", 2, NET(net.ChangeSrv(s.name.c_str(), s.id)),
     MODEL(model.ChangeSrv(model.FindAP(s.name), model.FindServer(s.id)))},
    {"ChangeSrv names", 4, NET(net.ChangeSrv(s.name.c_str(), s.other_name.c_str())),
     MODEL(model.ChangeSrv(model.FindAP(s.name), model.FindServer(s.other_name)))},
    {"DeleteAP id", 4, NET(net.DeleteAP(s.id, s.name.c_str())),
     MODEL(model.DeleteAP(model.FindServer(s.id), s.name))},
    {"DeleteAP names", 2, NET(net.DeleteAP(s.name.c_str(), s.other_name.c_str())),
     MODEL(model.DeleteAP(model.FindServer(s.name), s.other_name))},
    {"RegAPP", 4, NET(net.RegAPP(s.id, s.flags, s.byte)),
     MODEL(model.Register(model.FindNode(s.id), s.flags, s.byte))},
    {"RegSrv", 2, NET(net.RegSrv(s.id, s.flags, s.byte)),
     MODEL(model.Register(model.FindServer(s.id), s.flags, s.byte))},
};

std::string RandomName(std::mt19937& random) {
  if (random() % 50 == 0) return std::string(50 + random() % 3, 'w');
  static constexpr char kLetters[] = "abcABC";
  std::string name;
  for (auto length = 1 + random() % 2; length > 0; --length) name += kLetters[random() % 6];
  if (random() % 4 == 0) name += "\xC0 tail";
  return name;
}

}  // namespace

Step RandomStep(std::mt19937& random, const Model& model) {
  static const std::vector<double> weights = [] {
    std::vector<double> list;
    for (const Action& action : kActions) list.push_back(action.weight);
    return list;
  }();
  Step step;
  step.operation = std::discrete_distribution<std::size_t>(weights.begin(), weights.end())(random);
  step.name = RandomName(random);
  step.other_name = RandomName(random);
  step.id = random() % (model.NextId() + 1);
  step.other_id = random() % 4 == 0 ? step.id : random() % (model.NextId() + 1);
  if (random() % 100 == 0) step.id += 0x100000000;
  step.flags = random() % 8 == 0 ? 0 : 1U << random() % 32;
  step.byte = static_cast<std::uint8_t>(random());
  return step;
}

std::string Step::Text() const {
  return std::string(kActions[operation].name) + " \"" + name + "\" \"" + other_name + "\" " +
         std::to_string(id) + " " + std::to_string(other_id) + " " + std::to_string(flags) + " " +
         std::to_string(byte);
}

unsigned long Step::Run(CNCCNet& net) const { return kActions[operation].on_net(net, *this); }
unsigned long Step::Run(Model& model) const { return kActions[operation].on_model(model, *this); }
