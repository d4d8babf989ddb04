#include <UTI_ORXSimDynamicAPI/ORXSim_Inspect.h>

#include <UTI_ORXSimDynamicAPI/inspect/hdf_Blocks.h>
#include <UTI_ORXSimDynamicAPI/inspect/hdf_Walk.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Context.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>

#include <algorithm>

const ORXSimInspectedAttribute* ORXSimInspected::Attribute(const char* attributeName) const {
  const auto found = std::find_if(attributes.begin(), attributes.end(),
                                  [&](const auto& attribute) { return attribute.name == attributeName; });
  return found == attributes.end() ? nullptr : &*found;
}

bool ORXSimInspected::HasLink(const std::string& link) const {
  return std::find(links.begin(), links.end(), link) != links.end();
}

std::uint64_t ORXSimInspected::Elements() const {
  std::uint64_t elements = 1;
  for (const std::uint64_t dim : dims)
    if (__builtin_mul_overflow(elements, dim, &elements))
      return UINT64_MAX;
  return elements;
}

std::uint64_t ORXSimInspected::Bytes() const {
  std::uint64_t bytes = 0;
  return __builtin_mul_overflow(Elements(), static_cast<std::uint64_t>(std::max(size, 0)), &bytes)
             ? UINT64_MAX
             : bytes;
}

bool ORXSimInspected::Read(const std::function<bool(const unsigned char*, std::size_t)>& take,
                           std::string& cause) const {
  hdf_Operation operation("inspect", path.c_str());
  if (!isDataset || !sound) {
    cause = "not a dataset that can be trusted";
    return false;
  }
  if (hdf_ReadBlocks(m_object, take))
    return true;
  cause = hdf_CauseOf(operation);
  return false;
}

bool ORXSimInspect::Walk(ORXSimContextID id, ORXSimInspectVisitor& visitor, ORXSimInspectTotals& totals) {
  const auto context = hdf_Contexts::Find(id);
  hdf_Operation operation("inspect", context.get());
  if (!operation.Usable())
    return false;
  hsize_t fileBytes = 0;
  if (!operation.Check(H5Fget_filesize(context->file, &fileBytes)))
    return false;
  hdf_Walk walk(operation, context->file, fileBytes, visitor);
  walk.Run();
  totals = walk.Totals();
  return true;
}

// A writer without a journal is the one that even live readers are in the way of.
bool ORXSimInspect::IsFree(const cow_String& fileName) {
  return hdf_Try(false, [&] {
    hdf_Operation operation("look for users", fileName.CStr());
    H5J_options_t options{};
    options.version = H5J_OPTIONS_VERSION;
    const std::unique_ptr<H5J_hold_t, hdf_Releaser> hold(H5Jhold(fileName.CStr(), H5F_ACC_RDWR, &options));
    return hold != nullptr || operation.Refuse(H5Jlast_error());
  });
}

cow_String ORXSimInspect::HDF5Version() {
  unsigned major = 0, minor = 0, release = 0;
  H5get_libversion(&major, &minor, &release);
  const std::string text =
      std::to_string(major) + '.' + std::to_string(minor) + '.' + std::to_string(release);
  return {text.data(), text.size()};
}
