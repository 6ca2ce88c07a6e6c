// A deterministic pseudo-random source for the demo data: the same seed gives the same books on
// every machine and compiler (the standard distributions are not portable, so ranges are drawn
// here with Lemire's multiply-shift on xoshiro256** output).
#pragma once

#include <cstdint>
#include <vector>

namespace nrw::schema {

class Random {
 public:
  explicit Random(uint64_t seed) {
    for (uint64_t& word : state_) {
      seed += 0x9E3779B97F4A7C15ULL;  // SplitMix64 seeding
      uint64_t z = seed;
      z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
      z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
      word = z ^ (z >> 31);
    }
  }

  uint64_t Next() {
    const uint64_t result = Rotl(state_[1] * 5, 7) * 9;
    const uint64_t t = state_[1] << 17;
    state_[2] ^= state_[0];
    state_[3] ^= state_[1];
    state_[1] ^= state_[2];
    state_[0] ^= state_[3];
    state_[2] ^= t;
    state_[3] = Rotl(state_[3], 45);
    return result;
  }
  // A whole number in [low, high].
  int64_t Between(int64_t low, int64_t high) {
    const uint64_t span = static_cast<uint64_t>(high - low) + 1;
    return low + static_cast<int64_t>((static_cast<__uint128_t>(Next()) * span) >> 64);
  }
  // True with the given chance in percent.
  bool Percent(int64_t chance) { return Between(1, 100) <= chance; }
  template <class T>
  const T& Pick(const std::vector<T>& items) {
    return items[static_cast<size_t>(Between(0, static_cast<int64_t>(items.size()) - 1))];
  }

 private:
  static uint64_t Rotl(uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }
  uint64_t state_[4];
};

}  // namespace nrw::schema
