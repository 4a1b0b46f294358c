// hid record: one HID device's descriptor, identity, registry entries and input reports, written as a recording.
#pragma once

#include "tools/plinth-ioreg/command_line/options.hpp"

#include <cstdio>

namespace plinth::ioreg_tool {

// hid record: opens the HID device shared, so that the programs that use it keep
// working, and writes a recording (docs/hid-recordings.md) to --output or `out`:
// the device's descriptor, name, path and identity, its registry entries up to
// the USB or Bluetooth device it is part of, the answer to each feature report
// its descriptor defines, then each input report with its time, flushed as it
// comes, until --count reports, --seconds or SIGINT/SIGTERM. Throws tool_error
// when the entry is no HID device, cannot be opened, leaves while recorded (the
// recording holds every report until then), or the file cannot be written.
int run_hid_record(options const& chosen, std::FILE* out);

// As run_hid_record, on the registry as it stands.
int record_hid_reports(options const& chosen, std::FILE* out);

} // namespace plinth::ioreg_tool
