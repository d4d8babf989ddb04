#pragma once

#include <campaign/camp_File.h>

/// A sequence of steps on plain HDF5: groups, attributes and datasets of all sizes and layouts that are made,
/// overwritten, replaced and removed; updates rolled back; files closed, opened and made anew. What a step
/// does is a function of the seed, its number and the content before it, and each step is one commit point,
/// or none.
class camp_Workload {
 public:
  enum Stage { kChanging, kCommitting, kClosing };

  camp_Workload(std::uint64_t seed, const camp_Config& config) : m_seed(seed), m_config(config) {}

  /// Takes step n in the content kept here, and in a session's file too when there is one.
  /// \return false when something in the file failed; the content here is the one after the step regardless.
  bool Step(int n, camp_Session* session);

  camp_Content content;
  Stage stage = kChanging; // that the last step reached

 private:
  using Names = std::vector<std::string>;
  enum Kind { kObjects, kGroups, kDatasets, kLargeOnes };

  bool Live() const { return m_session != nullptr; }
  hid_t File() const { return m_session->Id(); }
  bool Create();
  bool Regrow(int n);
  bool Several();

  // The parts of a step.
  bool Write();
  bool SetAttribute();
  bool NewGroup();
  bool NewDataset(bool isLarge);
  bool Replace(const std::string& name, bool isLarge);
  bool Store(const std::string& name, int layout, std::vector<hsize_t> shape);
  bool Overwrite(const std::string& name, bool isWhole);
  bool Remove(const std::string& name);
  bool Lend();

  Names NamesOf(Kind kind) const;
  std::string OneOf(const Names& names) { return names[m_random.Below(names.size())]; }
  std::string Below(const std::string& group, const char* leaf);
  std::string Bytes(hsize_t count);

  std::uint64_t m_seed;
  camp_Config m_config;
  camp_Random m_random{0};
  camp_Session* m_session = nullptr;
  bool m_spoils = false; // a helper fails in this step
};
