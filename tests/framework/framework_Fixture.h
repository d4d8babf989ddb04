#pragma once

#include <PDM_Core.h>
#include <gbb/pattern/gbb_Holder.h>
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
  using Systems = decltype(msfD_Mesh().systems());
  using SystemsHolder = gbb_Holder<Systems, Systems::Impl>;

  ~framework_Fixture() override { EXPECT_EQ(m_lines.Take(), ""); }

  std::string Path(const std::string& name = "a.pdm") const { return m_directory.Path(name); }
  std::string Lines() { return m_lines.Take(); }

  /// A file with a discrete model and a mesh, open in a root.
  struct Model {
    explicit Model(const std::string& path, int trace = 0)
        : file(path), root(trace), sim(root.createSim(path.c_str(), "a", -1)) {
      const ORXSimContextID context = ContextOf(sim);
      nodes = ORXSimCollectionRef::Create(context, "nodes", 8);
      elements = ORXSimCollectionRef::Create(context, "elements", 1);
      model = sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, trace));
      mesh = model.Mesh(msfD_Mesh::New(nodes, elements, trace));
    }
    /// The same file, closed and opened again, with the identifiers that it has then.
    void Reopen() {
      root.closeSim(sim);
      sim = root.openSim(file.c_str(), "", -1);
      model = sim.discreteModel();
      mesh = model.mesh();
      nodes = {ContextOf(sim), nodes.Minor()};
      elements = {ContextOf(sim), elements.Minor()};
    }
    std::string file;
    msfD_Root root;
    msfD_Sim sim;
    msfD_DiscreteModel model;
    msfD_Mesh mesh;
    ORXSimCollectionID nodes, elements;
  };

  static ORXSimContextID ContextOf(const msfD_Sim& sim) { return sim.distributionService().Context(); }
  static gbb_Group RootOf(const msfD_Sim& sim) {
    return gbb_Group(ORXSimContextRef(ContextOf(sim)).File().RootGroup());
  }
  /// The group at a path of names below the file's root.
  static gbb_Group GroupAt(const msfD_Sim& sim, std::initializer_list<const char*> names) {
    gbb_Group at = RootOf(sim);
    for (const char* const name : names)
      at = gbb_Group::Open(at, name);
    return at;
  }
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
