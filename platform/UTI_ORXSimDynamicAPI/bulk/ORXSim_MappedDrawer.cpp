#include <UTI_ORXSimDynamicAPI/ORXSim_MappedDrawer.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Distribution.h>
#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_DrawerFile.h>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

ORXSimMappedDrawer& ORXSimMappedDrawer::operator=(ORXSimMappedDrawer&& other) noexcept {
  std::swap(m_pages, other.m_pages);
  std::swap(m_mapped, other.m_mapped);
  std::swap(m_data, other.m_data);
  std::swap(m_bytes, other.m_bytes);
  return *this;
}

ORXSimMappedDrawer::~ORXSimMappedDrawer() {
  if (m_pages != nullptr)
    ::munmap(m_pages, m_mapped);
}

ORXSimMappedDrawer ORXSimDistributionRef::MapDrawer(int number) const {
  constexpr auto kKind = ORXSimStoreCall::kDistributions;
  return ORXSimStoreCall::Run("map drawer", m_id.Context(), kKind, [&](ORXSimStoreCall& call) {
    ORXSimMappedDrawer mapped;
    hdf_Operation& operation = call.Operation();
    ORXSimDrawerFile drawer = ORXSimDrawerFile::OpenOf(call, m_id.Minor(), number);
    if (!drawer.IsOpen())
      return mapped;
    drawer.Name(operation);
    if (!call.ShowsItsFile())
      return mapped;
    std::uint64_t offset = 0;
    const std::int64_t bytes = drawer.BytesOf(drawer.Items());
    if (!drawer.LiesAt(operation, offset))
      return mapped;
    const int file = H5Jget_hold_descriptor(call.Context()->hold.get());
    struct stat status;
    const auto size = static_cast<std::uint64_t>(bytes);
    if (file < 0 || ::fstat(file, &status) != 0 ||
        offset + size > static_cast<std::uint64_t>(status.st_size)) {
      operation.Refuse("the file ends before the drawer's numbers do");
      return mapped;
    }
    const std::uint64_t before = offset % static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    void* const pages =
        ::mmap(nullptr, size + before, PROT_READ, MAP_SHARED, file, static_cast<off_t>(offset - before));
    if (pages == MAP_FAILED) {
      operation.Refuse("the system does not map the file");
      return mapped;
    }
    mapped.m_pages = pages;
    mapped.m_mapped = size + before;
    mapped.m_data = static_cast<const char*>(pages) + before;
    mapped.m_bytes = bytes;
    return mapped;
  });
}
