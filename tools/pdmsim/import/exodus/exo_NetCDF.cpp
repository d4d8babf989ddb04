#include <pdmsim/import/exodus/exo_NetCDF.h>

#include <pdmsim/import/exodus/exo_ClassicSize.h>
#include <pdmsim/mesh/mesh_Error.h>

#include <netcdf.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t kSmallCache = 1 << 20, kGreatCache = 64 << 20,
                      kMostGreatCaches = 3; // the coordinates are read side by side

constexpr std::size_t kReadAtATime = 256 << 10; // of the classic formats, which by default read 8 KiB

/// Cuts a stored text at its first NUL and drops the blanks at its end.
std::string Trimmed(const char* text, std::size_t length) {
  length = strnlen(text, length);
  while (length > 0 && text[length - 1] == ' ')
    --length;
  return {text, length};
}

/// The size of a readable regular file.
unsigned long long CheckedSize(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  const int cause = errno;
  struct stat status {};
  const bool known = descriptor >= 0 && fstat(descriptor, &status) == 0;
  if (descriptor >= 0)
    close(descriptor);
  if (!known)
    throw mesh_Error(path, std::string("expected a readable mesh file, found: ") + std::strerror(cause));
  if (S_ISDIR(status.st_mode))
    throw mesh_Error(path, "expected a mesh file, found a directory");
  if (!S_ISREG(status.st_mode))
    throw mesh_Error(path, "expected a mesh file, found a device, a pipe or a socket");
  if (status.st_size == 0)
    throw mesh_Error(path, "expected an Exodus II mesh, found an empty file");
  return static_cast<unsigned long long>(status.st_size);
}

/// The path from the root, which the netCDF library cannot take for a remote address.
std::string Absolute(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), &std::free);
  return real ? real.get() : path;
}

const char* TypeName(int type) {
  constexpr const char* names[] = {"?",     "int8",   "text",   "int16", "int32",  "float", "double",
                                   "uint8", "uint16", "uint32", "int64", "uint64", "string"};
  return type > 0 && type <= NC_STRING ? names[type] : "a compound type";
}

} // namespace

bool exo_Array::IsInteger() const {
  return m_type == NC_INT || m_type == NC_INT64 || m_type == NC_SHORT || m_type == NC_BYTE ||
         m_type == NC_UINT || m_type == NC_UINT64 || m_type == NC_USHORT || m_type == NC_UBYTE;
}
bool exo_Array::FitsInt() const {
  return IsInteger() && m_type != NC_INT64 && m_type != NC_UINT && m_type != NC_UINT64;
}
bool exo_Array::IsReal() const {
  return m_type == NC_FLOAT || m_type == NC_DOUBLE;
}
bool exo_Array::IsFloat() const {
  return m_type == NC_FLOAT;
}
bool exo_Array::IsText() const {
  return m_type == NC_CHAR;
}

void exo_Array::Unexpected(const std::string& what) const {
  std::string found = TypeName(m_type);
  for (const std::size_t extent : m_shape)
    found.append("[").append(std::to_string(extent)).append("]");
  m_file->Fail("expected " + m_name + " to be " + what + ", found " + found);
}

void exo_Array::Require(const std::vector<std::size_t>& shape, Kind kind) const {
  const bool fits = kind == Kind::kInteger ? IsInteger() : kind == Kind::kReal ? IsReal() : IsText();
  if (fits && m_shape == shape)
    return;
  std::string what = kind == Kind::kInteger ? "integer" : kind == Kind::kReal ? "real" : "text";
  for (const std::size_t extent : shape)
    what.append("[").append(std::to_string(extent)).append("]");
  Unexpected(what);
}

