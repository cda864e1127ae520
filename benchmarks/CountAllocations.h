// Counts what a benchmark program asks the heap for. It replaces the operators of the program, so
// one source file of a program includes it.
#pragma once

#include <cstdlib>
#include <new>

static std::size_t g_allocations = 0;

// Not inlined, or the compiler takes the pair for a mismatch.
[[gnu::noinline]] void * operator new(std::size_t size) {
    ++g_allocations;
    if (void * const memory = std::malloc(size ? size : 1))
        return memory;
    throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void * memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void * memory, std::size_t) noexcept {
    std::free(memory);
}
