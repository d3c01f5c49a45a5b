// Lists, stacks and arrays under random operations.
//
// Oracle: the same operations on a std::vector of keys. An owning collection holds copies of what
// it was given and deletes every one exactly once; any other holds the pointers themselves. Sorting
// is compared element by element with the stated quicksort, written once more, also for orders that
// contradict themselves; where nulls are in between, the others are in order.
//
// Input: the kind of collection and whether it owns, the capacity; then operations of three bytes.
#include <Z/ZArray.h>
#include <Z/ZException.h>
#include <Z/ZList.h>
#include <Z/ZStack.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "items.h"

using fuzz::Item;

namespace {

constexpr int none = -1;  // the key of a null
using Keys = std::vector<int>;

// What callers have: one item for each key.
Item* given(int key) {
    static auto const& pool = *new std::vector<Item*>([] {
        std::vector<Item*> made;
        for (int k = 0; k < 32; ++k) made.push_back(new Item(k, 0));
        return made;
    }());
    return key % 33 == 32 ? nullptr : pool[static_cast<unsigned>(key % 33)];
}

int keyOf(ZObject_5_1 const* object) {
    return object == nullptr ? none : static_cast<Item const*>(object)->key;
}

int indexOf(Keys const& keys, int key) {
    auto const at = std::find(keys.begin(), keys.end(), key);
    return key == none || at == keys.end() ? -1 : static_cast<int>(at - keys.begin());
}
int lastIndexOf(Keys const& keys, int key) {
    auto const at = std::find(keys.rbegin(), keys.rend(), key);
    return key == none || at == keys.rend() ? -1 : static_cast<int>(keys.rend() - at) - 1;
}

// In place, or a copy that belongs to the collection.
void checkStored(ZObject_5_1 const* stored, int key, bool owns) {
    FUZZ_CHECK(keyOf(stored) == key);
    FUZZ_CHECK(key == none || (stored == given(key)) != owns);
}

struct Operation {
    int what, key;
    unsigned index;
};

// An index in the collection, just behind it or, at times, far behind.
unsigned near(unsigned index, std::size_t size) {
    return index == 63 ? ~0u : index % static_cast<unsigned>(size + 3);
}

// ---- Sorting ----

struct Order : ZSortCompare_5_1 {
    explicit Order(int k) : kind(k) {}
    int sortCompare(ZObject_5_1 const* left, ZObject_5_1 const* right) const override {
        FUZZ_CHECK(left != nullptr && right != nullptr);
        return difference(keyOf(left), keyOf(right));
    }
    int difference(int left, int right) const {
        switch (kind) {
            case 0:
                return left - right;
            case 1:
                return left / 4 - right / 4;  // many are level
            case 2:
                return (right - left) * 1000000;
            default:
                return (left * 7 + right * 11) % 3 - 1;  // contradicts itself
        }
    }
    int const kind;
};

// Both bounds are included, and `high` may be one past the end, which no swap reaches.
void quickSort(Keys& keys, Order const& order, int sign, int low, int high) {
    auto const get = [&](int i) {
        return i < static_cast<int>(keys.size()) ? keys[static_cast<unsigned>(i)] : none;
    };
    for (int i = low, j = high; i < high; j = high) {
        int const begin = i;
        int const pivot = get((i + high) / 2);
        auto const stops = [&](int key, int way) {
            return key != none && sign * way * order.difference(key, pivot) >= 0;
        };
        while (i <= j) {
            while (i < high && !stops(get(i), 1)) ++i;
            while (j > begin && !stops(get(j), -1)) --j;
            if (i > j) break;
            if (get(i) != none && get(j) != none) {
                std::swap(keys[static_cast<unsigned>(i)], keys[static_cast<unsigned>(j)]);
            }
            ++i;
            --j;
        }
        if (begin < j) quickSort(keys, order, sign, begin, j);
    }
}

Keys keysOf(ZList_5_1 const& list) {
    Keys keys;
    for (unsigned i = 0; i < list.size(); ++i) keys.push_back(keyOf(list.get(i)));
    return keys;
}

void checkSort(ZArrayList_5_1& list, Keys& keys, int kind, bool ascending) {
    Order const order(kind % 4);
    auto const way = ascending ? ZSortCompare_5_1::ascending
                               : static_cast<ZSortCompare_5_1::sortorder>(kind == 1 ? 7 : 0);
    if (kind == 4) {
        list.sort(ZSortCompare_5_1::defaultSortCompare(), way);
    } else {
        list.sort(order, way);
    }
    Keys const sorted = keysOf(list);
    FUZZ_CHECK(std::is_permutation(sorted.begin(), sorted.end(), keys.begin(), keys.end()));
    int const sign = ascending ? 1 : -1;
    if (std::count(keys.begin(), keys.end(), none) == 0) {
        quickSort(keys, order, sign, 0, static_cast<int>(keys.size()));
        FUZZ_CHECK(sorted == keys);
    } else if (order.kind < 3) {
        Keys others = sorted;
        others.erase(std::remove(others.begin(), others.end(), none), others.end());
        FUZZ_CHECK(std::is_sorted(others.begin(), others.end(), [&](int left, int right) {
            return sign * order.difference(left, right) < 0;
        }));
    }
    keys = sorted;
}

// ---- Lists ----

class ListCase {
public:
    ListCase(ZArrayList_5_1& list, bool owns, unsigned capacity)
        : list_(list), walk_(list), owns_(owns), capacity_(std::max(capacity, 1u)) {}

