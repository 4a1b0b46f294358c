// The base of every CF object: a type ID, an atomic retain count, and per-type equality, hash and description.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <atomic>
#include <string>

namespace plinth::sim::detail {

// What every CF object is: a type ID, an atomic retain count and the per-type
// answers to CFEqual, CFHash and CFCopyDescription. A CF reference (CFTypeRef,
// CFStringRef, ...) is the address of this base object; convert with cf_ref() and
// from_ref(), never by casting a derived pointer to void.
class cf_object
{
public:
    cf_object(cf_object const&) = delete;
    cf_object& operator=(cf_object const&) = delete;
    virtual ~cf_object() = default;

    CFTypeID type_id() const noexcept { return type_id_; }
    std::string type_name() const;

    // Constants (CFSTR strings, the booleans) live as long as the process: retain
    // and release leave them alone.
    CFIndex retain_count() const noexcept;
    void retain() const noexcept;
    // Drops one reference; true when that was the last one and the object must go.
    [[nodiscard]] bool release() const noexcept;

    // Called only with an object of the same type ID.
    virtual bool equals(cf_object const& other) const;
    virtual CFHashCode hash() const;
    // The text of CFCopyDescription.
    virtual std::string description() const;

    CFTypeRef ref() const noexcept { return this; }
    static cf_object* from_ref(CFTypeRef ref) noexcept { return static_cast<cf_object*>(const_cast<void*>(ref)); }

protected:
    constexpr cf_object(CFTypeID type_id, bool constant) noexcept : type_id_(type_id), constant_(constant) {}

    // "<CFNumber 0x6000...>": the head of most descriptions.
    std::string description_head() const;

private:
    CFTypeID type_id_;
    bool constant_;
    mutable std::atomic<CFIndex> references_{1};
};

// The Apple reference type (CFStringRef, CFMutableArrayRef, ...) that denotes an object.
template <typename Ref>
Ref cf_ref(cf_object const* object) noexcept
{
    return static_cast<Ref>(const_cast<void*>(object->ref()));
}

} // namespace plinth::sim::detail
