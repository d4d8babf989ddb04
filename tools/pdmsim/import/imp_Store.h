#pragma once

#include <UTI_ORXSimDynamicAPI/UTI_ORXSimDynamicAPI.h>

#include <string>
#include <vector>

/// A drawer to be made.
/// \param longName a name for people, "" for none.
inline ORXSimDrawerDescription imp_Drawer(ORXSimCSetID members, ORXSimItemType type,
                                          std::size_t components = 1, const std::string& longName = {}) {
  ORXSimDrawerDescription drawer;
  drawer.members = members;
  drawer.type = type;
  drawer.components = static_cast<int>(components);
  drawer.longName = cow_String(longName.data(), longName.size());
  return drawer;
}

/// The bulk store of the file being written, with every call checked: a failure throws cli_Failure with the
/// store's own cause.
class imp_Store {
 public:
  explicit imp_Store(ORXSimContextID context) : m_context(context) {}

  ORXSimCollectionID Collection(const char* name, std::size_t items) const;
  ORXSimCSetID Full(ORXSimCollectionID collection) const {
    return ORXSimCollectionRef(collection).FullCSet();
  }
  /// Members each once, 0-based. The list of all items in their order becomes the full set.
  ORXSimCSetID Set(ORXSimCollectionID collection, const std::vector<int>& members) const;
  ORXSimDistributionID Distribution(const std::string& name,
                                    const std::vector<ORXSimDrawerDescription>& drawers,
                                    const std::string& unit = {}) const;
  ORXSimOpenDrawer Open(ORXSimDistributionID distribution, int drawer) const;
  /// \param values whole rows of the drawer's components, in the drawer's type.
  template <class T>
  void Write(ORXSimDistributionID distribution, int drawer, std::size_t first, const std::vector<T>& values,
             std::size_t rows) const {
    Write(Open(distribution, drawer), first, rows, values.data(), sizeof(T) * values.size());
  }
  static void Write(const ORXSimOpenDrawer& drawer, std::size_t first, std::size_t rows, const void* values,
                    std::size_t bytes);

  [[noreturn]] static void Fail();

 private:
  ORXSimContextID m_context;
};
