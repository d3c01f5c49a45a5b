// Scenarios of the campaign `allocations`: lists, arrays, stacks, maps, buffers, compression.
#include <Z/Z.h>

#include "Allocations.h"

namespace faults {

namespace {

std::string shown(ZList_5_1 const& list) {
    std::string all;
    for (unsigned int i = 0; i < list.size(); ++i) {
        auto const* string = static_cast<ZAbstractString_5_1*>(list.get(i));
        all += string ? string->getChars() + std::string(" ") : "- ";
    }
    return all;
}

// The strings 0 to 11, every third of them long.
ZLCString_5_1* item(int number) {
    static std::vector<ZLCString_5_1> const all = [] {
        std::vector<ZLCString_5_1> made;
        for (int n = 0; n < 12; ++n)
            made.emplace_back((std::to_string(n) + (n % 3 ? "" : text)).c_str());
        return made;
    }();
    return const_cast<ZLCString_5_1*>(&all[static_cast<std::size_t>(number)]);
}

struct List : ZArrayList_5_1 {
    explicit List(int count = 3) : ZArrayList_5_1(1, 1) {
        for (int n = count; n-- > 0;) add(item(n));
    }
    void addNew() {
        auto fresh = std::make_unique<ZLCString_5_1>("new");
        addNoCopy(fresh.get());
        static_cast<void>(fresh.release());
    }
    void walk() {
        ZListIterator_5_1 walker(*this);
        delete walker.clone();
        walker.getNext();
        remove(walker);
    }
};

struct Array : ZArray_5_1 {
    explicit Array(unsigned int size = 4) : ZArray_5_1(size, 1) {
        for (unsigned int i = 0; i < size; i += 2) ZArray_5_1::set(i, item(static_cast<int>(i)));
    }
    std::string shownAll() const {
        ZArrayList_5_1 all;
        for (unsigned int i = 0; i < size(); ++i) all.add(get(i));
        return shown(all);
    }
};

struct Stack : ZArrayStack_5_1 {
    Stack() : ZArrayStack_5_1(1) {}
    void pushAll() {
        for (int n = 0; n < 12; ++n) push(item(n));
        delete clone();
        ZArrayStack_5_1 other;
        other = *this;
        popall();
    }
};

template <class Base>
struct Map : Base {
    explicit Map(int last = 5) : Base(2, 1) {
        for (int n = 1; n <= last; n += 2) Base::putEntry(item(n));
    }
    // A list of all that is in it.
    std::string shownAll() const {
        ZArrayList_5_1 entries;
        Base::list(entries);
        return shown(entries);
    }
    void walk() {
        ZMapIterator_5_1 walker(*this), other(walker);
        delete walker.clone();
        other = walker;
        while (other.hasMore()) other.getNext();
    }
};
using ArrayMap = Map<ZArrayMap_5_1>;
using HashMap = Map<ZHashMap_5_1>;

struct KeyMap : ZHashKeyMap_5_1 {
    explicit KeyMap(int last = 5) : ZHashKeyMap_5_1(2, 1) {
        for (int n = 1; n <= last; n += 2) ZHashKeyMap_5_1::putEntry(item(n), item(n + 1));
    }
    std::string shownAll() const {
        ZArrayList_5_1 keys, values;
        listKeys(keys);
        listObjects(values);
        return shown(keys) + ": " + shown(values);
    }
};

template <class Collection>
std::string shownAll(Collection& x) {
    return x.shownAll();
}

void addLists(std::vector<Scenario>& all) {
    Uses<List> const lists{all, [](List& x) { return shown(x); }};
    lists("list add", {Z_DO(x.add(item(3))), Z_DO(x.add(1, item(3))), Z_DO(x.addList(List(7))),
                       Z_DO(x.addList(x)), Z_DO(x.addNew())});
    lists("list set, copy, sort",
          {Z_DO(x.set(1, item(6))), Z_DO(static_cast<ZArrayList_5_1&>(x) = List(9)),
           Z_DO(delete x.clone()), Z_DO(x.walk()),
           Z_DO(x.sort(ZSortCompare_5_1::defaultSortCompare(), ZSortCompare_5_1::ascending))});
    lists(
        "list subList", { Z_DO(x.removeAll(); List(12).subList(x, 2, 9)) }, {}, Left::part);
    Uses<Array> const arrays{all, shownAll<Array>};
    arrays("array", {Z_DO(x.set(1, item(6))), Z_DO(ZArray_5_1 const copy(x)),
                     Z_DO(static_cast<ZArray_5_1&>(x) = Array(9))});
    Uses<Stack>{all}("stack", {Z_DO(x.pushAll())});
}

void addMaps(std::vector<Scenario>& all) {
    Uses<ArrayMap> const arrayMaps{all, shownAll<ArrayMap>};
    Uses<HashMap> const hashMaps{all, shownAll<HashMap>};
    Uses<KeyMap> const keyMaps{all, shownAll<KeyMap>};
    arrayMaps("map put", {Z_DO(x.putEntry(item(6))), Z_DO(x.putEntry(item(3)))});
    hashMaps("map put", {Z_DO(x.putEntry(item(6))), Z_DO(x.putEntry(item(3)))});
    keyMaps("map put", {Z_DO(x.putEntry(item(6), item(0))), Z_DO(x.putEntry(item(3), item(0)))});
    arrayMaps("map copy",
              {Z_DO(delete x.clone()), Z_DO(static_cast<ZArrayMap_5_1&>(x) = ArrayMap(11))});
    hashMaps("map copy",
             {Z_DO(delete x.clone()), Z_DO(static_cast<ZHashMap_5_1&>(x) = HashMap(11))});
    keyMaps("map copy",
            {Z_DO(delete x.clone()), Z_DO(static_cast<ZHashKeyMap_5_1&>(x) = KeyMap(9))});
    // One by one.
    arrayMaps(
        "map putAll", { Z_DO(ArrayMap other; x.removeAll(); x.putAll(other)) }, {}, Left::part);
    hashMaps("map putAll", { Z_DO(HashMap other(11); x.putAll(other)) });
    keyMaps("map putAll", {Z_DO(x.putAll(KeyMap(9)))});
    hashMaps("map iterators, entries", {Z_DO(x.walk())});
    arrayMaps("map iterators, entries",
              {Z_DO(x.walk()), Z_DO(delete ZArrayMapIterator_5_1(x).clone())});
    keyMaps("map iterators, entries", {Z_DO(delete ZKeyEntry_5_1(item(0), item(3), 1).clone())});
}

struct Buffer : ZBuffer_5_1 {
    Buffer() : ZBuffer_5_1("0123456789") {}
    std::string shownAll() const {
        ZBuffer_5_1 const copy(*this);
        auto const* bytes = static_cast<char*>(getBuffer());
        return bytes ? std::string(bytes, copy.getLength()) : "no block";
    }
    // Through the compressed form into this buffer.
    int squeezed() {
        unsigned char packed[500], plain[500];
        unsigned long size = sizeof packed;
        ZSqueeze_5_1 squeeze;
        auto const* const source = reinterpret_cast<unsigned char const*>(text);
        if (int const rc = squeeze.compress(packed, &size, source, longText.size())) return rc;
        squeeze.setSource(packed, size);
        int const length = squeeze.unsqueeze(plain, sizeof plain);
        if (length >= 0) setBuffer(static_cast<unsigned long>(length), plain);
        return length < 0 ? length : 0;
    }
};

void addBuffers(std::vector<Scenario>& all) {
    // A block that cannot grow is gone.
    Uses<Buffer> const buffers{all, shownAll<Buffer>};
    buffers("buffer",
            {Z_DO(x.setBuffer(const_cast<char*>(text))), Z_DO(delete x.clone()),
             Z_DO(static_cast<ZBuffer_5_1&>(x) = ZBuffer_5_1(text))},
            {}, Left::part);
    constexpr int memoryError = -4;
    buffers("compress, uncompress", {Z_CODE(x.squeezed())}, {memoryError}, Left::part);
}

}  // namespace

void addCollections(std::vector<Scenario>& all) {
    addLists(all);
    addMaps(all);
    addBuffers(all);
}

}  // namespace faults
