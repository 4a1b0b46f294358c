// stress_run: the stress programs' shared options and the closing account that fails a run leaving anything behind.
#pragma once
// What the stress programs share: their options, and the closing account that
// prints what a run did and fails it when anything was lost or left behind.

#include "sim/control/diagnostics.hpp"
#include "support/thread_count.hpp"

#include <CLI/CLI.hpp>
#include <fmt/core.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace plinth::stress {

// A run's bounds: it stops at whichever of the two comes first (0 iterations: no
// limit on their count).
struct run_options
{
    std::uint64_t seed = 20261123;
    double seconds = 3;
    std::uint64_t iterations = 0;

    // Parses the command line; returns false (with the exit code in `exit_code`)
    // when the program must stop at once (help, a bad option).
    // `more_options` adds a program's own.
    bool parse(std::string const& description, int argc, char** argv, int& exit_code,
               std::function<void(CLI::App&)> const& more_options = {})
    {
        CLI::App app(description);
        if (more_options)
            more_options(app);
        app.add_option("--seed", seed, "seed of the run's random choices")->capture_default_str();
        app.add_option("--seconds", seconds, "how long the run lasts")
            ->capture_default_str()
            ->check(CLI::PositiveNumber);
        app.add_option("--iterations", iterations, "most rounds of the run (0: as many as time allows)")
            ->capture_default_str();
        try
        {
            app.parse(argc, argv);
        }
        catch (CLI::ParseError const& e)
        {
            exit_code = app.exit(e);
            return false;
        }
        return true;
    }

    std::chrono::steady_clock::time_point deadline(std::chrono::steady_clock::time_point start) const
    {
        return start +
               std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(seconds));
    }

    bool more(std::uint64_t done, std::chrono::steady_clock::time_point deadline) const
    {
        return (iterations == 0 || done < iterations) && std::chrono::steady_clock::now() < deadline;
    }
};

// The figures a run prints and the checks it must pass.
class account
{
public:
    explicit account(std::string program) : program_(std::move(program)), threads_at_start_(testing::thread_count()) {}

    void figure(std::string const& name, std::uint64_t value) { figures_.emplace_back(name, value); }

    // A condition the run must meet; `what` says what failed.
    void check(bool ok, std::string const& what)
    {
        if (!ok)
            failures_.push_back(what);
    }

    // Adds the end checks every run makes, prints everything and returns the exit code.
    int close()
    {
        auto const threads_left = testing::threads_return_to(threads_at_start_);
        check(threads_left,
              fmt::format("threads: {} at the start, {} at the end", threads_at_start_, testing::thread_count()));
        auto const handles = sim::live_handles();
        auto const cf_objects = sim::live_cf_objects();
        auto const misuse = sim::misuse_reports();
        check(handles == 0, fmt::format("{} live handles left", handles));
        check(cf_objects == 0, fmt::format("{} live CF objects left", cf_objects));
        for (auto const& report : misuse)
            check(false, "misuse: " + report);
        figure("live handles", handles);
        figure("live CF objects", cf_objects);
        figure("threads left", testing::thread_count() - std::min(testing::thread_count(), threads_at_start_));
        for (auto const& [name, value] : figures_)
            fmt::print("{}: {:<32} {}\n", program_, name, value);
        for (auto const& failure : failures_)
            fmt::print(stderr, "{}: FAILED: {}\n", program_, failure);
        fmt::print("{}: {}\n", program_, failures_.empty() ? "nothing lost, nothing left" : "FAILED");
        return failures_.empty() ? 0 : 1;
    }

private:
    std::string program_;
    std::size_t threads_at_start_;
    std::vector<std::pair<std::string, std::uint64_t>> figures_;
    std::vector<std::string> failures_;
};

} // namespace plinth::stress
