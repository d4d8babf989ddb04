#include <gbb/gbb_ObjectInterface.h>

gbb_ObjectInterface::~gbb_ObjectInterface() = default;

gbb_ObjectInterface* gbb_ObjectInterface::Identity() {
  return this;
}
