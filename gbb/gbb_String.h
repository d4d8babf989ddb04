#pragma once

#include <UTI_BasicUtils/cow_String.h>

/// File names, aliases and group names: the shared string of the simulation-file API.
/// Threads: one at a time for each value; copies of it may be used in others.
using gbb_String = cow_String;
