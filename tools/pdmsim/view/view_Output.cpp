#include <pdmsim/view/view_Output.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/stored/sto_Numbers.h>

#include <algorithm>
#include <filesystem>

namespace {

constexpr std::size_t kRows = std::size_t{1} << 18; // rows

const std::string kRoot = "/VTKHDF/";

hdf_Datatype::Kind typeOf(ORXSimItemType type) {
  switch (type) {
  case ORXSimItemType::kInt32:
    return hdf_Datatype::kInt;
  case ORXSimItemType::kInt64:
    return hdf_Datatype::kInt64;
  case ORXSimItemType::kFloat:
    return hdf_Datatype::kFloat;
  case ORXSimItemType::kDouble:
    break;
  }
  return hdf_Datatype::kDouble;
}

std::string relative(const std::string& file, const std::string& folderOf) {
  namespace fs = std::filesystem;
  const fs::path folder = fs::absolute(folderOf).parent_path();
  std::error_code ignored;
  const fs::path name =
      fs::proximate(fs::weakly_canonical(file, ignored), fs::canonical(folder, ignored), ignored);
  return name.empty() ? fs::absolute(file).string() : name.string();
}

std::size_t size(int n) {
  return static_cast<std::size_t>(std::max(0, n));
}

} // namespace

view_Output::view_Output(const std::string& path, const std::string& written, const std::string& source,
                         view_Numbers numbers, const std::string& first, cli_Progress& progress)
    : m_source(source), m_mapped(relative(source, written)), m_numbers(numbers),
      m_first(first.empty() ? "" : relative(first, written)), m_progress(progress),
      m_file(written.c_str(), path.c_str()) {
  Check(m_file.Group("/VTKHDF"));
}

void view_Output::Check(bool done) {
  if (!done)
    throw cli_Failure(cli_Exit::kUnusable, ORXSimManager::LastError());
}

void view_Output::Remember(std::size_t nodes, std::size_t elements, bool series) {
  m_record.file = m_mapped;
  if (Maps()) // a file that others write to is not looked into from outside
    m_record.id = view_FileId(m_source);
  m_record.nodes = static_cast<std::int64_t>(nodes);
  m_record.elements = static_cast<std::int64_t>(elements);
  m_record.series = series;
}

void view_Output::Copied(ORXSimDistributionID distribution, int drawer) {
  if (!Maps()) // then nobody asks, and what is read live has no place that others see
    return;
  const std::string path = ORXSimDistributionRef(distribution).DatasetPath(drawer).CStr();
  m_record.copied[path.substr(path.starts_with('/') ? 1 : 0)];
}

void view_Output::Text(const char* name, const std::string& text) {
  Check(m_file.Text("/VTKHDF", name, text));
}

void view_Output::Numbers(const char* name, std::vector<std::int64_t> numbers) {
  Check(m_file.Numbers("/VTKHDF", name, numbers));
}

void view_Output::StepCount(std::size_t steps) {
  const auto count = static_cast<std::int64_t>(steps);
  Check(m_file.Group("/VTKHDF/Steps"));
  Check(m_file.Numbers("/VTKHDF/Steps", "NSteps", {&count, 1}, true));
}

bool view_Output::CanMap(const hdf_ViewShape& shape, const std::vector<view_Part>& parts) const {
  return Maps() && std::all_of(parts.begin(), parts.end(), [&](const view_Part& part) {
           const auto drawer = ORXSimDistributionRef(part.rows.distribution).Drawer(part.rows.drawer);
           const auto width = size(drawer.Components());
           return part.rows.order.empty() && part.places.empty() && typeOf(drawer.Type()) == shape.type &&
                  (shape.width == 1 || width <= shape.width);
         });
}

std::vector<hdf_ViewPiece> view_Output::Pieces(const std::vector<view_Part>& parts) {
  std::vector<hdf_ViewPiece> pieces;
  for (const view_Part& part : parts) {
    const ORXSimDistributionRef distribution(part.rows.distribution);
    const auto drawer = distribution.Drawer(part.rows.drawer);
    const cow_String path = distribution.DatasetPath(part.rows.drawer);
    Check(!path.Empty());
    m_record.Add(m_mapped, path.CStr(),
                 view_Describe(distribution.Name().CStr(), typeOf(drawer.Type()), size(drawer.Items()),
                               size(drawer.Components())));
    pieces.push_back({m_mapped, path.CStr(), size(drawer.Items()), size(drawer.Components()), part.rows.first,
                      part.rows.count, part.target});
  }
  return pieces;
}

