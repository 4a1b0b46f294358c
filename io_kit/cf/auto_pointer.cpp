// CF::AutoPointer: CFRetain/CFRelease behind copy, move, swap and destruction; null is never released.
#include "io_kit/cf/auto_pointer.hpp"

#include <utility>

namespace CF {

AutoPointer::AutoPointer(void const* owned) noexcept : object_(owned) {}

AutoPointer::AutoPointer(AutoPointer const& other) noexcept
    : Type(other), object_(other.object_ != nullptr ? CFRetain(other.object_) : nullptr)
{
}

AutoPointer::AutoPointer(AutoPointer&& other) noexcept
    : Type(std::move(other)), object_(std::exchange(other.object_, nullptr))
{
}

AutoPointer& AutoPointer::operator=(AutoPointer const& other) noexcept
{
    AutoPointer(other).swap(*this);
    return *this;
}

AutoPointer& AutoPointer::operator=(AutoPointer&& other) noexcept
{
    // Through a temporary, so that a self-move keeps the object.
    AutoPointer(std::move(other)).swap(*this);
    return *this;
}

AutoPointer::~AutoPointer()
{
    // CFRelease(NULL) crashes, so an empty pointer releases nothing.
    if (object_ != nullptr)
        CFRelease(object_);
}

CFTypeRef AutoPointer::GetTypeRef() const noexcept
{
    return object_;
}

void AutoPointer::swap(AutoPointer& other) noexcept
{
    std::swap(object_, other.object_);
}

} // namespace CF
