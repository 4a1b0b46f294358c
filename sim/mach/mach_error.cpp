// mach_error's C entry points: the texts of kern_return_t, Mach message and IOReturn values.
#include <mach/mach_error.h>

#include "sim/detail/kernel/mach_error_text.hpp"

#include <cstdio>

namespace detail = plinth::sim::detail;

namespace {

// The texts are static; the C signatures return them as char* for history's sake.
char* c_text(char const* text)
{
    return const_cast<char*>(text);
}

} // namespace

extern "C" {

char* mach_error_string(mach_error_t error_value)
{
    auto const* text = detail::mach_error_text(error_value);
    return c_text(text != nullptr ? text : "unknown error code");
}

// "str text" on one line; with no text to give, the value in hex after it, so that
// the line still says which error it was.
void mach_error(const char* str, mach_error_t error_value)
{
    auto const* text = detail::mach_error_text(error_value);
    char const* prefix = str != nullptr ? str : "";
    if (text != nullptr)
        std::fprintf(stderr, "%s %s\n", prefix, text);
    else
        std::fprintf(stderr, "%s unknown error code (0x%x)\n", prefix, static_cast<unsigned>(error_value));
}

char* mach_error_type(mach_error_t error_value)
{
    auto const* name = detail::mach_error_subsystem(error_value);
    return c_text(name != nullptr ? name : "(?/?)");
}

} // extern "C"
