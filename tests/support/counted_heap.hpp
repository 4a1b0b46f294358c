// counted_heap: a replaced global operator new/delete that counts every heap allocation of the program.
#pragma once

// Counts every heap allocation the program makes through operator new, on any
// thread. It replaces the global operator new and delete, so include it in
// exactly one source file of a program.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

// g++ takes the replaced operators below for a mismatch between new and free.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

namespace plinth::testing {

inline std::atomic<std::uint64_t> heap_allocations{0};

} // namespace plinth::testing

void* operator new(std::size_t size)
{
    plinth::testing::heap_allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size == 0 ? 1 : size))
        return p;
    throw std::bad_alloc();
}

void operator delete(void* p) noexcept
{
    std::free(p);
}

void operator delete(void* p, std::size_t) noexcept
{
    std::free(p);
}
