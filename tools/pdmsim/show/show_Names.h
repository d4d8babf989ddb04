#pragma once

#include <pdmsim/stored/sto_Steps.h>

#include <PDM_Core.h>

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// What a person knows items by: names of sets, the user's labels and the times of steps. Reads nothing
/// before it is asked, and answers nothing where the file has nothing of the kind, or nothing that can be
/// used.
class show_Names {
 public:
  show_Names() = default;
  /// Nothing is taken from objects that a newer program has written: this one cannot read them whole.
  /// \param model  may be empty; its file stays open as long as this object is used.
  show_Names(const msfD_DiscreteModel& model, ORXSimContextID context);

  /// The name that the mesh has for a set, "" for none.
  std::string Set(ORXSimCSetID id) const;
  /// True for the collection of time steps.
  bool IsFrames(ORXSimCollectionID id) const { return !id.IsNull() && id == m_frames; }
  /// The user's labels of items; empty when the items have none.
  std::vector<long long> Labels(ORXSimCollectionID collection, const std::vector<int>& items) const;
  /// The time of every step, empty when none are known.
  const std::vector<double>& Times() const { return m_times; }
  /// The step that a drawer of a field with so many belongs to; none where drawers are no steps.
  std::optional<int> Step(ORXSimDistributionID field, int drawer, int drawers) const;

 private:
  void AddSets(const kda_MapString<ORXSimCSetID>& sets);
  void AddLabels(ORXSimCollectionID collection, const kda_MapString<ORXSimDistributionID>& fields);
  void ReadTimes(const msfD_Mesh& mesh);

  std::map<std::pair<int, int>, std::string> m_sets; // by collection and minor number
  std::map<int, ORXSimDistributionID> m_labels;      // by collection
  ORXSimCollectionID m_frames;
  std::vector<double> m_times;
  sto_StepFields m_stepFields;
};

/// The names that descriptions are made with, as long as this object lives. One at a time.
class show_NamesInUse {
 public:
  explicit show_NamesInUse(const show_Names& names);
  show_NamesInUse(const show_NamesInUse&) = delete;
  show_NamesInUse& operator=(const show_NamesInUse&) = delete;
  ~show_NamesInUse();
  /// Those of no file where none are in use.
  static const show_Names& Get();
};
