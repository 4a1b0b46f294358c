// plinth-ioreg's command table: each command line reaches the row it names, help lists every row, and a word that names no command runs nothing.
#include "tools/plinth-ioreg/command_line/command.hpp"
#include "tools/plinth-ioreg/command_line/command_table.hpp"
#include "tools/plinth-ioreg/command_line/options.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace {

namespace tool = plinth::ioreg_tool;

struct parse_outcome
{
    tool::parsed_command_line parsed;
    std::string out;
    std::string err;
};

parse_outcome parse(std::vector<std::string> args)
{
    args.insert(args.begin(), "plinth-ioreg");
    std::vector<char const*> argv;
    for (auto const& arg : args)
        argv.push_back(arg.c_str());
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    parse_outcome outcome{tool::parse_command_line(static_cast<int>(argv.size()), argv.data()), {}, {}};
    outcome.out = ::testing::internal::GetCapturedStdout();
    outcome.err = ::testing::internal::GetCapturedStderr();
    return outcome;
}

// "hid read" for a subcommand: the names from the top of the table down to the row.
std::string full_name(tool::command const* row)
{
    for (auto const& top : tool::command_table())
    {
        if (&top == row)
            return std::string(top.name);
        for (auto const& sub : top.subcommands)
            if (&sub == row)
                return std::string(top.name) + ' ' + std::string(sub.name);
    }
    return "(no row of the table)";
}

TEST(command_table_test, each_command_line_runs_the_row_it_names_and_every_row_is_reachable)
{
    struct command_line
    {
        std::vector<std::string> args;
        std::string command;
    };
    std::vector<command_line> const command_lines = {
        {{"tree"}, "tree"},
        {{"show", "IOService:/"}, "show"},
        {{"usb", "-v"}, "usb"},
        {{"pci"}, "pci"},
        {{"serial"}, "serial"},
        {{"watch", "--class", "IOUSBHostDevice"}, "watch"},
        {{"--json", "hid"}, "hid"},
        {{"hid", "describe", "0x100000100"}, "hid describe"},
        {{"hid", "read", "--decode", "0x100000100"}, "hid read"},
        {{"hid", "write", "1", "02"}, "hid write"},
        {{"hid", "record", "1", "--seconds", "5", "-o", "out.hid"}, "hid record"},
    };
    std::set<std::string> reached;
    for (auto const& [args, command] : command_lines)
    {
        auto const outcome = parse(args);
        ASSERT_FALSE(outcome.parsed.exit_status.has_value()) << command << ": " << outcome.err;
        ASSERT_NE(outcome.parsed.value.command_to_run, nullptr) << command;
        auto const name = full_name(outcome.parsed.value.command_to_run);
        EXPECT_EQ(name, command);
        EXPECT_NE(outcome.parsed.value.command_to_run->run, nullptr) << name;
        reached.insert(name);
    }

    std::set<std::string> rows;
    for (auto const& top : tool::command_table())
    {
        rows.insert(std::string(top.name));
        for (auto const& sub : top.subcommands)
            rows.insert(std::string(top.name) + ' ' + std::string(sub.name));
    }
    EXPECT_EQ(reached, rows) << "a command of the table that no command line here reaches";
}

TEST(command_table_test, a_word_that_names_no_command_is_refused_in_one_line_and_runs_nothing)
{
    for (auto const& args : std::vector<std::vector<std::string>>{{"frobnicate"}, {"--json", "Tree"}, {"hid", "frob"}})
    {
        auto const outcome = parse(args);
        ASSERT_TRUE(outcome.parsed.exit_status.has_value()) << args.back();
        EXPECT_EQ(*outcome.parsed.exit_status, 2) << args.back();
        EXPECT_EQ(outcome.out, "");
        auto const expected = args.front() == "hid" ? "plinth-ioreg: unexpected argument \"frob\"\n"
                                                    : "plinth-ioreg: unknown command \"" + args.back() + "\"\n";
        EXPECT_EQ(outcome.err, expected);
    }
    auto const none = parse({});
    EXPECT_EQ(none.parsed.exit_status, 2);
    EXPECT_EQ(none.err, "plinth-ioreg: a command (" + tool::command_names() + ") is required\n");
    EXPECT_EQ(none.parsed.value.command_to_run, nullptr);
}