/// Rows that go to places of their own are written with what is between them.
template <class T>
void view_Output::Scatter(const std::string& path, const hdf_ViewShape& shape, const view_Part& part) {
  const sto_Mesh::Rows& rows = part.rows;
  const sto_Numbers numbers(m_source, rows.distribution, rows.drawer, rows.first, rows.count);
  const std::size_t width = numbers.Width(), kept = std::min<std::size_t>(width, shape.width);
  const auto last = std::max_element(part.places.begin(), part.places.end());
  const std::size_t spanned = last == part.places.end() ? 0 : static_cast<std::size_t>(*last) + 1;
  std::vector<T> stored(rows.count * width), wanted(spanned * shape.width, static_cast<T>(shape.fill));
  numbers.Read(0, rows.count, stored.data());
  for (std::size_t i = 0; i < rows.count; ++i)
    std::copy_n(&stored[i * width], kept, &wanted[static_cast<std::size_t>(part.places[i]) * shape.width]);
  Write(path, part.target, spanned, wanted.data(), sizeof(T) * wanted.size());
}

template <class T>
void view_Output::Copy(const std::string& path, const hdf_ViewShape& shape,
                       const std::vector<view_Part>& parts, bool write) {
  for (const view_Part& part : parts) {
    const sto_Mesh::Rows& rows = part.rows;
    if (write)
      Copied(rows.distribution, rows.drawer);
    if (!part.places.empty()) {
      Scatter<T>(path, shape, part);
      continue;
    }
    const auto numbers = rows.order.empty()
                             ? sto_Numbers(m_source, rows.distribution, rows.drawer, rows.first, rows.count)
                             : sto_Numbers(m_source, rows.distribution, rows.drawer, rows.order);
    const std::size_t width = numbers.Width(), kept = std::min<std::size_t>(width, shape.width);
    for (std::size_t first = 0; first < rows.count; first += kRows) {
      const std::size_t count = std::min(kRows, rows.count - first);
      std::vector<T> stored(count * width), wanted(count * shape.width, static_cast<T>(shape.fill));
      numbers.Read(first, count, stored.data());
      for (std::size_t i = 0; i < count; ++i)
        std::copy_n(&stored[i * width], kept, &wanted[i * shape.width]);
      if (write)
        Write(path, part.target + first, count, wanted.data(), sizeof(T) * wanted.size());
    }
  }
}

void view_Output::Rows(const std::string& path, hdf_ViewShape shape, const std::vector<view_Part>& parts,
                       bool shared) {
  shape.type = hdf_Datatype::kInt; // the widest of the drawers' types
  for (const view_Part& part : parts)
    shape.type = std::max(
        shape.type, typeOf(ORXSimDistributionRef(part.rows.distribution).Drawer(part.rows.drawer).Type()));
  const bool mapped = CanMap(shape, parts);
  if (mapped) {
    Check(m_file.Map(kRoot + path, shape, Pieces(parts)));
    m_arrays.push_back({path, true, {}, {}, shape.width});
    m_progress.Advance(0);
  }
  if (mapped ? m_numbers != view_Numbers::kChecked : !Begin(path, shape, shared))
    return;
  switch (shape.type) {
  case hdf_Datatype::kUChar:
  case hdf_Datatype::kInt:
    return Copy<int>(path, shape, parts, !mapped);
  case hdf_Datatype::kInt64:
    return Copy<long long>(path, shape, parts, !mapped);
  case hdf_Datatype::kFloat:
    return Copy<float>(path, shape, parts, !mapped);
  case hdf_Datatype::kDouble:
    return Copy<double>(path, shape, parts, !mapped);
  }
}

bool view_Output::Begin(const std::string& path, const hdf_ViewShape& shape, bool shared) {
  if (shared && !m_first.empty()) {
    const hdf_ViewPiece whole{m_first, kRoot + path, shape.rows, shape.width, 0, shape.rows, 0};
    Check(m_file.Map(kRoot + path, shape, {&whole, 1}));
    m_record.Add(m_first, whole.dataset, view_Describe({}, shape.type, shape.rows, shape.width));
    m_arrays.push_back({path, true, {}, {}, shape.width});
    return false;
  }
  Check(m_file.Create(kRoot + path, shape));
  m_arrays.push_back({path, false, {}, {}, shape.width});
  return true;
}

void view_Output::Write(const std::string& path, std::size_t first, std::size_t count, const void* values,
                        std::size_t bytes) {
  Check(m_file.Write(kRoot + path, first, count, values));
  m_progress.Advance(static_cast<double>(bytes));
}

void view_Output::Shows(std::string origin, std::string unit, std::string field) {
  m_arrays.back().origin = std::move(origin);
  m_arrays.back().unit = std::move(unit);
  m_arrays.back().field = std::move(field);
}

void view_Output::Finish() {
  if (Maps()) {
    const hdf_ForeignFile source(m_source);
    for (std::string& path : view_MeshDatasets(source))
      m_record.copied.try_emplace(std::move(path));
    for (auto& [path, digest] : m_record.copied)
      digest = view_Digest(source, path);
  }
  Check((m_record.file.empty() || m_record.Write(m_file)) && m_file.Finish());
}

std::string view_Names::Take(std::string wanted) {
  std::replace(wanted.begin(), wanted.end(), '/', '_');
  if (wanted.empty() || wanted == ".")
    wanted += '_';
  std::string name = wanted;
  for (int i = 2; !m_taken.insert(name).second; ++i)
    name = wanted + '_' + std::to_string(i);
  return name;
}
