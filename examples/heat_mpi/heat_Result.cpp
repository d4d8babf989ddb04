#include "heat_Result.h"

#include <mpi/ORXSim_RankUpdate.h>

heat_Result::heat_Result(const heat_Team& team, const heat_File& file) : m_team(&team), m_file(&file) {
  team.OnRoot([&] {
    const pdm::Fields fields = file.Mesh().node_fields();
    m_field = fields.contains("temperature") ? fields["temperature"]
                                             : fields.create_empty("temperature", {.unit = "K"});
    m_steps = m_field.size();
  });
  m_steps = team.Told(m_steps);
}

Eigen::VectorXd heat_Result::Last(const std::vector<int>& nodes) const {
  heat_Drawer drawer{{}, {}, m_steps - 1};
  m_team->OnRoot([&] {
    const pdm::Drawer last = m_field[drawer.number];
    if (last.type() != pdm::Type::float64 || last.components() != 1 || !last.set().is_full())
      throw std::runtime_error("expected the field 'temperature' to be one double for each node");
    drawer.field = m_field.handle();
    drawer.members = last.set().handle();
  });
  Eigen::VectorXd values(static_cast<Eigen::Index>(nodes.size()));
  m_file->Read(drawer, nodes, std::span(values.data(), nodes.size()));
  return values;
}

void heat_Result::Append(double time, const std::vector<int>& nodes, const Eigen::VectorXd& values) {
  ORXSimRankUpdate update(m_file->Ranks()); // left early: all of it is taken back
  heat_Drawer drawer{{}, {}, m_steps};
  m_team->OnRoot([&] {
    if (m_steps == 0)
      m_file->Mesh().set_times(std::span(&time, 1)); // those that came with the mesh are of no result
    else
      m_file->Mesh().append_time(time);
    drawer = Add();
  });
  m_file->Write(drawer, nodes, std::span(values.data(), nodes.size()));
  heat_Team::Require(update.Commit()); // from here on the step is there, whatever happens
  ++m_steps;
}

heat_Drawer heat_Result::Add() const {
  ORXSimDrawerDescription description;
  description.members = ORXSimCollectionRef(m_file->Mesh().nodes().handle()).FullCSet();
  const ORXSimDistributionID field = m_field.handle();
  if (ORXSimDistributionRef(field).AddDrawer(description) != m_steps)
    throw std::runtime_error(ORXSimManager::LastError());
  return {field, description.members, m_steps};
}
