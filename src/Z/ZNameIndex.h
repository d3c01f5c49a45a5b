// ZNameIndex: finds the node of a name, for the keys and the stanzas of a file.
// Subsystem: properties, layer 4. Test: tests/ZPropertiesImpl_test.cpp
//
// Internal. Open addressing over nodes and names that somebody else owns, by a hash that the caller
// makes. In a large file nearly every look at memory is one at main memory: a slot tells hash, name
// and node, so that nothing is looked at whose hash differs, and name and node are fetched side by
// side. The index decides no order that anybody sees.
#ifndef Z_ZNAMEINDEX_H
#define Z_ZNAMEINDEX_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

namespace z_5_1 {

// Mixes eight bytes at a time. It never leaves the process.
inline std::uint32_t hashName(char const* chars, std::size_t length) {
    constexpr std::uint64_t factor = 0x9E3779B97F4A7C15u;
    std::uint64_t hash = length * factor;
    auto mix = [&hash](std::uint64_t word) {
        hash = (hash ^ word) * factor;
        hash ^= hash >> 32;
    };
    for (; length >= 8; chars += 8, length -= 8) {
        std::uint64_t word;
        std::memcpy(&word, chars, 8);
        mix(word);
    }
    if (length >= 4) {
        std::uint32_t low, high;
        std::memcpy(&low, chars, 4);
        std::memcpy(&high, chars + length - 4, 4);
        mix(low | static_cast<std::uint64_t>(high) << 32);
    } else if (length) {
        auto byte = [chars](std::size_t i) {
            return static_cast<std::uint64_t>(static_cast<unsigned char>(chars[i]));
        };
        mix(byte(0) | byte(length / 2) << 8 | byte(length - 1) << 16);
    }
    // Names that differ at their ends alone differ in high bits only; slots are told by low ones.
    return static_cast<std::uint32_t>((hash * factor) >> 32);
}

// Names are short: a call would cost more than the comparison.
inline bool isSameName(char const* left, char const* right, std::size_t length) {
    auto same = [left, right](std::size_t at, auto word) {
        decltype(word) one, other;
        std::memcpy(&one, left + at, sizeof word);
        std::memcpy(&other, right + at, sizeof word);
        return one == other;
    };
    if (length >= 8) {
        for (std::size_t at = 0; at < length - 8; at += 8) {
            if (!same(at, std::uint64_t())) return false;
        }
        return same(length - 8, std::uint64_t());
    }
    if (length >= 4) return same(0, std::uint32_t()) && same(length - 4, std::uint32_t());
    return length == 0 || (left[0] == right[0] && left[length / 2] == right[length / 2] &&
                           left[length - 1] == right[length - 1]);
}

template <class Node>
class NameIndex {
public:
    // The node of this name and hash for which isIt(node) holds, or null.
    template <class IsIt>
    Node* find(std::uint32_t hash, char const* name, std::size_t length, IsIt isIt) const {
        if (!slots_) return nullptr;
        for (std::uint32_t at = hash & mask_; slots_[at].node; at = (at + 1) & mask_) {
            Slot const& slot = slots_[at];
            if (slot.hash != hash || slot.length != length) continue;
            __builtin_prefetch(slot.name + cacheLine);  // what was read with the name: its value
            if (isIt(*slot.node) && isSameName(slot.name, name, length)) return slot.node;
        }
        return nullptr;
    }

    // Makes room for one more node, so that the next insert() cannot fail.
    void reserveOne() {
        if (count_ >= (mask_ + 1) / 8 * 5) grow();
    }
    // The name must stay where it is until erase().
    void insert(Node& node, std::uint32_t hash, char const* name, std::uint32_t length) noexcept {
        put({&node, name, hash, length});
        ++count_;
    }
    // The node must be there, under this hash.
    void erase(Node& node, std::uint32_t hash) noexcept {
        std::uint32_t gap = hash & mask_;
        while (slots_[gap].node != &node) gap = (gap + 1) & mask_;
        // Pull back what was pushed on by the slot that falls empty.
        for (std::uint32_t at = (gap + 1) & mask_; slots_[at].node; at = (at + 1) & mask_) {
            std::uint32_t const wanted = slots_[at].hash & mask_;
            if (((at - wanted) & mask_) >= ((at - gap) & mask_)) {
                slots_[gap] = slots_[at];
                gap = at;
            }
        }
        slots_[gap] = Slot();
        --count_;
    }

private:
    struct Slot {
        Node* node = nullptr;
        char const* name = nullptr;
        std::uint32_t hash = 0;
        std::uint32_t length = 0;
    };

    void put(Slot slot) noexcept {
        std::uint32_t at = slot.hash & mask_;
        while (slots_[at].node) at = (at + 1) & mask_;
        slots_[at] = slot;
    }

    void grow() {
        std::uint32_t const former = slots_ ? mask_ + 1 : 0;
        std::uint32_t const size = std::max(firstSize, former * 2);
        std::unique_ptr<Slot[]> const old =
            std::exchange(slots_, std::unique_ptr<Slot[]>(new Slot[size]));
        mask_ = size - 1;
        for (std::uint32_t at = 0; at < former; ++at) {
            if (old[at].node) put(old[at]);
        }
    }

    static constexpr std::uint32_t firstSize = 8;
    static constexpr std::size_t cacheLine = 64;

    std::unique_ptr<Slot[]> slots_;  // a power of two, at most 5/8 full
    std::uint32_t mask_ = 0;         // slots - 1; 0 without slots
    std::uint32_t count_ = 0;
};

}  // namespace z_5_1

#endif