    void run(Operation op) {
        op.index = near(op.index, keys_.size());
        switch (op.what % 5) {
            case 0:
            case 1:
                add(op);
                break;
            case 2:
                change(op);
                break;
            case 3:
                iterate(op);
                break;
            default:
                look(op);
        }
        FUZZ_CHECK(list_.size() == keys_.size() && list_.capacity() == capacity_);
    }

    void check() const {
        FUZZ_CHECK(list_.isEmpty() == keys_.empty() && (list_.ownsMembers() != 0) == owns_);
        for (unsigned i = 0; i < keys_.size(); ++i) checkStored(list_.get(i), keys_[i], owns_);
        FUZZ_CHECK(list_.get(list_.size()) == nullptr && list_.get(~0u) == nullptr);
    }

private:
    void add(Operation const& op) {
        bool const fits = op.index <= keys_.size();
        int const key = keyOf(given(op.key));
        switch (op.what / 5 % 6) {
            case 0:
                list_.add(given(op.key));
                append({key});
                return;
            case 1:
                list_.addNoCopy(copyOf(key));
                append({key});
                return;
            case 2:
                list_.add(op.index, given(op.key));
                break;
            case 3: {
                Item* const copy = copyOf(key);
                list_.addNoCopy(op.index, copy);
                if (!fits && owns_) delete copy;
                break;
            }
            case 4:
                if (keys_.size() > 64) return;
                list_.addList(list_);
                append(Keys(keys_));
                return;
            default:
                copyParts(op);
                return;
        }
        if (!fits) return;
        grow();
        keys_.insert(keys_.begin() + op.index, key);
    }

    void copyParts(Operation const& op) {
        ZArrayList_5_1 part(op.index % 8, owns_);
        unsigned const from = op.index % 8;
        unsigned const to = static_cast<unsigned>(op.key % 16);
        list_.subList(part, from, to);
        Keys expected;
        for (unsigned i = from; to < keys_.size() && i <= to; ++i) expected.push_back(keys_[i]);
        FUZZ_CHECK(keysOf(part) == expected);
        part = list_;
        FUZZ_CHECK(keysOf(part) == keys_);
        list_ = part;
    }

