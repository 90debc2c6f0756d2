// SPDX-License-Identifier: MIT
#include "package/Chunker.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace VantorEngine {

namespace {

constexpr int kHashBits = 64;

/// A fixed random number for each byte value. It must never change: published chunks would no longer be found again.
constexpr std::array<std::uint64_t, 256> makeGears()
{
    std::array<std::uint64_t, 256> gears{};
    std::uint64_t state = 0x6f727665'6c636875;
    for (std::uint64_t& gear : gears) {
        state += 0x9e3779b97f4a7c15;
        std::uint64_t mixed = state;
        mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111eb;
        gear = mixed ^ (mixed >> 31);
    }
    return gears;
}

constexpr std::array<std::uint64_t, 256> kGears = makeGears();

} // namespace

int chunkLength(const char* data, int length, bool last, const ChunkLimits& limits)
{
    if (length < limits.most && !last) {
        return 0;
    }
    const int end = std::min(length, limits.most);
    // The hash's uppermost bits depend on the last 64 bytes; each step pushes the oldest out.
    const std::uint64_t mask = ~std::uint64_t(0) << (kHashBits - limits.maskBits);
    std::uint64_t hash = 0;
    for (int i = std::max(0, limits.least - kHashBits); i < end; ++i) {
        hash = (hash << 1) + kGears[static_cast<unsigned char>(data[i])];
        if (i + 1 >= limits.least && (hash & mask) == 0) {
            return i + 1;
        }
    }
    return end;
}

} // namespace VantorEngine
