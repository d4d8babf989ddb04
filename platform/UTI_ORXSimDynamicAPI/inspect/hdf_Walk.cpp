#include <UTI_ORXSimDynamicAPI/inspect/hdf_Walk.h>

#include <UTI_ORXSimDynamicAPI/objects/hdf_Listing.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_ObjectRep.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>

#include <algorithm>

namespace {
constexpr std::uint64_t kLeastLink = 8; // no link takes less in any form of group

ORXSimInspectedType typeOf(const hdf_StoredType& type) {
  switch (type.family) {
  case H5T_INTEGER:
    return ORXSimInspectedType::kInteger;
  case H5T_FLOAT:
    return ORXSimInspectedType::kFloat;
  case H5T_STRING:
    return ORXSimInspectedType::kText;
  default:
    return ORXSimInspectedType::kOther;
  }
}

bool dimsOf(hid_t space, std::vector<std::uint64_t>& dims) {
  hsize_t stored[H5S_MAX_RANK];
  const int rank = H5Sget_simple_extent_dims(space, stored, nullptr);
  if (rank >= 0)
    dims.assign(stored, stored + rank);
  return rank >= 0;
}

bool readText(hid_t attribute, hid_t type, std::string& text) {
  if (H5Tis_variable_str(type) > 0)
    return hdf_ReadVariableText(attribute, type, text);
  text.resize(H5Tget_size(type));
  if (H5Aread(attribute, type, text.data()) < 0)
    return false;
  text.resize(std::min(text.find('\0'), text.size()));
  return true;
}

// Reads what is small and of a kind that the layout has; of others, whether they can be read.
bool readAttribute(hid_t object, ORXSimInspectedAttribute& read) {
  constexpr hssize_t kMostNumbers = 4096;
  const hdf_AttributeHandle attribute(H5Aopen(object, read.name.c_str(), H5P_DEFAULT));
  const hdf_TypeHandle type(attribute.IsOpen() ? H5Aget_type(attribute.Get()) : H5I_INVALID_HID);
  const hdf_SpaceHandle space(attribute.IsOpen() ? H5Aget_space(attribute.Get()) : H5I_INVALID_HID);
  if (!type.IsOpen() || !space.IsOpen() || !dimsOf(space.Get(), read.dims))
    return false;
  const hdf_StoredType stored = hdf_StoredType::Of(type.Get());
  read.type = typeOf(stored);
  read.size = static_cast<int>(stored.size);
  const hssize_t elements = H5Sget_simple_extent_npoints(space.Get());
  if (read.type == ORXSimInspectedType::kText && elements == 1)
    return readText(attribute.Get(), type.Get(), read.text);
  if (read.type != ORXSimInspectedType::kInteger || elements < 1 || elements > kMostNumbers)
    return elements >= 0;
  read.numbers.resize(static_cast<std::size_t>(elements));
  return H5Aread(attribute.Get(), H5T_NATIVE_INT64, read.numbers.data()) >= 0;
}

bool isOurNumber(const ORXSimInspected& seen) {
  const int size = seen.size;
  if (seen.type == ORXSimInspectedType::kFloat)
    return size == 4 || size == 8;
  return seen.type == ORXSimInspectedType::kInteger && (size == 1 || size == 2 || size == 4 || size == 8);
}

// A drawer's checksums say which of its rows were never written: these need no room in the file. How many
// rows there are is a matter of its member set.
bool mayHaveGaps(const ORXSimInspected& seen, H5D_layout_t layout) {
  return layout == H5D_CHUNKED && seen.depth == 4 && seen.path.starts_with("/store/distributions/") &&
         seen.Attribute("checksums") != nullptr;
}

// The name of the first filter that is not ours, "" when all are.
std::string strangeFilter(hid_t properties) {
  const int filters = H5Pget_nfilters(properties);
  for (int i = 0; i < filters; ++i) {
    unsigned flags = 0;
    std::size_t values = 0;
    const H5Z_filter_t filter =
        H5Pget_filter2(properties, static_cast<unsigned>(i), &flags, &values, nullptr, 0, nullptr, nullptr);
    if (filter != H5Z_FILTER_DEFLATE && filter != H5Z_FILTER_SHUFFLE)
      return "filter " + std::to_string(filter);
  }
  return filters < 0 ? "a list of filters that cannot be read" : "";
}
} // namespace

