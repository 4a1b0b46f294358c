// Tests of plinth::log: lines missing the sink, a throwing sink escaping, a lost default, lines torn by threads.
#include "log/log.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

class log_test : public ::testing::Test
{
protected:
    void TearDown() override { plinth::set_log_sink({}); }
};

TEST_F(log_test, hands_each_line_to_the_installed_sink_and_never_throws_when_it_does)
{
    std::vector<std::pair<plinth::log_level, std::string>> lines;
    plinth::set_log_sink([&](plinth::log_level level, std::string_view text) { lines.emplace_back(level, text); });
    plinth::log(plinth::log_level::error, "Error opening HID: busy");
    plinth::log(plinth::log_level::info, "second");
    EXPECT_EQ(lines, (std::vector<std::pair<plinth::log_level, std::string>>{
                         {plinth::log_level::error, "Error opening HID: busy"}, {plinth::log_level::info, "second"}}));
    EXPECT_EQ(static_cast<int>(plinth::log_level::error), 2);

    plinth::set_log_sink([](plinth::log_level, std::string_view) { throw std::runtime_error("sink failed"); });
    static_assert(noexcept(plinth::log(plinth::log_level::error, std::string())));
    EXPECT_NO_THROW(plinth::log(plinth::log_level::error, "lost"));
}

TEST_F(log_test, returns_the_replaced_sink_and_restores_the_default_for_an_empty_one)
{
    int calls = 0;
    plinth::set_log_sink([&](plinth::log_level, std::string_view) { ++calls; });
    auto previous = plinth::set_log_sink({});
    ASSERT_TRUE(previous);
    previous(plinth::log_level::error, "through the returned sink");
    EXPECT_EQ(calls, 1);

    testing::internal::CaptureStderr();
    plinth::log(plinth::log_level::error, "to standard error");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "plinth error: to standard error\n");
}

TEST_F(log_test, keeps_lines_whole_when_threads_log_at_once)
{
    std::vector<std::string> lines;
    plinth::set_log_sink([&](plinth::log_level, std::string_view text) { lines.emplace_back(text); });
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < 200; ++i)
                plinth::log(plinth::log_level::error, "thread " + std::to_string(t));
        });
    for (auto& th : threads)
        th.join();
    ASSERT_EQ(lines.size(), 800u);
    for (auto const& line : lines)
        EXPECT_TRUE(line.starts_with("thread ")) << line;
}

} // namespace
