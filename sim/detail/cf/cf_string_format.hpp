// The text of a CFStringCreateWithFormat format: printf's conversions and %@.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <cstdarg>
#include <optional>
#include <string>
#include <string_view>

namespace plinth::sim::detail {

// The text that `format` (valid UTF-8) makes of the arguments `args` points at,
// as CFStringCreateWithFormat does: printf's conversions with their flags, width,
// precision and length modifiers, `%@` for a CF object (a string's own text,
// another object's description, "(null)" for NULL), `%C` and `%S` for UniChar
// and NUL-terminated UniChar text, and `%%`. Nothing, with the reason in `problem`,
// for a conversion it does not know, `%n`, or a positional argument (`%1$@`),
// which it does not take.
std::optional<std::string> format_cf_string(std::string_view format, std::va_list* args, std::string& problem);

} // namespace plinth::sim::detail
