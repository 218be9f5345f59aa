// The table of random operations: each says what it does to a network object and what to the model.
#include "model.h"

#include <iomanip>
#include <sstream>
#include <stdexcept>

namespace {

struct Action {
  const char* name;
  int weight;
  // What the step's id, other id, name and other name mostly belong to: a letter of Model::Objects;
  // '.' for none.
  const char* kinds;
  unsigned long (*on_net)(CNCCNet&, const Step&);
  unsigned long (*on_model)(Model&, const Step&);
};

Action Row(const char* name, int weight, const char* kinds, decltype(Action::on_net) on_net,
           decltype(Action::on_model) on_model) {
  return {name, weight, kinds, on_net, on_model};
}

const char* Arg(const std::string& name) {
  return name.size() == Step::kNullName ? nullptr : name.c_str();
}

// For what has no result, or one that is always the same.
unsigned long Succeeded(CNCCNet& net) { return *net.LastError() == '\0' ? 1 : 0; }

unsigned long LinkDeps(CNCCNet& net, const Step& s) {
  bool changed = false;
  if (!net.LinkDepToDep(s.id, s.other_id, &changed)) return 0;
  return changed ? 2 : 1;
}

CColId Collective(const Step& s) { return {s.flags, s.byte}; }
// Few, so that they repeat.
std::string KeyOfNote(const Step& s) {
  const bool is_null = Arg(s.name) == nullptr;
  return is_null ? s.name : std::string(1, static_cast<char>('k' + s.byte % 3));
}
CIdentity Chosen(const Step& s) { return {s.id, s.byte % 4U == 0 ? s.flags : 0U}; }

#define NET(expression) \
  [](CNCCNet& n, [[maybe_unused]] const Step& s) -> unsigned long { return expression; }
#define MODEL(expression) \
  [](Model& m, [[maybe_unused]] const Step& s) -> unsigned long { return expression; }
#define NAME Arg(s.name)
#define OTHER_NAME Arg(s.other_name)
#define LIST std::list<CColAb>(s.memberships.begin(), s.memberships.end())

// By identifier and by name.
#define MODIFY(Kind, letter)                                                                 \
  Row("Modify" #Kind " id", 2, letter "...", NET(n.Modify##Kind(s.id, NAME)),                \
      MODEL(m.Modify##Kind(m.Find##Kind(s.id), s.name))),                                    \
      Row("Modify" #Kind " name", 2, ".." letter ".", NET(n.Modify##Kind(NAME, OTHER_NAME)), \
          MODEL(m.Modify##Kind(m.Find##Kind(s.name), s.other_name)))
#define DELETE(Kind, letter, weight)                                                  \
  Row("Delete" #Kind " id", weight, letter "...", NET(n.Delete##Kind(s.id)),          \
      MODEL(m.Delete##Kind(m.Find##Kind(s.id)))),                                     \
      Row("Delete" #Kind " name", weight, ".." letter ".", NET(n.Delete##Kind(NAME)), \
          MODEL(m.Delete##Kind(m.Find##Kind(s.name))))
#define PAIR(call, weight, Kind, letter, on_model)                                  \
  Row(#call " id", weight, letter letter "..", NET(n.call(s.id, s.other_id)),       \
      MODEL(m.on_model(m.Find##Kind(s.id), m.Find##Kind(s.other_id)))),             \
      Row(#call " name", weight, ".." letter letter, NET(n.call(NAME, OTHER_NAME)), \
          MODEL(m.on_model(m.Find##Kind(s.name), m.Find##Kind(s.other_name))))

const Action kActions[] = {
    {"AddServer", 5, "....", NET(n.AddServer(NAME, s.flags, s.byte)),
     MODEL(m.AddServer(s.name, s.flags, s.byte))},
    {"AddAP id", 7, "S...", NET(n.AddAP(s.id, NAME, s.flags)),
     MODEL(m.AddAP(m.FindServer(s.id), s.name, s.flags))},
    {"AddAP name", 4, "..S.", NET(n.AddAP(NAME, OTHER_NAME, s.flags)),
     MODEL(m.AddAP(m.FindServer(s.name), s.other_name, s.flags))},
    {"AddServerAs", 2, "....", NET(AddServerAs(n, Chosen(s), NAME, s.flags, s.byte)),
     MODEL(m.AddServer(s.name, s.flags, s.byte, Chosen(s)))},
    {"AddAPAs", 3, ".S..", NET(AddAPAs(n, Chosen(s), s.other_id, NAME, s.flags)),
     MODEL(m.AddAP(m.FindServer(s.other_id), s.name, s.flags, Chosen(s)))},
    DELETE(Server, "S", 1),
    MODIFY(Server, "S"),
    PAIR(LinkSrvToSrv, 4, Server, "S", Link),
    PAIR(DeleteLink, 2, Server, "S", Unlink),
    MODIFY(AP, "A"),
    {"ChangeSrv ids", 3, "AS..", NET(n.ChangeSrv(s.id, s.other_id)),
     MODEL(m.ChangeSrv(m.FindAP(s.id), m.FindServer(s.other_id)))},
    {"ChangeSrv name, id", 2, "S.A.", NET(n.ChangeSrv(NAME, s.id)),
     MODEL(m.ChangeSrv(m.FindAP(s.name), m.FindServer(s.id)))},
    {"ChangeSrv names", 3, "..AS", NET(n.ChangeSrv(NAME, OTHER_NAME)),
     MODEL(m.ChangeSrv(m.FindAP(s.name), m.FindServer(s.other_name)))},
    {"DeleteAP id", 4, "S.A.", NET(n.DeleteAP(s.id, NAME)),
     MODEL(m.DeleteAP(m.FindServer(s.id), s.name))},
    {"DeleteAP names", 3, "..SA", NET(n.DeleteAP(NAME, OTHER_NAME)),
     MODEL(m.DeleteAP(m.FindServer(s.name), s.other_name))},
    {"SetNote", 4, "N...", NET(SetNote(n, s.id, Arg(KeyOfNote(s)), OTHER_NAME)),
     MODEL(m.SetNote(m.FindAny(s.id), KeyOfNote(s), s.other_name))},
    {"RemoveNote", 4, "N...", NET(RemoveNote(n, s.id, Arg(KeyOfNote(s)))),
     MODEL(m.RemoveNote(m.FindAny(s.id), KeyOfNote(s)))},
    {"RegAPP", 2, "N...", NET(n.RegAPP(s.id, s.flags, s.byte)),
     MODEL(m.Register(m.FindNode(s.id), s.flags, s.byte))},
    {"RegSrv", 2, "S...", NET(n.RegSrv(s.id, s.flags, s.byte)),
     MODEL(m.Register(m.FindServer(s.id), s.flags, s.byte))},

    {"CreateAB", 5, "....", NET(n.CreateAB(NAME)), MODEL(m.CreateAB(s.name))},
    {"CreateABAs", 2, "....", NET(CreateABAs(n, s.id, NAME)),
     MODEL(m.CreateAB(s.name, CIdentity{s.id}))},
    MODIFY(AB, "U"),
    DELETE(AB, "U", 2),
    {"LinkABToDep id", 12, "DU..", NET(n.LinkABToDep(s.id, s.other_id, s.byte % 4 != 0)),
     MODEL(m.LinkABToDep(m.FindDep(s.id), m.FindAB(s.other_id), s.byte % 4 != 0))},
    {"LinkABToDep name", 5, "..DU", NET(n.LinkABToDep(NAME, OTHER_NAME, s.byte % 4 != 0)),
     MODEL(m.LinkABToDep(s.name, s.other_name, s.byte % 4 != 0))},
    {"DeleteABFromDep id", 4, "DU..", NET((n.DeleteABFromDep(s.id, s.other_id), Succeeded(n))),
     MODEL(m.DeleteABFromDep(m.FindDep(s.id), m.FindAB(s.other_id)))},
    {"DeleteABFromDep name", 4, "..DU", NET((n.DeleteABFromDep(NAME, OTHER_NAME), Succeeded(n))),
     MODEL(m.DeleteABFromDep(m.FindDep(s.name), s.other_name))},
    {"DeleteAllAb", 2, "D...", NET((n.DeleteAllAb(s.id), Succeeded(n))),
     MODEL(m.DeleteAllAb(m.FindDep(s.id)))},
    {"SetPrimaryCol id", 2, "U...", NET(n.SetPrimaryCol(s.id, Collective(s))),
     MODEL(m.SetPrimary(m.FindAB(s.id), Collective(s)))},
    {"SetPrimaryCol name", 2, "..U.", NET(n.SetPrimaryCol(NAME, Collective(s))),
     MODEL(m.SetPrimary(m.FindAB(s.name), Collective(s)))},
    {"SetListAvailableColAb id", 3, "UD..",
     NET((n.SetListAvailableColAb(s.id, s.other_id, LIST, s.byte % 2), Succeeded(n))),
     MODEL(m.SetMemberships(m.FindAB(s.id), s.other_id, s.memberships, s.byte % 2))},
    {"SetListAvailableColAb name", 3, ".DU.",
     NET((n.SetListAvailableColAb(NAME, s.other_id, LIST, s.byte % 2), Succeeded(n))),
     MODEL(m.SetMemberships(m.FindAB(s.name), s.other_id, s.memberships, s.byte % 2))},

    {"CreateDep", 5, "....", NET(n.CreateDep(NAME)), MODEL(m.CreateDep(s.name))},
    {"CreateDepAs", 2, "....", NET(CreateDepAs(n, s.id, NAME)),
     MODEL(m.CreateDep(s.name, CIdentity{s.id}))},
    MODIFY(Dep, "D"),
    DELETE(Dep, "D", 2),
    {"LinkDepToDep id", 5, "DD..", &LinkDeps,
     MODEL(m.LinkDeps(m.FindDep(s.id), m.FindDep(s.other_id)))},
    {"LinkDepToDep name", 5, "..DD", NET(n.LinkDepToDep(NAME, OTHER_NAME)),
     MODEL(m.LinkDeps(s.name, s.other_name))},
    {"LinkAllDeps", 1, "....", NET(n.LinkAllDeps() ? 2 : Succeeded(n)), MODEL(m.LinkAllDeps())},
    PAIR(DeleteLinkDepToDep, 3, Dep, "D", UnlinkDeps),

    {"CreateNGrp", 5, "....", NET(n.CreateNGrp(NAME)), MODEL(m.CreateNGrp(s.name))},
    {"CreateNGrpAs", 2, "....", NET(CreateNGrpAs(n, Chosen(s), NAME)),
     MODEL(m.CreateNGrp(s.name, Chosen(s)))},
    MODIFY(NGrp, "G"),
    DELETE(NGrp, "G", 2),
    {"LinkNNToNGrp", 12, "GN..", NET(n.LinkNNToNGrp(s.id, s.other_id)),
     MODEL(m.LinkNode(m.FindNGrp(s.id), m.FindNode(s.other_id)))},
    {"DeleteNNFromNGrp", 4, "GN..", NET(n.DeleteNNFromNGrp(s.id, s.other_id)),
     MODEL(m.UnlinkNode(m.FindNGrp(s.id), m.FindNode(s.other_id)))},
    {"LinkDepToNGrp", 8, "GD..", NET(n.LinkDepToNGrp(s.id, s.other_id)),
     MODEL(m.LinkDep(m.FindNGrp(s.id), m.FindDep(s.other_id)))},
    {"DeleteDepFromNGrp", 3, "GD..", NET(n.DeleteDepFromNGrp(s.id, s.other_id)),
     MODEL(m.UnlinkDep(m.FindNGrp(s.id), m.FindDep(s.other_id)))},
};

// Draws the arguments of a step.
class Draw {
 public:
  Draw(std::mt19937& random, const Model& model) : random_(random), model_(model) {}

  std::string Name(char kind) {
    const auto objects = model_.Objects(kind);
    if (objects.empty() || random_() % 3 == 0) return NewName();
    std::string name = objects[random_() % objects.size()]->Name();
    char& first = name.front();
    if (random_() % 4 == 0 && first >= 'A' && first <= 'z') first = static_cast<char>(first ^ 32);
    return name;
  }
  unsigned long Id(char kind) {
    const auto objects = model_.Objects(kind);
    if (!objects.empty() && random_() % 4 != 0) return objects[random_() % objects.size()]->id;
    const unsigned long id = random_() % (model_.NextId() + 1);
    return random_() % 20 == 0 ? id + 0x100000000 : id;
  }
  // Of this Dep mostly, with repetitions.
  std::vector<CColAb> Memberships(unsigned long dep) {
    std::vector<CColAb> list(random_() % 6);
    for (CColAb& membership : list) {
      membership.id.dep = static_cast<std::uint32_t>(random_() % 5 == 0 ? Id('D') : dep);
      membership.id.node = static_cast<std::uint32_t>(Id('N'));
      membership.kind = static_cast<std::uint8_t>(random_() % 3);
    }
    return list;
  }

 private:
  std::string NewName() {
    static constexpr std::size_t kLengths[] = {51, 52, 52, Step::kNullName};
    if (random_() % 6 == 0) return std::string(kLengths[random_() % 4], 'w');
    static constexpr char kLetters[] = "abcABC[";  // the last one has no other case
    std::string name;
    for (auto length = 1 + random_() % 2; length > 0; --length) name += kLetters[random_() % 7];
    // A capital and a small letter, but not of ASCII.
    if (random_() % 4 == 0) name += random_() % 2 == 0 ? "\xC0 tail" : "\xE0 tail";
    return name;
  }

  std::mt19937& random_;
  const Model& model_;
};

}  // namespace

Step RandomStep(std::mt19937& random, const Model& model) {
  static const std::vector<double> weights = [] {
    std::vector<double> list;
    for (const Action& action : kActions) list.push_back(action.weight);
    return list;
  }();
  Step step;
  step.operation = std::discrete_distribution<std::size_t>(weights.begin(), weights.end())(random);
  const char* const kinds = kActions[step.operation].kinds;
  Draw draw(random, model);
  step.id = draw.Id(kinds[0]);
  step.other_id = random() % 8 == 0 ? step.id : draw.Id(kinds[1]);
  step.name = draw.Name(kinds[2]);
  step.other_name = random() % 8 == 0 ? step.name : draw.Name(kinds[3]);
  step.flags = random() % 8 == 0 ? 0 : 1U << random() % 32;
  step.byte = random() % 8 == 0 ? std::uint8_t{0} : static_cast<std::uint8_t>(random());
  step.memberships = draw.Memberships(step.other_id);
  return step;
}

std::string Step::Text() const {
  std::string text = std::string(kActions[operation].name) + " \"" + name + "\" \"" + other_name +
                     "\" " + std::to_string(id) + " " + std::to_string(other_id) + " " +
                     std::to_string(flags) + " " + std::to_string(byte);
  for (const CColAb& membership : memberships) {
    text += " (" + std::to_string(membership.id.dep) + " " + std::to_string(membership.id.node) +
            " " + std::to_string(membership.kind) + ")";
  }
  return text;
}

Step StepOf(const std::string& text) {
  const std::string name = text.substr(0, text.find(" \""));
  Step step;
  while (name != kActions[step.operation].name) {
    if (++step.operation == std::size(kActions)) throw std::invalid_argument(text);
  }
  std::istringstream in(text.substr(name.size()));
  int byte = 0;
  in >> std::quoted(step.name) >> std::quoted(step.other_name) >> step.id >> step.other_id;
  in >> step.flags >> byte;
  step.byte = static_cast<std::uint8_t>(byte);
  return step;
}

unsigned long Step::Run(CNCCNet& net) const { return kActions[operation].on_net(net, *this); }
unsigned long Step::Run(Model& model) const { return kActions[operation].on_model(model, *this); }

std::vector<std::string> OperationNames() {
  std::vector<std::string> names;
  for (const Action& action : kActions) names.emplace_back(action.name);
  return names;
}
