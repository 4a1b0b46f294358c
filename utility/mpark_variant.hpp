// mpark_variant: mpark::variant where installed, else the same names mapped onto std::variant.
#pragma once

// The library names its variant mpark::variant. Where mpark's variant is
// installed it is used as it is; elsewhere (Debian does not package it) the same
// names map onto the standard library's equivalents, which behave alike for every
// use the library makes of them.
#if __has_include(<mpark/variant.hpp>)
#include <mpark/variant.hpp>
#else
#include <variant>

namespace mpark {

using std::bad_variant_access;
using std::get;
using std::get_if;
using std::holds_alternative;
using std::monostate;
using std::variant;
using std::variant_alternative_t;
using std::variant_size_v;
using std::visit;

} // namespace mpark
#endif
