#pragma once

#include <string>
#include <vector>

struct view_Finding {
  std::string text;
  bool note = false; // nothing is wrong for sure
};

/// What is wrong with the sources of a view, one line each: they are gone, or no longer what the view was
/// made of, or have journals, which hide from viewers what is new.
std::vector<view_Finding> view_CheckSources(const std::string& path);