std::string hdf_CauseOf(hdf_Operation& operation) {
  operation.Check(-1);
  const std::string line = hdf_Operation::Last();
  constexpr char kWhat[] = "inspect: ";
  const std::size_t at = line.rfind(kWhat);
  return at == std::string::npos ? line : line.substr(at + sizeof kWhat - 1);
}

void hdf_Walk::Report(const Place& place, const char* kind, const std::string& text) {
  m_visitor.Finding({place.path, kind, text, false});
}

void hdf_Walk::ReportUnreadable(const Place& place, const std::string& what) {
  Report(place, "unreadable", what + " cannot be read: " + hdf_CauseOf(m_operation));
}

void hdf_Walk::Run() {
  m_totals.fileBytes = m_fileBytes;
  H5F_info2_t info;
  if (H5Fget_info2(m_file, &info) >= 0)
    m_totals.usedBytes += info.super.super_size + info.super.super_ext_size;
  const Place place{"/", "", 0, false};
  const hdf_Handle<H5Oclose> root(H5Oopen(m_file, "/", H5P_DEFAULT));
  if (root.IsOpen())
    Visit(root.Get(), place);
  else
    ReportUnreadable(place, "the root group");
}

void hdf_Walk::Account(const H5O_info_t& info) {
  ++m_totals.objects;
  m_totals.usedBytes += info.hdr.space.total + info.meta_size.obj.index_size + info.meta_size.obj.heap_size +
                        info.meta_size.attr.index_size + info.meta_size.attr.heap_size;
}

void hdf_Walk::Visit(hid_t object, const Place& place) {
  H5O_info_t info;
  if (H5Oget_info2(object, &info, H5O_INFO_ALL) < 0)
    return ReportUnreadable(place, "the object");
  m_visited.insert(info.addr);
  Account(info);
  ORXSimInspected seen;
  seen.path = place.path;
  seen.name = place.name;
  seen.depth = place.depth;
  seen.isGroup = info.type == H5O_TYPE_GROUP;
  seen.isDataset = info.type == H5O_TYPE_DATASET;
  seen.m_object = object;
  if (info.num_attrs > 0)
    ReadAttributes(object, place, seen);
  if (seen.isDataset)
    return VisitDataset(object, place, seen);
  if (!seen.isGroup) {
    if (place.ours)
      Report(place, "object.kind", "neither a group nor a dataset");
    return;
  }
  m_above.insert(info.addr);
  VisitGroup(object, place, seen);
  m_above.erase(info.addr);
}

void hdf_Walk::ReadAttributes(hid_t object, const Place& place, ORXSimInspected& seen) {
  std::set<std::string> names;
  if (!hdf_ListAttributes(object, names, m_fileBytes / kLeastLink))
    ReportUnreadable(place, "the list of attributes");
  for (const std::string& name : names) {
    ORXSimInspectedAttribute attribute;
    attribute.name = name;
    if (!readAttribute(object, attribute))
      ReportUnreadable(place, "attribute '" + attribute.name + "'");
    seen.attributes.push_back(std::move(attribute));
  }
}

