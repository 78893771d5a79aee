#pragma once

#include <cstdint>

namespace velmox {

// A file's identity for hard-link de-duplication: inode + device × 1000000007, wrapping.
using LinkKey = uint64_t;

inline LinkKey linkKey(uint64_t inode, uint64_t device) {
    return inode + device * 1000000007ULL;
}

} // namespace velmox
