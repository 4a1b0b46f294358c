// Replays a keyboard recorded typing "hello" and reads it as a program reads a real one.
#include "device/apple/hid_stream.hpp"
#include "device/apple/tree.hpp"
#include "hid/recording.hpp"
#include "sim/control/hid_replay.hpp"

#include <boost/asio/io_context.hpp>

#include <array>
#include <fstream>
#include <iostream>
#include <sstream>

int main(int argc, char** argv)
{
    using namespace plinth::apple;
    std::ostringstream text;
    text << std::ifstream(argc > 1 ? argv[1] : "keyboard-typing-hello.hid").rdbuf();
    plinth::sim::hid_replay keyboard(hid_recording::parse(text.str()), 0,
                                     {plinth::sim::replay_pace::as_fast_as_read, true}); // unplugged at the end
    boost::asio::io_context io;
    tree registry(io_kit::mach_port::master_port_default());
    hid_stream stream(io.get_executor(), io_kit::io_registry_entry(registry.get_by_id(keyboard.device()).next()));
    keyboard.start();
    std::array<std::uint8_t, 8> report{};
    std::string typed;
    boost::system::error_code ec;
    while (stream.read({nullptr, boost::asio::buffer(report)}, ec), !ec) // the unplug ends the last read
        if (report[2] >= 4 && report[2] <= 29)                           // usages 4 to 29: a to z
            typed += static_cast<char>('a' + report[2] - 4);
    std::cout << "typed \"" << typed << "\"\n";
}
