#pragma once

#include <PDM_Core.h>

#include <functional>
#include <set>
#include <string_view>

/// True for a field of the mesh that a host computes, whose drawers may be steps. What makes up the mesh
/// itself (coordinates, connectivity, labels...) has other reasons for several drawers.
/// \param map  of the mesh that the field is in, "nodeFields".
bool sto_IsResult(std::string_view map, std::string_view name);

/// How many drawers a field has for each step, 0 where they are no steps. Every step has drawers over the
/// same sets, in the same order. Two of one step are over one set only where a long name says which of
/// the mesh's sets they belong to, which every step repeats.
/// \param drawers, steps  how many there are.
/// \param looked  how many steps are held against the first, at most.
/// \param drawer  gives one.
int sto_DrawersOfStep(int drawers, int steps, int looked,
                      const std::function<ORXSimPersistentDrawerDesc(int)>& drawer);

/// The fields of a mesh whose drawers may be steps, by what they are called.
class sto_StepFields {
 public:
  /// None.
  sto_StepFields() = default;
  explicit sto_StepFields(const msfD_Mesh& mesh);
  bool Has(ORXSimDistributionID field) const { return m_fields.contains(field.Minor()); }

 private:
  std::set<int> m_fields;
};
