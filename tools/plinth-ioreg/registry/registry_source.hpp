// Where the registry the tool reads comes from: the machine's own, or the simulated I/O Kit's bundled registry or --registry dumps.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace plinth::ioreg_tool {

// One --registry argument, read: the plane its links go to and the file to load
// ("-" for standard input).
struct dump_argument
{
    std::string plane = "IOService";
    std::string file;

    bool operator==(dump_argument const&) const = default;
};

// Reads the --registry arguments ("[PLANE=]FILE", plane IOService by default, "-"
// for standard input) without opening anything. A FILE that exists is taken as
// named, even with a '=' in it. Throws tool_error for an unknown plane or for
// standard input given more than once, so that a command line that cannot work
// fails before any dump is loaded.
std::vector<dump_argument> read_dump_arguments(std::vector<std::string> const& dumps);

// The registry a command reads, ready: what plays in it (the --replay devices)
// lives as long as this does.
class prepared_registry
{
public:
    prepared_registry();
    ~prepared_registry();
    prepared_registry(prepared_registry&&) noexcept;
    prepared_registry& operator=(prepared_registry&&) noexcept;

private:
    friend prepared_registry play_recordings(std::vector<std::string> const&);
    struct replays;
    std::unique_ptr<replays> replays_;
};

// Makes the registry the tool reads. On a Mac it is the machine's own, and
// `dumps` and `recordings` must be empty. Elsewhere it is the simulated I/O Kit's:
// the bundled registry of a realistic Mac, or, when `dumps` names files (read as
// read_dump_arguments() does), those dumps merged by registry entry ID; then
// every device of each recording in `recordings`, added and playing its reports
// in real time. Throws tool_error for an unknown plane or a file that cannot be
// read or parsed, naming the file (and the line of a recording).
prepared_registry prepare_registry(std::vector<std::string> const& dumps, std::vector<std::string> const& recordings);

// The second half of prepare_registry, for a command that must be ready before
// the devices arrive (watch): every device of each recording added to the
// registry as it stands, playing. Throws tool_error as prepare_registry does.
prepared_registry play_recordings(std::vector<std::string> const& recordings);

} // namespace plinth::ioreg_tool
