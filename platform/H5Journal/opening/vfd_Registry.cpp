#include <H5Journal/opening/vfd_Registry.h>

#include <H5Journal/commit/vfd_Store.h>

#include <algorithm>
#include <vector>

namespace {
// Lives for ever: HDF5 closes files in an exit handler.
std::vector<vfd_Store*>& stores() {
  static auto& all = *new std::vector<vfd_Store*>;
  return all;
}
} // namespace

void vfd_Registry::Add(vfd_Store& store) {
  stores().push_back(&store);
}

void vfd_Registry::Remove(const vfd_Store& store) noexcept {
  auto& all = stores();
  all.erase(std::remove(all.begin(), all.end(), &store), all.end());
}

vfd_Store* vfd_Registry::InTheWay(const vfd_FileIdentity& file, bool readOnly, bool live) {
  for (vfd_Store* const store : stores())
    if (store->Identity() == file && !store->Forked() && !(store->ReadOnly() && readOnly) && !store->Live() &&
        !live)
      return store;
  return nullptr;
}
