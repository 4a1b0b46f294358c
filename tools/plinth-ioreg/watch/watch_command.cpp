// The watch command: a registry watch on the notifier service, its events written as they come, until a signal.
#include "tools/plinth-ioreg/watch/watch_command.hpp"

#include "device/apple/detail/notifier_service.hpp"
#include "tools/plinth-ioreg/command_line/tool_error.hpp"
#include "tools/plinth-ioreg/registry/registry_source.hpp"
#include "tools/plinth-ioreg/watch/registry_watch.hpp"
#include "tools/plinth-ioreg/watch/watch_event.hpp"

#if !defined(__APPLE__)
#include "tools/plinth-ioreg/watch/hotplug_simulator.hpp"
#endif

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>

#include <atomic>
#include <csignal>
#include <memory>
#include <optional>

namespace plinth::ioreg_tool {
namespace {

// Writes events as they come, on the watch's thread; a failed write stops the
// command.
class event_writer
{
public:
    event_writer(std::FILE* out, bool json, boost::asio::io_context& io) : out_(out), json_(json), io_(io) {}

    void write(watch_event const& event)
    {
        auto const line = json_ ? watch_event_to_json(event).dump() + "\n" : format_watch_event(event);
        if (std::fwrite(line.data(), 1, line.size(), out_) != line.size() || std::fflush(out_) != 0)
        {
            failed_ = true;
            io_.stop();
        }
    }

    bool failed() const noexcept { return failed_; }

private:
    std::FILE* out_;
    bool json_;
    boost::asio::io_context& io_;
    std::atomic<bool> failed_{false};
};

} // namespace

int run_watch(options const& chosen, std::FILE* out)
{
    // Recorded devices arrive once the watch is armed, as devices plugged in do.
    auto const prepared = prepare_registry(chosen.registries, {});
    auto io = std::make_unique<boost::asio::io_context>();
    event_writer writer(out, chosen.json, *io);
    std::optional<registry_watch> watch;
    {
        boost::asio::signal_set signals(*io, SIGINT, SIGTERM);
        signals.async_wait([&io](boost::system::error_code const&, int) { io->stop(); });
        auto& notifier = boost::asio::use_service<apple::detail::notifier_service>(*io);
        watch.emplace(notifier, chosen.watched_classes, [&writer](watch_event const& event) { writer.write(event); });
        auto const played = play_recordings(chosen.replays);
#if !defined(__APPLE__)
        std::optional<hotplug_simulator> hotplug;
        if (chosen.simulate_hotplug)
            hotplug.emplace(io->get_executor(), std::chrono::seconds(1));
#else
        if (chosen.simulate_hotplug)
            throw tool_error("--simulate-hotplug works only where the I/O Kit is simulated");
#endif
        io->run();
    }
    // The writer stops the context: end the deliveries before the context goes.
    // Then shut the notifier down while the watch still holds its tokens: the loop
    // is joined and every notification dropped here, so the tokens' clean-ups that
    // follow find nothing left to wait for.
    watch->stop();
    io.reset();
    watch.reset();
    if (writer.failed())
        throw tool_error("cannot write the output");
    return 0;
}

} // namespace plinth::ioreg_tool
