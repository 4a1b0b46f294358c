// detail::property_value_from_cf: a CF value that the registry handed out, read whole into plinth::property's model.
#pragma once

#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/dictionary.hpp"
#include "property/value.hpp"

#include <optional>

namespace plinth::apple::detail {

// `object` with everything it holds: booleans, integers at the width of their
// CFNumber type (bits sign-extended, as every CFNumber integer type is signed),
// floating-point numbers as double, strings as UTF-8, data, dictionaries in the
// order CoreFoundation lists them, arrays and sets, nested to any depth.
//
// Empty when `object` is null or when it, or anything inside it, is of a CF type
// with no kind in the model, or a dictionary has a key that is not a string: the
// registry never hands out such values, so a reader cannot show them faithfully
// and must not pass off a part of them as the whole.
std::optional<property::value> property_value_from_cf(CF::AutoPointer const& object);

// Every key of `dictionary` with its value, read as property_value_from_cf reads
// one; empty on the same grounds.
std::optional<property::dictionary> property_dictionary_from_cf(CF::Dictionary const& dictionary);

} // namespace plinth::apple::detail
