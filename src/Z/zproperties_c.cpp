// zproperties_c: stanza files for callers in C.
// Subsystem: properties, layer 7. Test: tests/zproperties_c_test.c
//
// Every function checks its handle, then its arguments, and leaves the work to the classes.
#include "zproperties_c.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "ZException.h"
#include "ZPropHandles.h"
#include "ZPropertiesValue.h"
#include "zraise.h"

#ifdef __ILP32__
static_assert(sizeof(ZPROPValueRequest) == 20, "the record is fixed on 32 bits");
#else
static_assert(sizeof(ZPROPValueRequest) == 40, "the record is fixed on 64 bits");
#endif

namespace {

constexpr char const* unit = "src/Z/zproperties_c";

// ---- from exceptions to codes ----

// For questions: what cannot be answered has a code, anything else leaves as it is.
template <class Work>
int codeOf(Work const& work) {
    try {
        work();
        return ZPROP_DONE;
    } catch (ZPropertiesMissingPropertyException_5_1&) {
        return ZPROP_MISSING;
    } catch (ZPropertiesInvalidValueException_5_1&) {
        return ZPROP_INVALID_VALUE;
    } catch (ZPropertiesIteratorException_5_1&) {
        return ZPROP_WRONG_ITERATOR;
    }
}

// For files and changes: every failure has the same code.
template <class Work>
int codeOf(Work const& work, int anyFailure) {
    try {
        work();
        return ZPROP_DONE;
    }
    Z_CATCH_ALL {
        return anyFailure;
    }
}

// What `work` answers and its code in *rc; 0 or null when it has no answer.
template <class Work>
auto answer(bool valid, unsigned int* rc, Work const& work) -> decltype(work()) {
    decltype(work()) result{};
    int const code = valid ? codeOf([&] { result = work(); }) : ZPROP_BAD_ARGUMENT;
    *rc = static_cast<unsigned int>(code);
    return result;
}

// ---- handles ----

bool isValid(ZPROP_handle const* handle) {
    return ZPROP_handle::isValid(handle);
}

bool isValid(ZPROP_iter_handle const* iterator) {
    return ZPROP_iter_handle::isValid(iterator);
}

ZStanzaFileProperties_5_1& propertiesOf(ZPROP_handle* handle) {
    return static_cast<ZPROP_stz_handle*>(handle)->properties;
}

// Null when it walks over values.
ZStanzaIterator_5_1* keysOf(ZPROP_iter_handle* iterator) {
    if (iterator->kind() != ZPROP_iter_handle::overKeys) return nullptr;
    return &static_cast<ZPROP_stz_iter_handle*>(iterator)->keys;
}

// For iterators over values.
ZPROP_stzvalue_iter_handle& valueOf(ZPROP_iter_handle* iterator) {
    return *static_cast<ZPROP_stzvalue_iter_handle*>(iterator);
}

template <class Work>
int change(bool valid, ZPROP_handle* handle, Work const& work) {
    if (!valid) return ZPROP_BAD_ARGUMENT;
    return codeOf([&] { work(propertiesOf(handle)); }, ZPROP_CHANGE_FAILED);
}

template <class Work>
int changeValue(ZPROP_iter_handle* iterator, Work const& work) {
    if (!isValid(iterator)) return ZPROP_BAD_ARGUMENT;
    if (keysOf(iterator)) return ZPROP_WRONG_ITERATOR;
    return codeOf([&] { work(valueOf(iterator).values); });
}

// ---- texts ----

// A text for a caller lies behind these bytes, which say that zstzPropFree_5_1 is to release it.
constexpr std::uint32_t textMark = 0xc0ffeeee;
constexpr std::uintptr_t blockAlignment = 8;  // malloc never gives less for such a block

char* newText(z_5_1::PropSlice const& value) {
    if (value.length == 0) return nullptr;
    std::size_t const bytes = value.length + 1;
    auto* const block = static_cast<char*>(std::malloc(sizeof textMark + bytes));
    if (!block) z_5_1::raise(unit, ZOutOfMemoryException_5_1());
    std::memcpy(block, &textMark, sizeof textMark);
    std::memcpy(block + sizeof textMark, value.chars, bytes);
    return block + sizeof textMark;
}

// Takes the mark off the block before `text` and returns the block, null for any other pointer.
// What lies before a pointer is looked at only where a text can be: that is in the same page.
Z_READS_ANYTHING void* takeBlock(char* text) {
    if (reinterpret_cast<std::uintptr_t>(text) % blockAlignment != sizeof textMark) return nullptr;
    auto volatile* const mark = reinterpret_cast<std::uint32_t*>(text - sizeof textMark);
    if (*mark != textMark) return nullptr;
    *mark = 0;
    return text - sizeof textMark;
}

// Texts and lists of a batch are plain blocks.
char* copyOf(char const* text, std::size_t length) {
    char* const copy = strndup(text, length);
    if (!copy) z_5_1::raise(unit, ZOutOfMemoryException_5_1());
    return copy;
}

void freeList(char** list) {
    if (!list) return;
    for (char** text = list; *text; ++text) std::free(*text);
    std::free(list);
}

char** copyOf(ZArrayList_5_1 const& values) {
    unsigned int const count = values.size();
    // All null, so that a list that is cut short by a failure has an end.
    std::unique_ptr<char*, void (*)(char**)> list(
        static_cast<char**>(std::calloc(std::size_t{count} + 1, sizeof(char*))), freeList);
    if (!list) z_5_1::raise(unit, ZOutOfMemoryException_5_1());
    for (unsigned int i = 0; i < count; ++i) {
        auto const& value = *static_cast<ZLCString_5_1*>(values.get(i));
        list.get()[i] = copyOf(value.getChars(), value.getLength());
    }
    return list.release();
}

// ---- batches ----

void serve(ZStanzaFileProperties_5_1 const& properties, z_5_1::HeldProperties const& held,
           ZPROPValueRequest const& request) {
    char const* const stanza = request.stanza;
    char const* const key = request.key;
    int const required = request.optional != 1;
    switch (request.type) {
        case ZPROP_BOOLEAN:
            *static_cast<int*>(request.result) =
                properties.getBooleanValue(stanza, key, required, 0);
            return;
        case ZPROP_INTEGER:
            *static_cast<unsigned int*>(request.result) =
                properties.getIntegerValue(stanza, key, required, 0);
            return;
        case ZPROP_STRING: {
            z_5_1::PropSlice const value = held.firstValue(stanza, key, required);
            *static_cast<char**>(request.result) =
                value.length == 0 ? nullptr : copyOf(value.chars, value.length);
            return;
        }
        case ZPROP_STRING_LIST: {
            ZArrayList_5_1 values(5, 1);
            properties.getValues(stanza, key, values, ZPropLCString);
            *static_cast<char***>(request.result) = copyOf(values);
            return;
        }
        default:
            z_5_1::raise(unit, ZInvalidParameterException_5_1());
    }
}

}  // namespace

