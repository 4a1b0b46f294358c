// The not-open error and the throwing / error_code& pairing that hid_stream's synchronous operations share.
#pragma once

#include "error/apple/hid_errc.hpp"

#include <boost/asio/buffer.hpp>
#include <boost/system/error_code.hpp>
#include <boost/system/system_error.hpp>

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <utility>

// What the stream's synchronous operations share across the files that define
// them (hid_stream.cpp, hid_stream_read.cpp, hid_stream_report_requests.cpp): the
// error of a closed stream, named after the operation; each operation's two
// forms, the throwing one and the error_code& one, made from the other; and a
// buffer's bytes as IOKit takes them.
namespace plinth::apple::detail {

// Throws boost::system::system_error (hid_errc::not_open, `operation`) unless `open`.
inline void throw_unless_open(bool open, char const* operation)
{
    if (!open)
        throw boost::system::system_error(make_error_code(hid_errc::not_open), operation);
}

// The error_code& form of a throwing operation: a system_error's code goes to
// `ec`, and then an operation with a result returns 0. `ec` is left as it was
// when the operation succeeds.
template <typename Operation>
std::invoke_result_t<Operation> or_error_code(Operation&& operation, boost::system::error_code& ec)
{
    try
    {
        return std::forward<Operation>(operation)();
    }
    catch (boost::system::system_error const& e)
    {
        ec = e.code();
        if constexpr (!std::is_void_v<std::invoke_result_t<Operation>>)
            return {};
    }
}

// The throwing form of an operation that reports its failure in an error_code&:
// that code is thrown as boost::system::system_error with `name` as its text.
template <typename Operation>
std::size_t or_throw(Operation&& operation, char const* name)
{
    boost::system::error_code ec;
    auto const n = std::forward<Operation>(operation)(ec);
    if (ec)
        throw boost::system::system_error(ec, name);
    return n;
}

inline std::span<std::uint8_t> bytes_of(boost::asio::mutable_buffer buffer)
{
    return {static_cast<std::uint8_t*>(buffer.data()), buffer.size()};
}

inline std::span<std::uint8_t const> bytes_of(boost::asio::const_buffer buffer)
{
    return {static_cast<std::uint8_t const*>(buffer.data()), buffer.size()};
}

} // namespace plinth::apple::detail