namespace {

int Get(int file, int id, const std::size_t* first, const std::size_t* count, int* out) {
  return nc_get_vara_int(file, id, first, count, out);
}
int Get(int file, int id, const std::size_t* first, const std::size_t* count, long long* out) {
  return nc_get_vara_longlong(file, id, first, count, out);
}
int Get(int file, int id, const std::size_t* first, const std::size_t* count, float* out) {
  return nc_get_vara_float(file, id, first, count, out);
}
int Get(int file, int id, const std::size_t* first, const std::size_t* count, double* out) {
  return nc_get_vara_double(file, id, first, count, out);
}

template <class T>
void CheckedGet(const exo_NetCDF& file, int ncid, int id, const exo_Array& array,
                const std::vector<std::size_t>& first, const std::vector<std::size_t>& count, T* out) {
  const int status = Get(ncid, id, first.data(), count.data(), out);
  if (status == NC_ERANGE)
    file.Fail("expected " + array.Name() + " to hold values of " + std::to_string(8 * sizeof(T)) +
              " bits, found greater ones");
  if (status != NC_NOERR)
    file.Fail("expected to read " + array.Name() + ", found: " + nc_strerror(status));
}

} // namespace

#define EXO_READ(type, check, what)                                                                          \
  void exo_Array::Read(const std::vector<std::size_t>& first, const std::vector<std::size_t>& count,         \
                       type* out) const {                                                                    \
    if (!check() || first.size() != m_shape.size())                                                          \
      Unexpected(what);                                                                                      \
    CheckedGet(*m_file, m_file->m_id, m_id, *this, first, count, out);                                       \
  }
EXO_READ(int, IsInteger, "integer")
EXO_READ(long long, IsInteger, "integer")
EXO_READ(float, IsReal, "real")
EXO_READ(double, IsReal, "real")
#undef EXO_READ

void exo_Array::CheckLimit(std::size_t limit) const {
  std::size_t entries = 1;
  for (const std::size_t extent : m_shape)
    if (__builtin_mul_overflow(entries, extent, &entries) || entries > limit)
      Unexpected("of at most " + std::to_string(limit) + " entries");
}

std::vector<long long> exo_Array::Integers(std::size_t limit) const {
  CheckLimit(limit);
  std::size_t entries = 1;
  for (const std::size_t extent : m_shape)
    entries *= extent;
  std::vector<long long> values(entries);
  if (entries)
    Read(std::vector<std::size_t>(m_shape.size(), 0), m_shape, values.data());
  return values;
}

std::vector<std::string> exo_Array::Texts(std::size_t limit) const {
  CheckLimit(limit);
  if (!IsText() || m_shape.size() != 2)
    Unexpected("a table of names");
  const std::size_t rows = m_shape[0], width = m_shape[1];
  std::vector<char> text(rows * width + 1);
  const bool any = rows > 0 && width > 0;
  if (const int status = any ? nc_get_var_text(m_file->m_id, m_id, text.data()) : NC_NOERR)
    m_file->Fail("expected to read " + m_name + ", found: " + nc_strerror(status));
  std::vector<std::string> names;
  for (std::size_t row = 0; row < rows; ++row)
    names.push_back(Trimmed(&text[row * width], width));
  return names;
}

std::string exo_Array::TextAttribute(const char* name) const {
  return m_file->TextAttribute(m_id, name);
}

exo_NetCDF::exo_NetCDF(const std::string& path) : m_path(path), m_size(CheckedSize(path)) {
  exo_CheckClassicSize(path, m_size);
  nc_set_chunk_cache(kSmallCache, 521, 0.75F);
  std::size_t atATime = kReadAtATime;
  const int status = nc__open(Absolute(path).c_str(), NC_NOWRITE, &atATime, &m_id);
  if (status == NC_ENOTNC)
    Fail("expected an Exodus II mesh, found a file that is not netCDF");
  if (status == NC_EHDFERR)
    Fail("expected an Exodus II mesh, found an HDF5 file that is damaged, truncated or not netCDF");
  if (status != NC_NOERR)
    Fail(std::string("expected an Exodus II mesh, found a file that netCDF cannot open: ") +
         nc_strerror(status));
}

