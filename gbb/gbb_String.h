#pragma once

#include <UTI_BasicUtils/cow_String.h>

/// File names, aliases and group names: the shared string of the simulation-file API.
using gbb_String = cow_String;
