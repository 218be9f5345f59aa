// The public forms of the generators of directory files. They differ in nothing but the rows of
// directory_files.h, so that here each generator is one line.

#include "generate/directories/directory_files.h"

using namespace ncc;

#define FORMS(GENERATOR, FILE)                                                               \
  bool CNCCNet::GENERATOR(const char* folder) { return GenerateAll(*state_, FILE, folder); } \
  bool CNCCNet::GENERATOR(const char* folder, unsigned long id) {                            \
    return GenerateOne(*state_, FILE, folder, id);                                           \
  }                                                                                          \
  bool CNCCNet::GENERATOR(const char* folder, std::list<unsigned long> ids) {                \
    return GenerateListed(*state_, FILE, folder, ids);                                       \
  }                                                                                          \
  bool CNCCNet::GENERATOR(const char* folder, TDBObjId& node) {                              \
    return GenerateOf(*state_, FILE, folder, node);                                          \
  }

#define FORMS_WITH_MODE(GENERATOR, FILE)                                                          \
  bool CNCCNet::GENERATOR(const char* folder, unsigned char mode) {                               \
    return GenerateAll(*state_, FILE, folder, mode);                                              \
  }                                                                                               \
  bool CNCCNet::GENERATOR(const char* folder, unsigned char mode, unsigned long id) {             \
    return GenerateOne(*state_, FILE, folder, id, mode);                                          \
  }                                                                                               \
  bool CNCCNet::GENERATOR(const char* folder, unsigned char mode, std::list<unsigned long> ids) { \
    return GenerateListed(*state_, FILE, folder, ids, mode);                                      \
  }                                                                                               \
  bool CNCCNet::GENERATOR(const char* folder, unsigned char mode, TDBObjId& node) {               \
    return GenerateOf(*state_, FILE, folder, node, mode);                                         \
  }

FORMS(GenApa, kApUsers)
FORMS(GenApc, kApDepLinks)
FORMS(GenApl, kEmptyApl)
FORMS(GenApu, kApDepPlaces)
FORMS(GenTun, kEmptyTunnels)
FORMS(GenApnCrc, kEmptyCrc)
FORMS(GenApnCrg, kApStampList)
FORMS(GenMAPApa, kServerUsers)
FORMS(GenMAPApnCrg, kServerStampList)
FORMS_WITH_MODE(GenApn, kApNodes)
FORMS_WITH_MODE(GenMAPApn, kServerNodes)

#undef FORMS_WITH_MODE
#undef FORMS
