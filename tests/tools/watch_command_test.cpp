// The registry watch and the watch command: arrivals and departures reported once, in order, and a clean stop.
#include "device/apple/detail/notifier_service.hpp"
#include "support/scratch_folder.hpp"
#include "support/threaded_sim_test.hpp"
#include "tools/plinth-ioreg/watch/registry_watch.hpp"
#include "tools/plinth-ioreg/watch/watch_event.hpp"

#include <boost/asio/io_context.hpp>

#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <regex>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace sim = plinth::sim;
namespace tool = plinth::ioreg_tool;
using plinth::apple::detail::notifier_service;
using namespace std::chrono_literals;

// Events as a watch delivers them, with the thread each came on.
struct event_log
{
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<tool::watch_event> events;
    std::vector<std::thread::id> threads;

    tool::registry_watch::sink sink()
    {
        return [this](tool::watch_event const& event) {
            {
                std::lock_guard const lock(mutex);
                events.push_back(event);
                threads.push_back(std::this_thread::get_id());
            }
            changed.notify_all();
        };
    }

    bool wait_for(std::size_t count)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, 10s, [&] { return events.size() >= count; });
    }
};

using watch_command_test = plinth::testing::threaded_sim_test;

TEST_F(watch_command_test, reports_an_entry_arriving_and_leaving_with_the_path_it_had)
{
    // The plane's top entry, which paths start from.
    auto const platform = sim::add_entry({"IOPlatformExpertDevice", "Platform"}, sim::root_entry_id);
    auto const hub = sim::add_entry({"IOUSBHostDevice", "Hub", "14000000"}, platform);
    event_log log;
    {
        boost::asio::io_context context;
        auto& notifier = boost::asio::use_service<notifier_service>(context);
        tool::registry_watch const watch(notifier, {"IOUSBHostDevice"}, log.sink());
        auto const mouse = sim::add_entry({"IOUSBHostDevice", "Mouse", "14100000"}, hub);
        sim::add_entry({"IOMedia", "Disk"}, sim::root_entry_id);
        ASSERT_TRUE(log.wait_for(1));
        sim::remove_entry(mouse);
        ASSERT_TRUE(log.wait_for(2));

        std::lock_guard const lock(log.mutex);
        ASSERT_EQ(log.events.size(), 2u) << "the hub was there before, the disk is not watched";
        auto const& arrived = log.events[0];
        auto const& left = log.events[1];
        EXPECT_TRUE(arrived.arrived);
        EXPECT_EQ(arrived.class_name, "IOUSBHostDevice");
        EXPECT_EQ(arrived.name, "Mouse");
        EXPECT_EQ(arrived.id, mouse);
        EXPECT_EQ(arrived.path, "IOService:/Hub@14000000/Mouse@14100000");
        EXPECT_FALSE(left.arrived);
        EXPECT_EQ(left.id, mouse);
        EXPECT_EQ(left.path, arrived.path) << "a departed entry has no path: the one it had";
        EXPECT_NE(log.threads[0], std::this_thread::get_id());
    }
}

TEST_F(watch_command_test, reports_a_subtree_in_the_order_it_arrived)
{
    event_log log;
    boost::asio::io_context context;
    auto& notifier = boost::asio::use_service<notifier_service>(context);
    tool::registry_watch const watch(notifier, {}, log.sink());
    // However IOKit batches them, parents come before their children.
    auto const device = sim::add_entry({"IOUSBHostDevice", "Device"}, sim::root_entry_id);
    auto const interface = sim::add_entry({"IOUSBHostInterface", "Interface"}, device);
    auto const driver = sim::add_entry({"IOService", "Driver"}, interface);
    ASSERT_TRUE(log.wait_for(3));
    std::lock_guard const lock(log.mutex);
    std::vector<std::uint64_t> ids;
    for (auto const& event : log.events)
        ids.push_back(event.id);
    EXPECT_EQ(ids, (std::vector<std::uint64_t>{device, interface, driver}));
}