    void change(Operation const& op) {
        int const key = keyOf(given(op.key));
        switch (op.what / 5 % 7) {
            case 0:
                list_.remove(op.index);
                if (op.index < keys_.size()) keys_.erase(keys_.begin() + op.index);
                break;
            case 1: {
                list_.remove(given(op.key));
                int const at = indexOf(keys_, key);
                if (at >= 0) keys_.erase(keys_.begin() + at);
                break;
            }
            case 2:
                list_.set(op.index, given(op.key));
                if (op.index < keys_.size()) keys_[op.index] = key;
                break;
            case 3: {
                unsigned const other = near(static_cast<unsigned>(op.key), keys_.size());
                list_.swap(op.index, other);
                if (std::max(op.index, other) < keys_.size()) {
                    std::swap(keys_[op.index], keys_[other]);
                }
                break;
            }
            case 4:
                checkSort(list_, keys_, op.key % 5, op.index % 2 == 1);
                break;
            case 5: {
                if (op.key % 8 != 0) break;
                list_.shuffle();
                Keys const mixed = keysOf(list_);
                FUZZ_CHECK(
                    std::is_permutation(mixed.begin(), mixed.end(), keys_.begin(), keys_.end()));
                keys_ = mixed;
                break;
            }
            default:
                if (op.key % 4 != 0) break;
                list_.removeAll();
                keys_.clear();
        }
    }

    void iterate(Operation const& op) {
        switch (op.what / 5 % 5) {
            case 0:
            case 1: {
                bool const more = position_ < keys_.size();
                FUZZ_CHECK(walk_.hasMore() == more);
                FUZZ_CHECK(keyOf(walk_.getNext()) == (more ? keys_[position_] : none));
                if (more) ++position_;
                break;
            }
            case 2: {
                unsigned const at = position_ - 1;
                FUZZ_CHECK(walk_.indexOf() == static_cast<int>(at) &&
                           list_.indexOf(walk_) == walk_.indexOf());
                if (op.key % 2) {
                    list_.remove(walk_);
                    if (at < keys_.size()) keys_.erase(keys_.begin() + at);
                } else {
                    list_.backUp(walk_);
                }
                --position_;
                break;
            }
            case 3: {
                Item const target(op.key % 32, 0);
                ZListIterator_5_1 other(walk_);
                other = walk_;
                ZObject_5_1 const* const found = other.findNext(target);
                unsigned at = position_;
                while (at < keys_.size() && keys_[at] != target.key) ++at;
                FUZZ_CHECK(found == list_.get(at));
                std::unique_ptr<ZObject_5_1> const clone(walk_.clone());
                FUZZ_CHECK(static_cast<ZListIterator_5_1&>(*clone).indexOf() ==
                           static_cast<int>(position_ - 1));
                // The position, but not the list.
                ZArrayList_5_1 const none(1, 0);
                ZListIterator_5_1 elsewhere(none);
                elsewhere = walk_;
                FUZZ_CHECK(elsewhere.indexOf() == walk_.indexOf() && !elsewhere.getNext());
                break;
            }
            default:
                walk_.reset();
                position_ = 0;
        }
    }

    void look(Operation const& op) const {
        int const key = keyOf(given(op.key));
        FUZZ_CHECK(list_.indexOf(given(op.key)) == indexOf(keys_, key));
        FUZZ_CHECK(list_.lastIndexOf(given(op.key)) == lastIndexOf(keys_, key));
        FUZZ_CHECK(list_.contains(given(op.key)) == (indexOf(keys_, key) >= 0));
        std::unique_ptr<ZObject_5_1> const copy(list_.clone());
        FUZZ_CHECK(keysOf(static_cast<ZArrayList_5_1 const&>(*copy)) == keys_);
    }

    void append(Keys const& more) {
        for (int const key : more) {
            grow();
            keys_.push_back(key);
        }
    }

    // By half of the elements, when one more comes into a full list.
    void grow() {
        auto const size = static_cast<unsigned>(keys_.size());
        if (size == capacity_) capacity_ += std::max(size / 2, 1u);
    }

    Item* copyOf(int key) const {
        if (key == none) return nullptr;
        return owns_ ? new Item(key, 0) : given(key);
    }

