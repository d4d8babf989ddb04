#pragma once

#include <PDM_Core.h>

#include <string>
#include <vector>

/// Bytes of the member stream of each object that is written here, by us and by the peers.
inline constexpr int dur_kStream = 200;

/// Makes a file of n systems with streams of that length, in one update scope; the root keeps it open.
msfD_Sim dur_CreateModel(msfD_Root& root, const std::string& path, int n, int mode);
/// What a peer writes for one object.
std::vector<unsigned char> dur_Stream();
