// scratch_folder: a per-process temporary folder for files a test writes, removed with its contents; read_file.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace plinth::testing {

inline std::string read_file(std::filesystem::path const& file)
{
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return std::move(text).str();
}

// A folder of this process for files a test writes, removed with everything in it.
class scratch_folder
{
public:
    explicit scratch_folder(std::string const& purpose)
        : path_(std::filesystem::temp_directory_path() / ("plinth-" + purpose + "-" + std::to_string(::getpid())))
    {
        std::filesystem::create_directories(path_);
    }
    scratch_folder(scratch_folder const&) = delete;
    scratch_folder& operator=(scratch_folder const&) = delete;
    ~scratch_folder() { std::filesystem::remove_all(path_); }

    std::filesystem::path write(std::string const& name, std::string const& contents) const
    {
        std::ofstream(path_ / name, std::ios::binary) << contents;
        return path_ / name;
    }

    std::filesystem::path const& path() const { return path_; }

private:
    std::filesystem::path path_;
};

} // namespace plinth::testing
