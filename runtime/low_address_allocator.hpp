// Memory for objects that a 32-bit signed integer must reach: below 2 GiB.
#pragma once

#include <cstddef>

namespace nrw {

// Allocates `size` bytes below 2 GiB (x86-64: mmap with MAP_32BIT); raises Exception when the
// low address space is exhausted.
void* AllocateLow(std::size_t size);
void FreeLow(void* pointer, std::size_t size);

}  // namespace nrw
