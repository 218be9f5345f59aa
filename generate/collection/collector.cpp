#include "core/operation.h"
#include "generate/collection/collection.h"
#include "nccnet/netdb.h"

#include <stdexcept>

using namespace ncc;

class CFileCollector::Impl {
 public:
  Impl(NetState& net, CCollectorOptions options) : net_(net) {
    const LockScope lock(net.lock);
    if (!net.base) throw std::runtime_error("no database is open");
    if (net.collection != nullptr)
      throw std::runtime_error("the network's files are being collected already");
    collection_ = std::make_unique<Collection>(net, std::move(options));
    net.collection = collection_.get();
  }
  ~Impl() {
    const LockScope lock(net_.lock);
    net_.collection = nullptr;
  }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  Collection& Files() const { return *collection_; }
  ReentrantLock& Lock() const { return net_.lock; }

 private:
  NetState& net_;
  std::unique_ptr<Collection> collection_;
};

CFileCollector::CFileCollector(CNCCNet& net, CCollectorOptions options)
    : impl_(std::make_unique<Impl>(StateOf::Net(net), std::move(options))) {}
CFileCollector::~CFileCollector() = default;

bool CFileCollector::HasManifest() const { return impl_->Files().HasManifest(); }
const std::string& CFileCollector::Problem() const { return impl_->Files().Problem(); }
bool CFileCollector::IsUpToDate(const std::vector<Part>& parts) const {
  const LockScope lock(impl_->Lock());
  return impl_->Files().IsUpToDate(parts);
}
void CFileCollector::BeginPart(const Part& part, bool is_whole) {
  const LockScope lock(impl_->Lock());
  impl_->Files().BeginPart(part, is_whole);
}
void CFileCollector::Clear(const std::string& pattern) { impl_->Files().Clear(pattern); }
std::vector<std::string> CFileCollector::TouchedFiles() const {
  return impl_->Files().TouchedFiles();
}
std::vector<CFileChange> CFileCollector::Changes() const { return impl_->Files().Changes(); }
void CFileCollector::WriteManifest(const char* file) const { impl_->Files().WriteManifest(file); }
std::size_t CFileCollector::KeptFiles() const { return impl_->Files().KeptFiles(); }