void hdf_Walk::VisitGroup(hid_t group, const Place& place, ORXSimInspected& seen) {
  std::vector<hdf_Link> links;
  if (!hdf_ListLinks(group, links, m_fileBytes / kLeastLink))
    ReportUnreadable(place, "the list of links");
  for (const hdf_Link& link : links)
    if (link.type == H5L_TYPE_HARD)
      seen.links.push_back(link.name);
  m_visitor.Object(seen);
  for (const hdf_Link& link : links) {
    const Place below{(place.depth == 0 ? "" : place.path) + '/' + link.name, link.name, place.depth + 1,
                      place.ours || (place.depth == 0 && (link.name == "sim" || link.name == "store"))};
    if (link.name.empty() || link.name == "." || link.name.find('/') != std::string::npos)
      Report(below, "link.name", "a name that leads elsewhere");
    else if (link.type == H5L_TYPE_SOFT)
      Report(below, "link.soft", "a soft link, which is not followed");
    else if (link.type == H5L_TYPE_EXTERNAL)
      Report(below, "link.external", "a link to another file, which is not followed");
    else if (link.type != H5L_TYPE_HARD)
      Report(below, "link.user", "a link of a kind that is not known");
    else if (m_above.contains(link.address))
      Report(below, "link.cycle", "leads back to a group above");
    else if (m_visited.contains(link.address))
      Report(below, "link.shared", "an object that was met under another name");
    else if (below.depth > kDeepest)
      Report(below, "depth", "more than " + std::to_string(kDeepest) + " levels");
    else
      Follow(group, below, link.name, link.address);
  }
}

void hdf_Walk::Follow(hid_t group, const Place& place, const std::string& name, haddr_t address) {
  m_visited.insert(address);
  const hdf_Handle<H5Oclose> object(H5Oopen(group, name.c_str(), H5P_DEFAULT));
  if (object.IsOpen())
    Visit(object.Get(), place);
  else
    ReportUnreadable(place, "the object");
}

void hdf_Walk::VisitDataset(hid_t dataset, const Place& place, ORXSimInspected& seen) {
  const hdf_TypeHandle type(H5Dget_type(dataset));
  if (!type.IsOpen())
    return ReportUnreadable(place, "the type");
  const hdf_StoredType stored = hdf_StoredType::Of(type.Get());
  seen.type = typeOf(stored);
  seen.size = static_cast<int>(stored.size);
  CheckLayout(dataset, place, seen);
  m_visitor.Object(seen);
}

// A virtual dataset's shape may depend on other files: it is not even asked for.
void hdf_Walk::CheckLayout(hid_t dataset, const Place& place, ORXSimInspected& seen) {
  const auto refuse = [&](const char* kind, const std::string& text) {
    seen.sound = false;
    if (place.ours)
      Report(place, kind, text);
  };
  const hdf_PropertiesHandle properties(H5Dget_create_plist(dataset));
  if (!properties.IsOpen())
    return refuse("unreadable", "the layout cannot be read: " + hdf_CauseOf(m_operation));
  const H5D_layout_t layout = H5Pget_layout(properties.Get());
  if (layout != H5D_COMPACT && layout != H5D_CONTIGUOUS && layout != H5D_CHUNKED)
    return refuse("dataset.layout", "neither compact nor contiguous nor chunked");
  if (H5Pget_external_count(properties.Get()) != 0)
    return refuse("dataset.external", "the data lies in another file, which is not followed");
  const hdf_SpaceHandle space(H5Dget_space(dataset));
  if (!space.IsOpen() || !dimsOf(space.Get(), seen.dims))
    return refuse("unreadable", "the shape cannot be read: " + hdf_CauseOf(m_operation));
  const std::uint64_t stored = H5Dget_storage_size(dataset);
  if (layout != H5D_COMPACT)
    m_totals.usedBytes += std::min(stored, m_fileBytes);
  if (!isOurNumber(seen))
    refuse("dataset.type", "not numbers of a type that is stored here");
  if (const std::string filter = strangeFilter(properties.Get()); !filter.empty())
    refuse("dataset.filter", filter + ": neither shuffle nor deflate");
  const bool filtered = layout == H5D_CHUNKED && H5Pget_nfilters(properties.Get()) > 0;
  const haddr_t offset = hdf_DataOffset(dataset);
  const std::uint64_t bytes = seen.Bytes();
  const bool fits = mayHaveGaps(seen, layout) || bytes / (filtered ? kHdfLargestExpansion : 1) <= m_fileBytes;
  if (stored > m_fileBytes || !fits ||
      (offset != HADDR_UNDEF && bytes > m_fileBytes - std::min(offset, m_fileBytes)))
    refuse("dataset.size", std::to_string(bytes) + " bytes in a file of " + std::to_string(m_fileBytes));
}
