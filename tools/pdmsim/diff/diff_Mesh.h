#pragma once

#include <pdmsim/diff/diff_Field.h>

/// What of a comparison depends on the names that the mesh and its fields have: which items are the same,
/// what belongs to a step, and what the numbers of connectivity and surfaces mean.
class diff_Mesh {
 public:
  /// Matches the collections of the two meshes that labels, names or times are known of, and says what only
  /// one has. Throws cli_Failure.
  explicit diff_Mesh(diff_Files& files);

  /// Compares two fields that have the same path.
  /// \param path    as pdmsim show takes it.
  /// \param member  the member of the mesh that the field is in, as "nodeFields"; "" for any other place.
  /// \param name    its key there.
  void CompareField(const std::string& path, const std::string& member, const std::string& name,
                    ORXSimDistributionID a, ORXSimDistributionID b);
  /// Compares two sets by what their members are called: as sets, and then in their order.
  void CompareSet(const std::string& path, ORXSimCSetID a, ORXSimCSetID b);

 private:
  using FieldMap = kda_MapString<ORXSimDistributionID>;
  using SetMap = kda_MapString<ORXSimCSetID>;

  std::vector<std::int64_t> Labels(int side, const FieldMap& fields, ORXSimCollectionID items) const;
  void MatchByLabel(ORXSimCollectionID a, ORXSimCollectionID b, const FieldMap& fieldsA,
                    const FieldMap& fieldsB);
  void MatchRegions();
  void MatchSteps();
  void MatchKeys(const char* field, const std::vector<std::string>& a, const std::vector<std::string>& b);
  void Group(int side, const ORXSimPersistentDrawerDesc& drawer, const std::vector<diff_Column>& before,
             diff_Column& column, bool sides) const;
  void CompareSurface(const std::string& path, ORXSimDistributionID a, ORXSimDistributionID b);
  void CompareConnectivity(const std::string& path, ORXSimDistributionID a, ORXSimDistributionID b);
  void SayOnly(const std::string& path, const std::string& word, const std::vector<std::string> (&only)[2],
               std::size_t (&counts)[2]);

  diff_Files& m_files;
  msfD_Mesh m_mesh[2];
  diff_Matching m_frames{0, 0};
  std::vector<double> m_times[2];
  double m_timeTolerance = 0;
};