TEST(command_table_test, help_lists_every_command_with_its_help)
{
    auto const outcome = parse({"--help"});
    EXPECT_EQ(outcome.parsed.exit_status, 0);
    for (auto const& row : tool::command_table())
    {
        EXPECT_NE(outcome.out.find(std::string(row.name)), std::string::npos) << row.name;
        // CLI11 wraps long descriptions; the first words are on the command's line.
        EXPECT_NE(outcome.out.find(std::string(row.help.substr(0, 20))), std::string::npos) << row.name;
        if (row.subcommands.empty())
            continue;
        auto const sub_help = parse({std::string(row.name), "--help"});
        for (auto const& sub : row.subcommands)
            EXPECT_NE(sub_help.out.find(std::string(sub.name)), std::string::npos) << row.name << ' ' << sub.name;
    }
}

TEST(command_table_test, hid_read_and_write_open_shared_on_request_and_write_takes_a_timeout_in_milliseconds)
{
    auto const seized = parse({"hid", "write", "1", "02"});
    ASSERT_FALSE(seized.parsed.exit_status.has_value()) << seized.err;
    EXPECT_FALSE(seized.parsed.value.shared);
    EXPECT_FALSE(seized.parsed.value.write_timeout.has_value());

    auto const read = parse({"hid", "read", "--shared", "1"});
    ASSERT_FALSE(read.parsed.exit_status.has_value()) << read.err;
    EXPECT_TRUE(read.parsed.value.shared);

    auto const write = parse({"hid", "write", "--timeout", "250", "1", "02", "--shared"});
    ASSERT_FALSE(write.parsed.exit_status.has_value()) << write.err;
    EXPECT_TRUE(write.parsed.value.shared);
    EXPECT_EQ(write.parsed.value.write_timeout, std::chrono::milliseconds(250));
    EXPECT_EQ(write.parsed.value.output_report, std::vector<std::uint8_t>{0x02});
}

TEST(command_table_test, hid_read_queues_on_request_and_drops_the_oldest_only_with_a_queue)
{
    auto const plain = parse({"hid", "read", "1"});
    ASSERT_FALSE(plain.parsed.exit_status.has_value()) << plain.err;
    EXPECT_FALSE(plain.parsed.value.queue.has_value());

    auto const queued = parse({"hid", "read", "1", "--queue", "64", "--drop-oldest"});
    ASSERT_FALSE(queued.parsed.exit_status.has_value()) << queued.err;
    EXPECT_EQ(queued.parsed.value.queue, std::size_t{64});
    EXPECT_TRUE(queued.parsed.value.drop_oldest);

    for (std::string const bad : {"0", "-1", "many"})
    {
        auto const outcome = parse({"hid", "read", "1", "--queue", bad});
        EXPECT_EQ(outcome.parsed.exit_status, 2) << bad;
        EXPECT_EQ(outcome.err, "plinth-ioreg: --queue: not a count of 1 or more reports: " + bad + "\n");
    }
    auto const without_queue = parse({"hid", "read", "1", "--drop-oldest"});
    EXPECT_EQ(without_queue.parsed.exit_status, 2);
    EXPECT_NE(without_queue.err.find("--queue"), std::string::npos) << without_queue.err;
    EXPECT_EQ(without_queue.parsed.value.command_to_run, nullptr);
}

TEST(command_table_test, a_write_timeout_that_is_not_a_positive_whole_number_of_milliseconds_is_refused_by_name)
{
    for (std::string const bad : {"0", "-5", "abc", "2.5", "1200001"})
    {
        auto const outcome = parse({"hid", "write", "1", "02", "--timeout", bad});
        EXPECT_EQ(outcome.parsed.exit_status, 2) << bad;
        EXPECT_EQ(outcome.err, "plinth-ioreg: --timeout: not a timeout of 1 to 1200000 milliseconds: " + bad + "\n");
        EXPECT_EQ(outcome.parsed.value.command_to_run, nullptr) << bad;
    }
    auto const missing = parse({"hid", "write", "1", "02", "--timeout"});
    EXPECT_EQ(missing.parsed.exit_status, 2);
    for (std::string const bad : {"0", "-1", "abc", "2.5", "99999999999999999999999"})
    {
        auto const outcome = parse({"hid", "read", "1", "--count", bad});
        EXPECT_EQ(outcome.parsed.exit_status, 2) << bad;
        EXPECT_EQ(outcome.err, "plinth-ioreg: --count: not a count of 1 or more reports: " + bad + "\n");
    }
    EXPECT_EQ(parse({"hid", "read", "1", "--count", "3"}).parsed.value.count, std::size_t{3});
    // hid read has no timeout to give.
    auto const on_read = parse({"hid", "read", "1", "--timeout", "100"});
    EXPECT_EQ(on_read.parsed.exit_status, 2);
}

} // namespace
