#pragma once

#include "storage/LinkKey.h"

#include <cstdint>
#include <vector>

namespace velmox {

// A set of LinkKeys with open addressing in one flat array: 16 bytes per key at most and
// no allocation per insert. Key 0 (never a real file: inode 0 is skipped) marks a free slot.
class LinkKeySet {
public:
    // True when the key was not in the set before.
    bool insert(LinkKey key) {
        if (key == 0)
            return true;
        if ((count_ + 1) * 2 > slots_.size())
            grow();
        if (place(slots_, key)) {
            ++count_;
            return true;
        }
        return false;
    }
    bool contains(LinkKey key) const {
        if (slots_.empty() || key == 0)
            return false;
        for (size_t at = slotOf(key, slots_.size());; at = (at + 1) & (slots_.size() - 1)) {
            if (slots_[at] == key)
                return true;
            if (slots_[at] == 0)
                return false;
        }
    }
    size_t size() const { return count_; }

private:
    static size_t slotOf(LinkKey key, size_t capacity) {
        return static_cast<size_t>((key * 0x9E3779B97F4A7C15ULL) >> 20) & (capacity - 1);
    }
    static bool place(std::vector<LinkKey>& table, LinkKey key) {
        for (size_t at = slotOf(key, table.size());; at = (at + 1) & (table.size() - 1)) {
            if (table[at] == key)
                return false;
            if (table[at] == 0) {
                table[at] = key;
                return true;
            }
        }
    }
    void grow() {
        std::vector<LinkKey> larger(slots_.empty() ? 1024 : slots_.size() * 2, 0);
        for (LinkKey key : slots_)
            if (key != 0)
                place(larger, key);
        slots_.swap(larger);
    }

    std::vector<LinkKey> slots_;
    size_t count_ = 0;
};

} // namespace velmox
