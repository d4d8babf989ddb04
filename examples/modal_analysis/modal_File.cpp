#include "modal_File.h"

#include <algorithm>
#include <iostream>
#include <limits>

modal_Library::modal_Library() : m_lastError(ORXSimManager::LastError()) {
  int modules = 0;
  DDB_PDM_Core_initialize(modules);
  err_InstallSink(&modal_Library::Keep, this);
}

modal_Library::~modal_Library() {
  err_RemoveSink();
  int modules = 0;
  DDB_PDM_Core_finalize(modules);
}

void modal_Library::Keep(const char* text, void* self) {
  constexpr std::size_t kMost = 4096;
  std::string& lines = static_cast<modal_Library*>(self)->m_lines;
  if (text && lines.size() < kMost)
    lines += text;
}

void modal_Library::Check(const std::string& file) const {
  if (const std::string lastError = ORXSimManager::LastError(); lastError != m_lastError)
    throw modal_Failure(lastError);
  if (!m_lines.empty())
    throw modal_Failure(file + ": " + m_lines.substr(0, m_lines.find('\n')));
}

int modal_Run(const char* program, int (*work)(int, char**), int argc, char** argv) {
  try {
    return work(argc, argv);
  } catch (const std::bad_alloc&) {
    std::cerr << program << ": out of memory\n";
  } catch (const std::exception& error) {
    std::string line = error.what();
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }, ' ');
    std::cerr << program << ": " << line << '\n';
  }
  return 2;
}

msfD_Mesh modal_OpenMesh(msfD_Root& root, const std::string& file, bool readOnly,
                         const modal_Library& library) {
  const msfD_Sim sim =
      readOnly ? root.openSimReadOnly(file.c_str(), "", -1) : root.openSim(file.c_str(), "", -1);
  library.Check(file);
  if (!sim)
    throw modal_Failure(file + ": expected a simulation file, found none");
  if (!ORXSimContextRef(sim.distributionService().Context()).File().RootGroup().GetObjinfoExists("sim"))
    throw modal_Failure(file + ": expected a simulation file, found an HDF5 file without a group 'sim'");
  const msfD_DiscreteModel model = sim.discreteModel();
  const msfD_Mesh mesh = !model ? msfD_Mesh() : model.mesh();
  library.Check(file);
  if (!mesh)
    throw modal_Failure(file + ": expected a simulation with a mesh, found one without");
  return mesh;
}

void modal_FailInStore() {
  throw modal_Failure(ORXSimManager::LastError());
}

namespace {

template <class Number>
std::vector<Number> Read(ORXSimDistributionID id, int drawer) {
  const ORXSimDistributionRef distribution(id);
  const ORXSimPersistentDrawerDesc description = distribution.Drawer(drawer);
  std::vector<Number> values(static_cast<std::size_t>(description.Bytes()) / sizeof(Number));
  if (description.CSet().IsNull() ||
      !distribution.ReadItems(drawer, 0, description.Items(), values.data(), description.Bytes()))
    modal_FailInStore();
  return values;
}

} // namespace

std::vector<int> modal_ReadInts(ORXSimDistributionID id, int drawer, const std::string& what) {
  const ORXSimItemType type = ORXSimDistributionRef(id).Drawer(drawer).Type();
  if (type == ORXSimItemType::kInt32)
    return Read<int>(id, drawer);
  if (type != ORXSimItemType::kInt64)
    throw modal_Failure(what + ": expected integers, found floating-point numbers");
  const std::vector<std::int64_t> wide = Read<std::int64_t>(id, drawer);
  using Limits = std::numeric_limits<int>;
  if (std::any_of(wide.begin(), wide.end(),
                  [](std::int64_t number) { return number < Limits::min() || number > Limits::max(); }))
    throw modal_Failure(what + ": expected integers of 32 bits, found greater ones");
  std::vector<int> values;
  values.reserve(wide.size());
  for (const std::int64_t number : wide)
    values.push_back(static_cast<int>(number));
  return values;
}

std::vector<double> modal_ReadReals(ORXSimDistributionID id, int drawer, const std::string& what) {
  const ORXSimItemType type = ORXSimDistributionRef(id).Drawer(drawer).Type();
  if (type == ORXSimItemType::kDouble)
    return Read<double>(id, drawer);
  if (type != ORXSimItemType::kFloat)
    throw modal_Failure(what + ": expected floating-point numbers, found integers");
  const std::vector<float> narrow = Read<float>(id, drawer);
  return {narrow.begin(), narrow.end()};
}
