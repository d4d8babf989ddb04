#pragma once

#include <gbb/gbb_ObjectInterface.h>

#include <memory>
#include <vector>

/// Objects that a rollback took from their owner. They are not in the file any more and have no place, but
/// handles on them may still be held: so they live as long as the owner, and their calls answer null values.
class gbb_Removed {
 public:
  void Add(gbb_ObjectInterface* object) {
    if (m_objects == nullptr)
      m_objects = std::make_unique<List>();
    m_objects->emplace_back(object);
  }

 private:
  using List = std::vector<std::unique_ptr<gbb_ObjectInterface>>;
  std::unique_ptr<List> m_objects; // one pointer for the many owners that never lose anything
};
