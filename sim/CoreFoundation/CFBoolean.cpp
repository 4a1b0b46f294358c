// CFBoolean's C entry points and the two boolean constants.
#include <CoreFoundation/CFNumber.h>

#include "sim/detail/cf/cf_boolean.hpp"
#include "sim/detail/cf/cf_checked.hpp"

using plinth::sim::detail::cf_boolean;

namespace {

// Never destroyed: static destructors elsewhere may still release collections
// that hold the booleans at exit.
union never_destroyed_boolean
{
    cf_boolean object;

    explicit constexpr never_destroyed_boolean(bool value) noexcept : object(value) {}
    ~never_destroyed_boolean() {}
};

constinit never_destroyed_boolean true_storage{true};
constinit never_destroyed_boolean false_storage{false};

} // namespace

extern "C" {

const CFBooleanRef kCFBooleanTrue = &true_storage.object;
const CFBooleanRef kCFBooleanFalse = &false_storage.object;

CFTypeID CFBooleanGetTypeID(void)
{
    return cf_boolean::class_type_id();
}

Boolean CFBooleanGetValue(CFBooleanRef boolean)
{
    auto const* object = plinth::sim::detail::cf_checked<cf_boolean>(boolean, "CFBooleanGetValue");
    return object != nullptr && object->value();
}

} // extern "C"
