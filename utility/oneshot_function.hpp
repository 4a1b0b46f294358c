#pragma once

#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

namespace rig {

template <typename Signature>
class oneshot_function;

// A move-only owner of one type-erased callable that is called at most once:
// calling it consumes the callable. Unlike std::function it accepts move-only
// callables (completion handlers), and unlike std::move_only_function it makes the
// single call explicit: after the call the object is empty.
template <typename R, typename... Args>
class oneshot_function<R(Args...)>
{
    struct fcn_base
    {
        virtual ~fcn_base() = default;
        virtual R call(Args&&... args) = 0;
    };

    template <typename F>
    struct fcn_impl final : fcn_base
    {
        explicit fcn_impl(F&& f) : function(std::move(f)) {}
        R call(Args&&... args) override { return std::invoke(function, std::forward<Args>(args)...); }
        F function;
    };

public:
    oneshot_function() noexcept = default;

    template <typename F>
        requires(!std::is_same_v<std::remove_cvref_t<F>, oneshot_function> &&
                 std::is_invocable_r_v<R, std::decay_t<F>&, Args...>)
    oneshot_function(F&& f) // NOLINT(google-explicit-constructor): a callable converts like std::function
        : impl_(std::make_unique<fcn_impl<std::decay_t<F>>>(std::decay_t<F>(std::forward<F>(f))))
    {
    }

    oneshot_function(oneshot_function&&) noexcept = default;
    oneshot_function& operator=(oneshot_function&&) noexcept = default;

    explicit operator bool() const noexcept { return impl_ != nullptr; }

    // Calls the callable and destroys it; throws std::bad_function_call when empty.
    R operator()(Args... args)
    {
        if (!impl_)
            throw std::bad_function_call();
        auto const impl = std::move(impl_);
        return impl->call(std::forward<Args>(args)...);
    }

private:
    std::unique_ptr<fcn_base> impl_;
};

} // namespace rig