exo_NetCDF::~exo_NetCDF() {
  if (m_id >= 0)
    nc_close(m_id);
}

void exo_NetCDF::Fail(const std::string& what) const {
  throw mesh_Error(m_path, what);
}

std::optional<std::size_t> exo_NetCDF::Dimension(const std::string& name) const {
  int id = 0;
  std::size_t length = 0;
  if (nc_inq_dimid(m_id, name.c_str(), &id) != NC_NOERR || nc_inq_dimlen(m_id, id, &length) != NC_NOERR)
    return std::nullopt;
  return length;
}

std::optional<exo_Array> exo_NetCDF::Find(const std::string& name) const {
  int id = 0, rank = 0;
  if (nc_inq_varid(m_id, name.c_str(), &id) != NC_NOERR)
    return std::nullopt;
  exo_Array array(*this, id, name);
  std::vector<int> dimensions(NC_MAX_VAR_DIMS);
  if (const int status = nc_inq_var(m_id, id, nullptr, &array.m_type, &rank, dimensions.data(), nullptr))
    Fail("expected to read " + name + ", found: " + nc_strerror(status));
  std::size_t itemBytes = 0;
  nc_inq_type(m_id, array.m_type, nullptr, &itemBytes);
  for (int i = 0; i < rank; ++i)
    nc_inq_dimlen(m_id, dimensions[static_cast<std::size_t>(i)], &array.m_shape.emplace_back());
  FitChunkCache(id, itemBytes);
  return array;
}

void exo_NetCDF::FitChunkCache(int variable, std::size_t itemBytes) const {
  int storage = NC_CONTIGUOUS, rank = 0;
  std::size_t chunk[NC_MAX_VAR_DIMS];
  if (nc_inq_varndims(m_id, variable, &rank) != NC_NOERR || rank == 0 ||
      nc_inq_var_chunking(m_id, variable, &storage, chunk) != NC_NOERR || storage != NC_CHUNKED)
    return;
  std::size_t bytes = itemBytes;
  for (int i = 0; i < rank; ++i)
    if (__builtin_mul_overflow(bytes, chunk[i], &bytes))
      return;
  const bool known = std::find(m_greatCaches.begin(), m_greatCaches.end(), variable) != m_greatCaches.end();
  if (bytes <= kSmallCache || bytes > kGreatCache || known)
    return;
  if (m_greatCaches.size() == kMostGreatCaches) {
    nc_set_var_chunk_cache(m_id, m_greatCaches.front(), kSmallCache, 521, 0.75F);
    m_greatCaches.erase(m_greatCaches.begin());
  }
  nc_set_var_chunk_cache(m_id, variable, bytes, 521, 1.0F);
  m_greatCaches.push_back(variable);
}

bool exo_NetCDF::HasAttribute(const char* name) const {
  return nc_inq_attid(m_id, NC_GLOBAL, name, nullptr) == NC_NOERR;
}

std::string exo_NetCDF::TextAttribute(const char* name) const {
  return TextAttribute(NC_GLOBAL, name);
}

std::string exo_NetCDF::TextAttribute(int variable, const char* name) const {
  nc_type type = 0;
  std::size_t length = 0;
  if (nc_inq_att(m_id, variable, name, &type, &length) != NC_NOERR || length > (1U << 20))
    return {};
  if (type == NC_STRING && length == 1) {
    char* text = nullptr;
    if (nc_get_att_string(m_id, variable, name, &text) != NC_NOERR || !text)
      return {};
    std::string copy = Trimmed(text, std::strlen(text));
    nc_free_string(1, &text);
    return copy;
  }
  std::vector<char> text(length + 1);
  if (type != NC_CHAR || nc_get_att_text(m_id, variable, name, text.data()) != NC_NOERR)
    return {};
  return Trimmed(text.data(), length);
}