TEST_F(watch_command_test, prints_one_line_or_one_json_object_per_event)
{
    tool::watch_event event{std::chrono::system_clock::from_time_t(0) + 1500ms,
                            false,
                            "IOUSBHostDevice",
                            "Mouse",
                            0x100000a2c,
                            "IOService:/Mouse@14100000"};
    EXPECT_TRUE(std::regex_match(
        tool::format_watch_event(event),
        std::regex(R"(\d\d:\d\d:\d\d\.500 - IOUSBHostDevice Mouse 0x100000a2c IOService:/Mouse@14100000\n)")));
    auto const json = tool::watch_event_to_json(event);
    EXPECT_EQ(json.dump(), R"({"time":"1970-01-01T00:00:01.500Z","event":"left","class":"IOUSBHostDevice",)"
                           R"("name":"Mouse","id":"0x100000a2c","path":"IOService:/Mouse@14100000"})");
    event.path.clear();
    EXPECT_TRUE(tool::format_watch_event(event).ends_with(" 0x100000a2c -\n"));
    EXPECT_TRUE(tool::watch_event_to_json(event)["path"].is_null());
}

#if defined(PLINTH_IOREG_TOOL)

// The tool running `watch`, its standard output read line by line.
class watching_tool
{
public:
    explicit watching_tool(std::vector<std::string> args, char const* output_file = nullptr)
    {
        int fds[2];
        if (pipe(fds) != 0)
            throw std::runtime_error("pipe");
        pid_ = fork();
        if (pid_ == 0)
        {
            int const out = output_file != nullptr ? open(output_file, O_WRONLY) : fds[1];
            dup2(out, STDOUT_FILENO);
            close(fds[0]);
            std::vector<char*> argv{const_cast<char*>(PLINTH_IOREG_TOOL), const_cast<char*>("watch")};
            for (auto& arg : args)
                argv.push_back(arg.data());
            argv.push_back(nullptr);
            execv(PLINTH_IOREG_TOOL, argv.data());
            _exit(127);
        }
        close(fds[1]);
        out_ = fds[0];
    }
    ~watching_tool()
    {
        if (pid_ > 0)
        {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
        close(out_);
    }

    // The next line, or nothing when none comes within 10 seconds.
    std::optional<std::string> next_line()
    {
        while (buffer_.find('\n') == std::string::npos)
        {
            pollfd ready{out_, POLLIN, 0};
            if (poll(&ready, 1, 10'000) <= 0)
                return std::nullopt;
            char chunk[4096];
            auto const got = read(out_, chunk, sizeof chunk);
            if (got <= 0)
                return std::nullopt;
            buffer_.append(chunk, static_cast<std::size_t>(got));
        }
        auto const end = buffer_.find('\n');
        auto line = buffer_.substr(0, end);
        buffer_.erase(0, end + 1);
        return line;
    }

    // Sends `signal` and waits for the exit status (-1 unless it exited).
    int stop(int signal)
    {
        kill(pid_, signal);
        return wait_for_exit();
    }

    int wait_for_exit()
    {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t pid_ = -1;
    int out_ = -1;
    std::string buffer_;
};

TEST_F(watch_command_test, the_tool_shows_a_simulated_device_leave_and_come_back_until_ctrl_c)
{
    watching_tool watching({"--json", "--class", "IOUSBDevice", "--simulate-hotplug"});
    auto const left = watching.next_line();
    auto const arrived = watching.next_line();
    ASSERT_TRUE(left && arrived);
    auto const first = nlohmann::json::parse(*left);
    auto const second = nlohmann::json::parse(*arrived);
    EXPECT_EQ(first["event"], "left");
    EXPECT_EQ(second["event"], "arrived");
    EXPECT_EQ(first["id"], second["id"]);
    EXPECT_EQ(first["path"], second["path"]);
    EXPECT_EQ(watching.stop(SIGINT), 0) << "Ctrl-C ends the watch cleanly";
}

TEST_F(watch_command_test, the_tool_shows_a_replayed_device_arrive)
{
    plinth::testing::scratch_folder const scratch("watch-replay");
    auto const file = scratch.write("gadget.hid", "R: 2 a1 c0\nN: Replayed Gadget\nI: 3 1234 5678\n").string();
    watching_tool watching({"--json", "--class", "IOHIDDevice", "--replay", file});
    auto const arrived = watching.next_line();
    ASSERT_TRUE(arrived);
    auto const event = nlohmann::json::parse(*arrived);
    EXPECT_EQ(event["event"], "arrived");
    EXPECT_EQ(event["class"], "IOUSBHostHIDDevice");
    EXPECT_EQ(watching.stop(SIGINT), 0);
}

TEST_F(watch_command_test, the_tool_fails_when_its_output_cannot_be_written)
{
    watching_tool watching({"--simulate-hotplug"}, "/dev/full");
    EXPECT_EQ(watching.wait_for_exit(), 1);
}

#endif

} // namespace
