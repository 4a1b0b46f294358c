// oneshot_function: a move-only type-erased callable consumed by its one call, optionally allocator-stored.
#pragma once

#include <functional>
#include <memory>
#include <new>
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

    // A callable whose storage came from an allocator. Deleting it through the base
    // must hand the storage back to that allocator, which a plain operator delete
    // cannot know; a destroying delete reads the allocator out of the object before
    // ending its life, so the base keeps its plain virtual destructor.
    template <typename F, typename Allocator>
    struct fcn_impl_allocated final : fcn_base
    {
        using allocator_type = typename std::allocator_traits<Allocator>::template rebind_alloc<fcn_impl_allocated>;
        using traits = std::allocator_traits<allocator_type>;

        fcn_impl_allocated(F&& f, allocator_type const& a) : function(std::move(f)), allocator(a) {}
        R call(Args&&... args) override { return std::invoke(function, std::forward<Args>(args)...); }

        static fcn_impl_allocated* make(F&& f, Allocator const& a)
        {
            allocator_type allocator(a);
            auto* const memory = traits::allocate(allocator, 1);
            try
            {
                return ::new (static_cast<void*>(memory)) fcn_impl_allocated(std::move(f), allocator);
            }
            catch (...)
            {
                traits::deallocate(allocator, memory, 1);
                throw;
            }
        }

        void operator delete(fcn_impl_allocated* self, std::destroying_delete_t)
        {
            allocator_type allocator(std::move(self->allocator));
            self->~fcn_impl_allocated();
            traits::deallocate(allocator, self, 1);
        }

        F function;
        allocator_type allocator;
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

    // As above, with the callable's storage taken from `allocator` and given back to
    // it when the callable is destroyed, on whichever thread that happens.
    template <typename Allocator, typename F>
    requires(std::is_invocable_r_v<R, std::decay_t<F>&, Args...>)
        oneshot_function(std::allocator_arg_t, Allocator const& allocator, F&& f)
        : impl_(fcn_impl_allocated<std::decay_t<F>, Allocator>::make(std::decay_t<F>(std::forward<F>(f)), allocator))
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
