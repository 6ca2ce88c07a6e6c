#include "runtime/low_address_allocator.hpp"

#include <sys/mman.h>

#include <cstdint>

#include "host/exception.hpp"

namespace nrw {
namespace {
// The highest address a positive 32-bit signed integer can hold, plus one.
constexpr uintptr_t kLowLimit = uintptr_t{1} << 31;
}  // namespace

void* AllocateLow(std::size_t size) {
  int flags = MAP_PRIVATE | MAP_ANONYMOUS;
#if defined(__x86_64__)
  flags |= MAP_32BIT;
  void* hint = nullptr;
#else
  // Without MAP_32BIT, ask for a low address and check what the kernel gave.
  void* hint = reinterpret_cast<void*>(uintptr_t{0x10000000});
#endif
  void* pointer = mmap(hint, size, PROT_READ | PROT_WRITE, flags, -1, 0);
  if (pointer == MAP_FAILED) {
    throw Exception("No memory below 2 GiB for a report engine");
  }
  if (reinterpret_cast<uintptr_t>(pointer) + size > kLowLimit) {
    munmap(pointer, size);
    throw Exception("No memory below 2 GiB for a report engine");
  }
  return pointer;
}

void FreeLow(void* pointer, std::size_t size) {
  if (pointer != nullptr) {
    munmap(pointer, size);
  }
}

}  // namespace nrw