// ---- files ----

int zstzPropOpen_5_1(ZPROP_handle** handle, char const* file, int mode) {
    if (!handle || !file) return ZPROP_BAD_ARGUMENT;
    if (mode != ZPROP_OPEN_READ && mode != ZPROP_OPEN_UPDATE) return ZPROP_BAD_ARGUMENT;
    *handle = nullptr;
    return codeOf(
        [&] {
            auto fresh = std::make_unique<ZPROP_stz_handle>(mode);
            fresh->properties.load(file);
            *handle = fresh.release();
        },
        ZPROP_FILE_FAILED);
}

int zstzPropClose_5_1(ZPROP_handle* handle) {
    if (!isValid(handle)) return ZPROP_BAD_ARGUMENT;
    delete handle;
    return ZPROP_DONE;
}

int zstzPropStore_5_1(ZPROP_handle* handle, char const* file) {
    if (!isValid(handle)) return ZPROP_BAD_ARGUMENT;
    return codeOf([&] { propertiesOf(handle).store(file); }, ZPROP_FILE_FAILED);
}

// ---- questions ----

int zstzPropExists_5_1(ZPROP_handle* handle, char const* stanza, char const* key,
                       unsigned int* rc) {
    if (!stanza || !rc) return 0;
    return answer(isValid(handle), rc, [&] {
        auto const& properties = propertiesOf(handle);
        return key ? properties.exists(stanza, key) : properties.exists(stanza);
    });
}

int zstzPropNumStanzas_5_1(ZPROP_handle* handle, unsigned int* rc) {
    if (!rc) return 0;
    return answer(isValid(handle), rc, [&] { return propertiesOf(handle).count(); });
}

