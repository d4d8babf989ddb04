#pragma once

#include <kda/kda_Export.h>

// The templates that befriend one another. Their visibility stands with their first declaration, which is
// why everybody takes it from here.
// Threads: as their own headers say.
template <class>
class PDM_CORE_API gbb_ObjectHandle;
template <class>
class PDM_CORE_API gbb_HolderBase;
template <class>
class PDM_CORE_API gbb_ObjectHolder;
template <class>
class PDM_CORE_API gbb_ObjectAccess;
template <class>
class gbb_ObjectImpl;
