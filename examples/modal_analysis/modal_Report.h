#pragma once

#include "modal_Analysis.h"
#include "modal_Store.h"

#include <iosfwd>

/// The analysis for a person to read.
void modal_Report(std::ostream& out, const modal_Job& job, const std::string& name, const modal_Units& units,
                  const modal_Analysis& analysis);
/// The same for a script.
void modal_ReportJson(std::ostream& out, const modal_Job& job, const std::string& name,
                      const modal_Analysis& analysis);