int zstzPropNumKeys_5_1(ZPROP_handle* handle, char const* stanza, unsigned int* rc) {
    if (!rc) return 0;
    return answer(isValid(handle) && stanza, rc,
                  [&] { return propertiesOf(handle).count(stanza); });
}

int zstzPropNumValues_5_1(ZPROP_handle* handle, char const* stanza, char const* key,
                          unsigned int* rc) {
    if (!rc) return 0;
    return answer(isValid(handle) && stanza && key, rc,
                  [&] { return propertiesOf(handle).numValues(stanza, key); });
}

// ---- values ----

char* zstzPropGetStringValue_5_1(ZPROP_handle* handle, char const* stanza, char const* key,
                                 int required, unsigned int* rc) {
    if (!stanza || !key || !rc) return nullptr;
    return answer(isValid(handle), rc, [&] {
        z_5_1::HeldProperties const held(propertiesOf(handle));
        return newText(held.firstValue(stanza, key, required));
    });
}

// Callers know the two by this: the code is their value when it cannot be told through rc.
unsigned int zstzPropGetIntegerValue_5_1(ZPROP_handle* handle, char const* stanza, char const* key,
                                         int required, unsigned int* rc) {
    if (!stanza || !key || !rc) return ZPROP_BAD_ARGUMENT;
    return answer(isValid(handle), rc,
                  [&] { return propertiesOf(handle).getIntegerValue(stanza, key, required, 0); });
}

int zstzPropGetBooleanValue_5_1(ZPROP_handle* handle, char const* stanza, char const* key,
                                int required, unsigned int* rc) {
    if (!stanza || !key || !rc) return ZPROP_BAD_ARGUMENT;
    return answer(isValid(handle), rc,
                  [&] { return propertiesOf(handle).getBooleanValue(stanza, key, required, 0); });
}

void zstzPropFree_5_1(char* text) {
    std::free(takeBlock(text));
}

// ---- several values at once ----

int zstzPropGetValues_5_1(ZPROP_handle* handle, ZPROPValueRequest const* requests, int count) {
    if (!isValid(handle) || (!requests && count != 0)) return ZPROP_BAD_ARGUMENT;
    if (count <= 0) return ZPROP_DONE;
    // One lock for all: the requests see one state, and those below enter it again for little.
    ZStanzaFileProperties_5_1 const& properties = propertiesOf(handle);
    z_5_1::HeldProperties const held(properties);
    int code = ZPROP_DONE;
    for (int i = 0; i < count && code == ZPROP_DONE; ++i) {
        ZPROPValueRequest const& request = requests[i];
        if (!request.stanza || !request.key || !request.result) return ZPROP_BAD_ARGUMENT;
        code = codeOf([&] { serve(properties, held, request); });
    }
    return code;
}

int zstzPropFreeValuesList_5_1(ZPROP_handle* handle, ZPROPValueRequest const* requests, int count) {
    if (!isValid(handle)) return ZPROP_BAD_ARGUMENT;
    for (int i = 0; requests && i < count; ++i) {
        ZPROPValueRequest const& request = requests[i];
        if (!request.result) continue;
        if (request.type == ZPROP_STRING) {
            auto& text = *static_cast<char**>(request.result);
            std::free(text);
            text = nullptr;
        } else if (request.type == ZPROP_STRING_LIST) {
            auto& list = *static_cast<char***>(request.result);
            freeList(list);
            list = nullptr;
        }
    }
    return ZPROP_DONE;
}

// ---- changes ----

int zstzPropSetStringValue_5_1(ZPROP_handle* handle, char const* stanza, char const* key,
                               char const* value) {
    return change(isValid(handle) && stanza && key, handle,
                  [&](auto& properties) { properties.setValue(stanza, key, value); });
}

int zstzPropSetIntegerValue_5_1(ZPROP_handle* handle, char const* stanza, char const* key,
                                unsigned int value) {
    return change(isValid(handle) && stanza && key, handle,
                  [&](auto& properties) { properties.setIntegerValue(stanza, key, value); });
}

int zstzPropSetBooleanValue_5_1(ZPROP_handle* handle, char const* stanza, char const* key,
                                int value) {
    return change(isValid(handle) && stanza && key, handle,
                  [&](auto& properties) { properties.setBooleanValue(stanza, key, value); });
}

