#include <pdmsim/export/exodus/exw_NetCDF.h>

#include <pdmsim/cli/cli_Failure.h>

#include <netcdf.h>

#include <algorithm>
#include <filesystem>

exw_NetCDF::exw_NetCDF(const std::string& written, std::string shown, bool large)
    : m_shown(std::move(shown)) {
  // From the root, so that the library cannot take the name for a remote address.
  const std::string path = std::filesystem::absolute(written);
  Check(nc_create(path.c_str(), NC_CLOBBER | (large ? NC_NETCDF4 : NC_64BIT_OFFSET), &m_id), "the file");
  Check(nc_set_fill(m_id, NC_NOFILL, nullptr), "the file");
}

exw_NetCDF::~exw_NetCDF() {
  if (m_id >= 0)
    nc_close(m_id);
}

void exw_NetCDF::Check(int status, const std::string& what) const {
  if (status != NC_NOERR)
    throw cli_Failure(cli_Exit::kUnusable,
                      m_shown + ": expected to write " + what + ", found: " + nc_strerror(status));
}

int exw_NetCDF::Find(const std::string& variable) const {
  int id = NC_GLOBAL;
  if (!variable.empty())
    Check(nc_inq_varid(m_id, variable.c_str(), &id), variable);
  return id;
}

void exw_NetCDF::Dimension(const std::string& name, std::size_t size) {
  int id = 0;
  if (size > 0)
    Check(nc_def_dim(m_id, name.c_str(), size, &id), name);
}

void exw_NetCDF::Unlimited(const std::string& name) {
  int id = 0;
  Check(nc_def_dim(m_id, name.c_str(), NC_UNLIMITED, &id), name);
}

void exw_NetCDF::Variable(const std::string& name, Type type, const std::vector<std::string>& dimensions) {
  constexpr nc_type types[] = {NC_INT, NC_INT64, NC_FLOAT, NC_DOUBLE, NC_CHAR};
  std::vector<int> ids;
  for (const std::string& dimension : dimensions)
    Check(nc_inq_dimid(m_id, dimension.c_str(), &ids.emplace_back()), dimension);
  int id = 0;
  Check(nc_def_var(m_id, name.c_str(), types[static_cast<std::size_t>(type)], static_cast<int>(ids.size()),
                   ids.data(), &id),
        name);
}

void exw_NetCDF::Attribute(const std::string& variable, const char* name, const std::string& text) {
  Check(nc_put_att_text(m_id, Find(variable), name, text.size(), text.c_str()), name);
}
void exw_NetCDF::Attribute(const char* name, float number) {
  Check(nc_put_att_float(m_id, NC_GLOBAL, name, NC_FLOAT, 1, &number), name);
}
void exw_NetCDF::Attribute(const char* name, int number) {
  Check(nc_put_att_int(m_id, NC_GLOBAL, name, NC_INT, 1, &number), name);
}

void exw_NetCDF::Begin() {
  Check(nc_enddef(m_id), "what it holds");
}

void exw_NetCDF::Write(const std::string& name, const Places& first, const Places& count, const int* values) {
  Check(nc_put_vara_int(m_id, Find(name), first.data(), count.data(), values), name);
}
void exw_NetCDF::Write(const std::string& name, const Places& first, const Places& count,
                       const long long* values) {
  Check(nc_put_vara_longlong(m_id, Find(name), first.data(), count.data(), values), name);
}
void exw_NetCDF::Write(const std::string& name, const Places& first, const Places& count,
                       const float* values) {
  Check(nc_put_vara_float(m_id, Find(name), first.data(), count.data(), values), name);
}
void exw_NetCDF::Write(const std::string& name, const Places& first, const Places& count,
                       const double* values) {
  Check(nc_put_vara_double(m_id, Find(name), first.data(), count.data(), values), name);
}

void exw_NetCDF::Write(const std::string& name, const std::vector<std::string>& texts, std::size_t width) {
  std::string table(texts.size() * width, '\0');
  for (std::size_t i = 0; i < texts.size(); ++i)
    std::copy_n(texts[i].begin(), std::min(texts[i].size(), width),
                table.begin() + static_cast<std::ptrdiff_t>(i * width));
  if (!table.empty())
    Check(nc_put_var_text(m_id, Find(name), table.data()), name);
}

void exw_NetCDF::Close() {
  const int id = m_id;
  m_id = -1;
  Check(nc_close(id), "its end");
}
