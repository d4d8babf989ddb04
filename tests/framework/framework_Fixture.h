#pragma once

#include <PDM_Core.h>
#include <support/err_Capture.h>
#include <support/sys_Directory.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

/// A directory of its own and a captured error stream for every test. Whatever a test leaves on the stream
/// unread fails it, so that "prints this and nothing else" holds everywhere.
class framework_Fixture : public testing::Test {
 protected:
  ~framework_Fixture() override { EXPECT_EQ(m_lines.Take(), ""); }

  std::string Path(const std::string& name = "a.pdm") const { return m_directory.Path(name); }
  std::string Lines() { return m_lines.Take(); }

  /// A file with a discrete model and a mesh, open in a root.
  struct Model {
    explicit Model(const std::string& path, int trace = 0)
        : root(trace), sim(root.createSim(path.c_str(), "a", -1)) {
      const ORXSimContextID context = sim.distributionService().Context();
      nodes = ORXSimCollectionRef::Create(context, "nodes", 8);
      elements = ORXSimCollectionRef::Create(context, "elements", 1);
      model = sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, trace));
      mesh = model.Mesh(msfD_Mesh::New(nodes, elements, trace));
    }
    msfD_Root root;
    msfD_Sim sim;
    msfD_DiscreteModel model;
    msfD_Mesh mesh;
    ORXSimCollectionID nodes, elements;
  };

  /// A new object group below the root of an open file.
  static gbb_Group GroupOf(ORXSimContextID context, const char* name) {
    return gbb_Group::Create(gbb_Group(ORXSimContextRef(context).File().RootGroup()), name);
  }
  static msfD_Mesh MeshOf(const msfD_Sim& sim) { return sim.discreteModel().mesh(); }
  static fesD_FESystemHolder System(const char* name, int trace = 0) {
    return fesD_FESystem::New(name, {}, {}, trace);
  }

 private:
  sys_Directory m_directory;
  err_Capture m_lines;
};
