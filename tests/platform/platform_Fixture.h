#pragma once

#include <UTI_ORXSimDynamicAPI/UTI_ORXSimDynamicAPI.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

/// A directory of its own for every test, removed afterwards.
class platform_Fixture : public testing::Test {
 protected:
  platform_Fixture() {
    std::string pattern = (std::filesystem::temp_directory_path() / "pdm_platform_XXXXXX").string();
    m_directory = ::mkdtemp(pattern.data());
  }
  ~platform_Fixture() override { std::filesystem::remove_all(m_directory); }

  std::string Path(const std::string& name) const { return (m_directory / name).string(); }
  static ORXSimContextID Create(const std::string& path, int option = 1) {
    return ORXSimManager::CreateContext(path.c_str(), 0, 102, false, option);
  }
  static ORXSimContextID Open(const std::string& path, bool readOnly = false) {
    return ORXSimManager::OpenContext(path.c_str(), readOnly ? 1 : 0, 102, false, 1);
  }
  static hdf_Group RootOf(ORXSimContextID context) { return ORXSimContextRef(context).File().RootGroup(); }
  static hdf_Dataspace Line(std::uint64_t extent) { return hdf_Dataspace::CreateSimple(1, &extent); }
  static std::string LastError() { return ORXSimManager::LastError(); }

  /// Runs the h5py side. \return its exit code.
  static int Peer(const std::string& arguments) {
    return std::system((std::string(PDM_H5PY_PYTHON) + " " + PDM_H5PY_SCRIPT + " " + arguments).c_str());
  }

  std::filesystem::path m_directory;
};
