// The forms in which a file of a node is asked for: of one node, of all of them, of a list.
#pragma once

#include "generate/affected/affected_nodes.h"
#include "generate/collection/collection.h"
#include "generate/file_names.h"
#include "generate/generation.h"
#include "generate/output.h"

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <vector>

namespace ncc {

// Where the forms of a file differ from those of the others.
enum FormTraits : unsigned {
  kUsualForms = 0,
  kNoCallback = 1,   // none before each of all nodes
  kNeverStops = 2,   // not even behind a node
  kAllBefore = 4,    // the list form writes those of all nodes first
  kTakesParent = 8,  // the list form writes from the folder that the sub-folder is in
};

// A kind of file that there is for each node.
struct NodeFile {
  std::uint8_t type;       // of the nodes; kTypeNone for servers and APs
  const char* sub_folder;  // that the list form makes; null for none
  NodeFileName name;
  unsigned made_of;  // see MadeOf
  // Writes the file of a node that is there, into the folder as it was given.
  void (*write)(Generation& run, const std::string& folder, std::uint32_t node);
  unsigned traits = kUsualForms;

  bool Has(FormTraits trait) const { return (traits & trait) != 0; }
  std::string Path(const NetState& net, const std::string& folder, std::uint32_t node) const {
    return folder + name.Of(net.prefs.net_number, node);
  }
  // Those of all nodes.
  Collection::Names Names(const std::string& folder) const {
    return {folder + name.folder, name.stem, name.extension};
  }
};

// The files of a kind that need not be composed, as the collection of the network has it.
class KeptFiles {
 public:
  KeptFiles(const NetState& net, const NodeFile& file, const std::string& folder);
  // Keeps the node's file; false when it is to be written.
  bool Keep(std::uint32_t node);

 private:
  Collection* collection_;
  std::vector<Collection::Keepable> files_;  // by node
};

// What a kept file of a kind holds of which all hold the same; nothing when none was kept.
std::optional<SharedBytes> KeptBytes(const NetState& net, const NodeFile& file,
                                     const std::string& folder);

// The public forms. Between two nodes the lock is free; what fails is passed over.
// True.
bool GenerateAll(NetState& net, const NodeFile& file, const char* folder, unsigned char mode = 0);
// False for an unknown node alone.
bool GenerateOne(NetState& net, const NodeFile& file, const char* folder, unsigned long id,
                 unsigned char mode = 0);
// True.
bool GenerateListed(NetState& net, const NodeFile& file, const char* folder,
                    const std::list<unsigned long>& ids, unsigned char mode = 0);
// Of a node by its folder: false when its file is not written.
bool GenerateOf(NetState& net, const NodeFile& file, const char* folder, const TDBObjId& node,
                unsigned char mode = 0);

// The same within a generation.
void WriteAllNodes(Generation& run, const NodeFile& file, const char* folder);
bool WriteOneNode(Generation& run, const NodeFile& file, const char* folder, unsigned long id);
void WriteListedNodes(Generation& run, const NodeFile& file, const char* folder,
                      const std::list<unsigned long>& ids);

}  // namespace ncc
