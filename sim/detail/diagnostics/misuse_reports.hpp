// The process-wide log of misuse reports: one line per bad call (a dead handle, a released CF object, a wrong type ...).
#pragma once

#include <string>
#include <vector>

// The bottom of the simulation: every layer may report misuse here, and the
// control interface (sim/control/diagnostics.hpp) hands the log to tests.
namespace plinth::sim::detail {

// Records one report. Thread-safe, and safe during static destruction at exit.
void report_misuse(std::string message);

// Where a Mac reads or writes through a pointer argument and crashes on a NULL
// one: reports "CALL: ARGUMENT is NULL" and returns true, so that the call is
// refused; false for any other pointer.
bool refuse_null(void const* pointer, char const* call, char const* argument);

// The reports since the last clear, oldest first.
std::vector<std::string> misuse_reports();
void clear_misuse_reports();

} // namespace plinth::sim::detail