    ZArrayList_5_1& list_;
    ZListIterator_5_1 walk_;
    Keys keys_;
    bool const owns_;
    unsigned capacity_;
    unsigned position_ = 0;
};

// ---- Stacks and arrays ----

void runStack(ZArrayStack_5_1& stack, Keys& keys, Operation const& op) {
    switch (op.what % 8) {
        case 0:
        case 1:
        case 2:
        case 3:
            stack.push(given(op.key));
            keys.push_back(keyOf(given(op.key)));
            break;
        case 4:
            stack.popall();
            while (!keys.empty() && keys.back() != none) keys.pop_back();
            if (!keys.empty()) keys.pop_back();
            break;
        default: {
            int const expected = keys.empty() ? none : keys.back();
            FUZZ_CHECK(keyOf(stack.pop()) == expected);
            if (!keys.empty()) keys.pop_back();
        }
    }
    FUZZ_CHECK(stack.size() == keys.size());
}

template <class Call>
bool throws(Call const& call) {
    try {
        call();
        return false;
    } catch (ZInvalidParameterException_5_1& e) {
        FUZZ_CHECK(e.code() == 22 && std::string(e.who()) == "src/Z/ZArray");
        return true;
    }
}

void runArray(ZArray_5_1& array, Keys& keys, bool owns, Operation const& op) {
    unsigned const i = near(op.index, keys.size());
    unsigned const j = near(static_cast<unsigned>(op.key), keys.size());
    bool const outside = i >= keys.size();
    int const key = keyOf(given(op.key));
    switch (op.what % 8) {
        case 0:
        case 1:
            FUZZ_CHECK(throws([&] { array.set(i, given(op.key)); }) == outside);
            if (!outside) keys[i] = key;
            break;
        case 2: {
            Item* const item = owns && key != none ? new Item(key, 0) : given(op.key);
            FUZZ_CHECK(throws([&] { array.setNoCopy(i, item); }) == outside);
            if (!outside) keys[i] = key;
            if (outside && owns) delete item;
            break;
        }
        case 3:
            FUZZ_CHECK(throws([&] { array.remove(i); }) == outside);
            if (!outside) keys[i] = none;
            break;
        case 4: {
            bool const refused = outside || j >= keys.size();
            FUZZ_CHECK(throws([&] { array.swap(i, j); }) == refused);
            if (!refused) std::swap(keys[i], keys[j]);
            break;
        }
        case 5: {
            ZArray_5_1 other(j % 40, owns);
            other = array;
            FUZZ_CHECK(other.size() == keys.size());
            if (i == 0) other.removeAll();
            if (i == 0) keys.assign(keys.size(), none);
            array = other;
            break;
        }
        default:
            FUZZ_CHECK(array.indexOf(given(op.key)) == indexOf(keys, key));
            FUZZ_CHECK(array.lastIndexOf(given(op.key)) == lastIndexOf(keys, key));
            FUZZ_CHECK(array.contains(given(op.key)) == (indexOf(keys, key) >= 0));
    }
}

void checkArray(ZArray_5_1 const& array, Keys const& keys, bool owns) {
    FUZZ_CHECK(array.size() == keys.size() && (array.ownsMembers() != 0) == owns);
    ZArray_5_1 const copy(array);
    for (unsigned i = 0; i < keys.size(); ++i) {
        checkStored(array.get(i), keys[i], owns);
        checkStored(copy.get(i), keys[i], owns);
    }
    FUZZ_CHECK(throws([&] { array.get(array.size()); }));
}

template <class Run>
void each(std::uint8_t const* data, std::size_t size, Run const& run) {
    for (; size >= 3; data += 3, size -= 3) run(Operation{data[0], data[1], data[2] % 64u});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 2 || size > 400) return 0;
    given(0);
    int const before = Item::alive;
    bool const owns = (data[0] & 1) != 0;
    unsigned const capacity = data[1] % 16;
    if (data[0] / 2 % 4 == 0) {
        ZArray_5_1 array(capacity, owns);
        Keys keys(std::max(capacity, 1u), none);
        each(data + 2, size - 2, [&](Operation const& op) { runArray(array, keys, owns, op); });
        checkArray(array, keys, owns);
    } else if (data[0] / 2 % 4 == 1) {
        ZArrayStack_5_1 stack(capacity);
        Keys keys;
        each(data + 2, size - 2, [&](Operation const& op) { runStack(stack, keys, op); });
        FUZZ_CHECK(keysOf(stack) == keys && keysOf(ZArrayStack_5_1(stack)) == keys);
    } else {
        ZArrayList_5_1 list(capacity, owns);
        ListCase test(list, owns, capacity);
        each(data + 2, size - 2, [&](Operation const& op) { test.run(op); });
        test.check();
    }
    FUZZ_CHECK(Item::alive == before);
    return 0;
}
