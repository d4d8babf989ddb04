#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Inspect.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Handle.h>

#include <set>

class hdf_Operation;

/// The walk behind ORXSimInspect, on any open HDF5 file. Private to the module.
class hdf_Walk {
 public:
  static constexpr int kDeepest = 100;

  /// \param fileBytes what the file has room for; nothing larger is believed.
  hdf_Walk(hdf_Operation& operation, hid_t file, std::uint64_t fileBytes, ORXSimInspectVisitor& visitor)
      : m_operation(operation), m_file(file), m_fileBytes(fileBytes), m_visitor(visitor) {}
  void Run();
  const ORXSimInspectTotals& Totals() const { return m_totals; }

 private:
  struct Place {
    std::string path, name;
    int depth;
    bool ours; // below `sim` or `store`
  };

  void Visit(hid_t object, const Place& place);
  void VisitGroup(hid_t group, const Place& place, ORXSimInspected& seen);
  void VisitDataset(hid_t dataset, const Place& place, ORXSimInspected& seen);
  void Follow(hid_t group, const Place& place, const std::string& name, haddr_t address);
  void ReadAttributes(hid_t object, const Place& place, ORXSimInspected& seen);
  void CheckLayout(hid_t dataset, const Place& place, ORXSimInspected& seen);
  void Report(const Place& place, const char* kind, const std::string& text);
  void ReportUnreadable(const Place& place, const std::string& what);
  void Account(const H5O_info_t& info);

  hdf_Operation& m_operation;
  hid_t m_file;
  std::uint64_t m_fileBytes;
  ORXSimInspectVisitor& m_visitor;
  ORXSimInspectTotals m_totals;
  std::set<haddr_t> m_visited, m_above;
};

/// What HDF5 says of its last failure, in one line.
std::string hdf_CauseOf(hdf_Operation& operation);
