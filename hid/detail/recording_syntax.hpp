// recording_syntax: how the lines a Mac adds to a HID recording begin, shared by its reader and writer.
#pragma once

namespace plinth::apple::detail {

// What a Mac adds goes in comment lines, which every reader of the Linux format
// skips: "#@ " and a kind of its own, then the content in the Linux lines' manner.
inline constexpr char const* mac_line_prefix = "#@ ";
// One line of the registry entries as `ioreg -a` writes them.
inline constexpr char registry_kind = 'X';
// A feature report's answer: "#@ F: ID LEN HH …".
inline constexpr char feature_answer_kind = 'F';
// An output or a feature report the device received: "#@ O: SEC.USEC LEN HH …", "#@ S: …".
inline constexpr char output_kind = 'O';
inline constexpr char feature_kind = 'S';

} // namespace plinth::apple::detail
