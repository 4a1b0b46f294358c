// system_error_of: the boost::system::system_error a call throws, or a test failure when it throws none.
#pragma once

#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include <utility>

namespace plinth::testing {

// The boost::system::system_error that `call` throws; a test failure when it throws none.
template <typename Call>
boost::system::system_error system_error_of(Call&& call)
{
    try
    {
        std::forward<Call>(call)();
    }
    catch (boost::system::system_error const& e)
    {
        return e;
    }
    ADD_FAILURE() << "no boost::system::system_error was thrown";
    return boost::system::system_error(boost::system::error_code());
}

} // namespace plinth::testing
