#pragma once

#include <pdm/pdm.hpp>
#include <support/err_Capture.h>
#include <support/sys_Directory.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

/// A directory of its own. Whatever the layer lets through to the error stream fails the test.
class face_Fixture : public testing::Test {
 protected:
  ~face_Fixture() override { EXPECT_EQ(m_lines.Take(), ""); }

  std::string Path(const std::string& name = "a.pdm") const { return m_directory.Path(name); }
  std::string Lines() { return m_lines.Take(); }

  /// A tetrahedron with coordinates, a set, a surface, a result of two steps and a modal system.
  pdm::Sim Model(const std::string& name = "a.pdm",
                 pdm::Durability durability = pdm::Durability::process) const {
    pdm::Sim sim = pdm::create(Path(name), {.durability = durability});
    pdm::Update update = sim.update();
    const pdm::Mesh mesh = sim.create_mesh(4, 1);
    const double xyz[4][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    mesh.node_fields().create("coordinates", xyz, {.unit = "m", .long_name = "x, y, z"});
    mesh.element_fields().create("connectivity", std::vector{0, 1, 2, 3}, {.long_name = "TET4"});
    mesh.node_sets().create("base", {2, 0, 1});
    mesh.surfaces().create("skin", std::vector{0, 0}, std::vector{3, 1});
    mesh.set_times(std::vector{0.0, 0.5});
    const pdm::Field heat = mesh.node_fields().create_empty("heat", {.unit = "K"});
    for (const float step : {1.f, 2.f})
      heat.append(std::vector{step, step, step, 10 * step});
    const pdm::System modal = mesh.systems().create("modal", pdm::Kind::modal);
    modal.set_activity(std::vector{7, 3, 0, 1});
    modal.set_order(std::vector{5, 0, 1});
    modal.set_frequencies(std::vector{10.0, 20.0});
    update.commit();
    return sim;
  }

  /// What a call throws; fails the test when it throws nothing.
  template <class Call>
  static pdm::Error Refused(Call&& call) {
    try {
      call();
    } catch (const pdm::Error& error) {
      return error;
    }
    ADD_FAILURE() << "nothing was thrown";
    return {"", "", "", ""};
  }

 private:
  sys_Directory m_directory;
  err_Capture m_lines;
};
