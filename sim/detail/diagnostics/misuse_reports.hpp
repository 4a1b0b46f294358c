// The process-wide log of misuse reports: one line per bad call (a dead handle, a released CF object, a wrong type ...).
#pragma once

#include <string>
#include <vector>

// The bottom of the simulation: every layer may report misuse here, and the
// control interface (sim/control/diagnostics.hpp) hands the log to tests.
namespace plinth::sim::detail {

// Records one report. Thread-safe, and safe during static destruction at exit.
void report_misuse(std::string message);

// The reports since the last clear, oldest first.
std::vector<std::string> misuse_reports();
void clear_misuse_reports();

} // namespace plinth::sim::detail