int zstzPropRemoveKey_5_1(ZPROP_handle* handle, char const* stanza, char const* key) {
    return change(isValid(handle) && stanza && key, handle,
                  [&](auto& properties) { properties.deleteKey(stanza, key); });
}

int zstzPropRemoveStanza_5_1(ZPROP_handle* handle, char const* stanza) {
    return change(isValid(handle) && stanza, handle,
                  [&](auto& properties) { properties.deleteStanza(stanza); });
}

int zstzPropAddStanzaComment_5_1(ZPROP_handle* handle, char const* stanza, char const* comment) {
    return change(isValid(handle) && stanza, handle,
                  [&](auto& properties) { properties.addStanzaComment(stanza, comment); });
}

int zstzPropAddFileComment_5_1(ZPROP_handle* handle, char const* comment) {
    return change(isValid(handle), handle,
                  [&](auto& properties) { properties.addFileComment(comment); });
}

int zstzPropAddLineComment_5_1(ZPROP_handle* handle, char const* stanza, char const* key,
                               char const* comment) {
    return change(isValid(handle) && stanza && key && comment, handle,
                  [&](auto& properties) { properties.addEntryComment(stanza, key, comment); });
}

// ---- iterators ----

int zstzPropIter_init_5_1(ZPROP_handle* handle, char const* stanza, char const* key,
                          ZPROP_iter_handle** iterator) {
    if (!isValid(handle) || !stanza || !iterator) return ZPROP_BAD_ARGUMENT;
    auto& properties = propertiesOf(handle);
    return codeOf([&] {
        if (key) {
            *iterator = new ZPROP_stzvalue_iter_handle(properties, stanza, key);
        } else {
            *iterator = new ZPROP_stz_iter_handle(properties, stanza);
        }
    });
}

int zstzPropIter_next_5_1(ZPROP_iter_handle* iterator, unsigned int* rc) {
    if (!rc) return 0;
    return answer(isValid(iterator), rc, [&] {
        if (auto* keys = keysOf(iterator)) {
            if (!keys->hasMore()) return 0;
            keys->nextEntry();
        } else {
            auto& value = valueOf(iterator);
            if (!value.values.hasMore()) return 0;
            value.current = *value.values.nextValue();
        }
        return 1;
    });
}

char const* zstzPropIter_getKey_5_1(ZPROP_iter_handle* iterator, unsigned int* rc) {
    if (!rc) return nullptr;
    return answer(isValid(iterator), rc, [&] {
        auto* const keys = keysOf(iterator);
        return keys ? keys->entryName() : valueOf(iterator).key.getChars();
    });
}

char const* zstzPropIter_getValue_5_1(ZPROP_iter_handle* iterator, int, unsigned int* rc) {
    if (!rc) return nullptr;
    return answer(isValid(iterator), rc, [&] {
        auto* const keys = keysOf(iterator);
        return keys ? keys->entryValue(0) : valueOf(iterator).current.getChars();
    });
}

int zstzPropIter_numKeys_5_1(ZPROP_iter_handle* iterator, unsigned int* rc) {
    if (!rc) return 0;
    return answer(isValid(iterator), rc, [&] {
        auto* const keys = keysOf(iterator);
        return keys ? keys->keyCount() : 1;
    });
}

int zstzPropIter_numValues_5_1(ZPROP_iter_handle* iterator, unsigned int* rc) {
    if (!rc) return 0;
    if (isValid(iterator) && keysOf(iterator)) {
        *rc = ZPROP_WRONG_ITERATOR;
        return 0;
    }
    return answer(isValid(iterator), rc, [&] { return valueOf(iterator).values.valueCount(); });
}

int zstzPropIter_chgValue_5_1(ZPROP_iter_handle* iterator, char const* value) {
    return changeValue(iterator, [&](auto& values) { values.changeValue(value); });
}

int zstzPropIter_addValue_5_1(ZPROP_iter_handle* iterator, char const* value) {
    return changeValue(iterator, [&](auto& values) { values.addValue(value); });
}

int zstzPropIter_rmvValue_5_1(ZPROP_iter_handle* iterator) {
    return changeValue(iterator, [](auto& values) { values.removeValue(); });
}

int zstzPropIter_close_5_1(ZPROP_iter_handle* iterator) {
    if (!isValid(iterator)) return ZPROP_BAD_ARGUMENT;
    delete iterator;
    return ZPROP_DONE;
}
