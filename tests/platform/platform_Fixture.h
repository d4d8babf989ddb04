#pragma once

#include <UTI_ORXSimDynamicAPI/UTI_ORXSimDynamicAPI.h>
#include <support/sys_Directory.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

using testing::ElementsAre, testing::HasSubstr, testing::StartsWith;

inline constexpr hdf_Datatype kInt(hdf_Datatype::kInt), kByte(hdf_Datatype::kUChar);

/// A directory of its own for every test, removed afterwards.
class platform_Fixture : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return m_directory.Path(name); }
  static ORXSimContextID Create(const std::string& path, int option = 1) {
    return ORXSimManager::CreateContext(path.c_str(), 0, 102, false, option);
  }
  static ORXSimContextID Open(const std::string& path, bool readOnly = false, int option = 1) {
    return ORXSimManager::OpenContext(path.c_str(), readOnly ? 1 : 0, 102, false, option);
  }
  static hdf_Group RootOf(ORXSimContextID context) { return ORXSimContextRef(context).File().RootGroup(); }
  static hdf_Dataspace Line(std::uint64_t extent) { return hdf_Dataspace::CreateSimple(1, &extent); }
  /// Makes a dataset of these numbers.
  static hdf_Dataset Put(const hdf_Group& group, const char* name, std::vector<int> values) {
    hdf_Dataset dataset = group.DatasetCreate(name, hdf_Datatype::NATIVE_INT, Line(values.size()));
    EXPECT_TRUE(dataset.Write(hdf_Datatype::NATIVE_INT, values.data(), values.size())) << LastError();
    return dataset;
  }
  /// Its numbers, none when they cannot be read.
  static std::vector<int> Get(const hdf_Dataset& dataset) {
    std::vector<int> values(dataset.GetSpace().Elements(), -1);
    if (!dataset.Read(hdf_Datatype::NATIVE_INT, values.data(), values.size()))
      values.clear();
    return values;
  }
  static std::string LastError() { return ORXSimManager::LastError(); }
  /// The call that gave this value refused, and said so in all of these words.
  template <class Answer, class... Words>
  static void ExpectRefused(const Answer& answer, const Words&... words) {
    if constexpr (requires { answer.IsNull(); })
      EXPECT_TRUE(answer.IsNull());
    else
      EXPECT_TRUE(!answer);
    EXPECT_THAT(LastError(), testing::AllOf(HasSubstr(words)...));
  }

  /// Runs the h5py side.
  /// \return its exit code.
  static int Peer(const std::string& arguments) {
    return std::system((std::string(PDM_H5PY_PYTHON) + " " + PDM_H5PY_SCRIPT + " " + arguments).c_str());
  }

  sys_Directory m_directory;
};
