#include <gbb/gbb_ObjectInterface.h>

gbb_ObjectInterface::~gbb_ObjectInterface() = default;
