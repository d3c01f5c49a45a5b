// load_files: one stanza file among threads and processes.
//
// A text is a generation of a writer: its first stanza and its last tell its number, and what lies
// between follows from that, so a reader knows every line that it must find, and how many. Every
// third generation has no obfuscated values, so that the database comes and goes.
#include <Z/ZException.h>
#include <Z/ZStanzaFileProperties.h>
#include <Z/zproperties_c.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <sstream>

#include "load.h"

namespace {

using namespace load;
using File = ZStanzaFileProperties_5_1;

std::string valueOf(File const& file, char const* stanza, char const* key) {
    ZLCString_5_1 value;
    file.getValue(stanza, key, value, 0, nullptr);
    return value.getChars();
}

struct Generation {
    unsigned writer, number;
    bool mayHide;

    bool hides() const { return mayHide && number % 3 != 0; }
    unsigned keys() const { return 1 + (number + writer) * 37 % 150; }

    std::string value(unsigned key, unsigned length) const {
        Random random = seeded(writer * 1000000 + number * 1000 + key);
        std::string digits;
        while (digits.size() < length) digits += "0123456789abcdef"[random() / 7 % 16];
        return digits;
    }
    std::string plain(unsigned key) const { return value(key, 1 + (number + key * 7) % 60); }
    // Longer than the compressed stream's own overhead, and not four times its size.
    std::string hidden() const { return value(999, 300 + number % 7 * 100); }

    void fill(File& file) const {
        for (char const* stanza : {"first", "data", "hidden", "last"}) file.deleteStanza(stanza);
        file.setIntegerValue("first", "generation", number);
        for (unsigned i = 0; i < keys(); ++i) {
            file.setValue("data", ("key" + std::to_string(i)).c_str(), plain(i).c_str());
        }
        if (hides()) file.setValue("hidden", "value", hidden().c_str(), 1);
        file.setIntegerValue("last", "generation", number);
        file.setIntegerValue("last", "writer", writer);
    }
    std::string text(char const* name) const {
        File file(1);
        fill(file);
        char* chars = nullptr;
        std::size_t size = 0;
        std::FILE* const out = open_memstream(&chars, &size);
        file.writeText(name, out);
        std::fclose(out);
        std::string text(chars, size);
        std::free(chars);
        return text;
    }
};

// What `file` holds is one generation and nothing else.
Generation intact(File& file, bool mayHide) {
    ZStanzaIterator_5_1 keys(file, "data");  // holds the instance
    Generation const found{file.getIntegerValue("last", "writer", 1, 0),
                           file.getIntegerValue("last", "generation", 1, 0), mayHide};
    unsigned const first = file.getIntegerValue("first", "generation", 1, 0);
    LOAD_CHECK(first == found.number, "generation %u at the top, %u below", first, found.number);
    std::string const hidden = valueOf(file, "hidden", "value");
    LOAD_CHECK(hidden == (found.hides() ? found.hidden() : ""),
               "generation %u with an obfuscated value of another", found.number);
    // The stanza that names the database stays when its key goes.
    int const stanzas = file.count() - file.exists("configuration-database");
    LOAD_CHECK(stanzas == 3 + found.hides(), "%d stanzas in generation %u", stanzas, found.number);
    LOAD_CHECK(file.exists("configuration-database", "file") == found.hides(),
               "generation %u and its database's name do not agree", found.number);
    LOAD_CHECK(keys.keyCount() == static_cast<int>(found.keys()), "%d keys in generation %u",
               keys.keyCount(), found.number);
    for (unsigned i = 0; i < found.keys(); ++i) {
        LOAD_CHECK(keys.nextEntry()->size() == 1, "a key with two values");
        std::string const name = keys.entryName(), value = keys.entryValue(0);
        LOAD_CHECK(name == "key" + std::to_string(i) && value == found.plain(i),
                   "generation %u has %s = %s", found.number, name.c_str(), value.c_str());
    }
    return found;
}

// False when another process had the file.
bool succeeded(std::function<void()> const& access) {
    try {
        access();
        return true;
    } catch (ZPropertiesIOException_5_1& e) {
        if (std::strcmp(e.api(), "fcntl()") != 0) throw;
        return false;
    }
}

// ---- loads and stores of one file by several processes ----

enum : unsigned { loads, stores, busyLoads, busyStores, generations };

std::vector<char const*> const loadFigures = {"whole texts loaded", "texts stored",
                                              "?loads refused as busy", "?stores refused as busy",
                                              "generations seen"};

void storeOne(Generation const& generation, File& file, std::string const& name) {
    generation.fill(file);
    while (!succeeded([&] { file.store(name.c_str()); })) {
        count(busyStores);
        if (over()) return;
        usleep(50);
    }
    count(stores);
}

// One instance stores several generations: it knows the database that it must remove.
void storeInTurn(unsigned writer, std::string const& name, bool mayHide) {
    std::optional<File> file;
    for (unsigned number = 1; !over(); ++number) {
        if (number % 8 == 1) file.emplace(1);
        storeOne({writer, number, mayHide}, *file, name);
    }
}

void loadInTurn(unsigned reader, std::string const& name, bool mayHide) {
    Random random = seeded(reader);
    std::optional<File> file;
    unsigned last = 0;
    for (unsigned round = 0; !over(); ++round) {
        if (round % 2 == 0) file.emplace(static_cast<int>(random() % 2));
        if (!succeeded([&] { file->reload(name.c_str()); })) {
            count(busyLoads);
            continue;
        }
        count(loads);
        unsigned const number = intact(*file, mayHide).number;
        if (number != last) count(generations);
        last = number;
        pause(random, 300);
    }
}

std::string firstText(bool mayHide) {
    std::string name = path("file");
    File file(1);
    storeOne({0, 0, mayHide}, file, name);
    return name;
}

template <bool mayHide>
void loadAndStore() {
    firstText(mayHide);
    for (unsigned i = 0; i < 5; ++i) startProcess(i);
    joinProcesses();
}

template <bool mayHide>
void loadOrStore(unsigned number) {
    number == 0 ? storeInTurn(0, path("file"), mayHide) : loadInTurn(number, path("file"), mayHide);
}

// ---- several writers ----

enum : unsigned { compared, written, refused };

constexpr unsigned writers = 4;
// Words: each writer's last generation, and whether the round is the last.
constexpr unsigned isLast = 63;

void expectOneText(std::string const& name) {
    File file(name.c_str(), 1);
    Generation const found = intact(file, false);
    LOAD_CHECK(found.writer < writers && word(found.writer) == found.number,
               "generation %u of writer %u was not its last", found.number, found.writer);
    std::ostringstream bytes;
    bytes << std::ifstream(name, std::ios::binary).rdbuf();
    LOAD_CHECK(bytes.str() == found.text(name.c_str()), "a text with something added");
    count(compared);
}

// All store at the same moment; then there is one text.
void storeMeanwhile(unsigned me) {
    std::string const name = path("file");
    unsigned number = 0;
    for (bool last = false; !last;) {
        File file(1);
        Generation{me, ++number, false}.fill(file);
        word(me) = number;
        if (me == 0) word(isLast) = over();
        barrier(writers);
        last = word(isLast);
        while (!succeeded([&] { file.store(name.c_str()); })) count(refused);
        count(written);
        barrier(writers);
        if (me == 0) expectOneText(name);
        barrier(writers);
    }
}

void storeWholeTexts() {
    for (unsigned i = 0; i < writers; ++i) startProcess(i);
    joinProcesses();
}

// ---- several instances in one process ----

// The closing of one instance's file must not drop the record lock of another's, whatever name the
// file has for it.
void instances() {
    std::string const name = firstText(true), link = path("link"), again = path("again");
    LOAD_CHECK(symlink("file", link.c_str()) == 0 && ::link(name.c_str(), again.c_str()) == 0,
               "no links");
    startProcess(0);
    inThreads(6, [&](unsigned i) {
        std::string const& mine = i % 3 == 0 ? name : i % 3 == 1 ? link : again;
        i < 2 ? storeInTurn(i + 1, mine, true) : loadInTurn(i, mine, true);
    });
    joinProcesses();
}

// ---- shared instances ----

void reloadShared() {
    std::string const name = firstText(true);
    startProcess(0);
    inThreads(4, [&](unsigned i) {
        Random random = seeded(i);
        File* shared = nullptr;
        while (!over()) {
            bool const served = succeeded([&] {
                shared = static_cast<File*>(
                    File::getPropertiesFor(name.c_str(), File::getFactory(), random() % 4 != 0));
            });
            count(served ? loads : busyLoads);
            if (shared) intact(*shared, true);  // after a failed reload it has what it had
            pause(random, 200);
        }
    });
    joinProcesses();
}

// ---- keys of many threads in one instance ----

enum : unsigned { changes, gets, storesOfAll, reloads };

struct ReloadCounting : File {
    ReloadCounting() : File(1) {}
    void postLoad(char const*) override { load::count(reloads); }
};

struct ReloadCountingFactory : ZAbstractPropertiesFactory_5_1 {
    ZProperties_5_1* makePropertiesInstance() override { return new ReloadCounting; }
};

// The values that one thread has set, and nobody else changes.
struct OwnKeys {
    unsigned thread;
    std::map<std::string, std::string> values = {};

    void step(File& file, Random& random) {
        std::string const stanza = "stanza" + std::to_string(thread % 4);
        std::string const key = std::to_string(thread) + "_" + std::to_string(random() % 20);
        switch (random() % 4) {
            case 0:
                file.setValue(stanza.c_str(), key.c_str(),
                              (values[key] = std::to_string(random())).c_str());
                return count(changes);
            case 1:
                values.erase(key);
                file.deleteKey(stanza.c_str(), key.c_str());
                return count(changes);
            default:
                check(file, stanza, key);
                return count(gets);
        }
    }
    void check(File const& file, std::string const& stanza, std::string const& key) const {
        auto const own = values.find(key);
        std::string const expected = own == values.end() ? "" : own->second;
        std::string const found = valueOf(file, stanza.c_str(), key.c_str());
        LOAD_CHECK(found == expected, "[%s] %s is '%s', not '%s'", stanza.c_str(), key.c_str(),
                   found.c_str(), expected.c_str());
    }
};

void keysOfThreads() {
    constexpr unsigned workers = 16;
    std::string const name = path("file");
    std::ofstream(name) << "[stanza0]\n[stanza1]\n[stanza2]\n[stanza3]\n";
    static auto& factory = *new ReloadCountingFactory;
    auto const shared = [&] {
        return static_cast<File*>(File::getPropertiesFor(name.c_str(), factory, 0));
    };
    File& file = *shared();
    std::vector<OwnKeys> all;
    for (unsigned i = 0; i < workers; ++i) all.push_back({i});
    inThreads(workers + 1, [&](unsigned i) {
        Random random = seeded(i);
        while (!over()) {
            if (i < workers) {
                all[i].step(file, random);
                if (random() % 64 == 0) shared();
                continue;
            }
            file.store(nullptr);
            count(storesOfAll);
            // Another time for the same text, so that it is loaded again unless it was changed.
            timespec const times[] = {{0, UTIME_OMIT}, {static_cast<time_t>(random() % 100000), 0}};
            utimensat(AT_FDCWD, name.c_str(), times, 0);
            shared();
        }
    });
    LOAD_CHECK(figure(reloads) > 1, "nothing was loaded again");
    file.store(nullptr);
    File const stored(name.c_str(), 1);
    int expected = 0, found = 0;
    for (OwnKeys const& each : all) {
        std::string const stanza = "stanza" + std::to_string(each.thread % 4);
        expected += static_cast<int>(each.values.size());
        for (auto const& [key, value] : each.values) each.check(stored, stanza, key);
    }
    for (char const* stanza : {"stanza0", "stanza1", "stanza2", "stanza3"}) {
        found += stored.count(stanza);
    }
    LOAD_CHECK(found == expected, "%d keys in the file, not %d", found, expected);
}

// ---- iterators keep other threads out ----

enum : unsigned { iterators, getters };

// Inside an iterator's life the value is "inside"; nobody else may see that.
template <class Iterate>
void walk(Random& random, std::function<void(char const*)> const& set, Iterate const& iterate) {
    iterate([&] {
        set("inside");
        pause(random, 50);
        set("outside");
        count(iterators);
    });
    pause(random, 50);
}

void iteratorsAndGetters() {
    File file(1);
    file.setValue("stanza", "key", "outside"), file.addValue("stanza", "key", "more", 0);
    file.store(path("file").c_str());
    ZPROP_handle* handle = nullptr;
    LOAD_CHECK(zstzPropOpen_5_1(&handle, path("file").c_str(), ZPROP_OPEN_READ) == 0, "no handle");
    auto const set = [&](char const* value) { file.setValue("stanza", "key", value); };
    auto const setC = [&](char const* value) {
        zstzPropSetStringValue_5_1(handle, "stanza", "key", value);
    };
    auto const see = [](std::string const& value) {
        LOAD_CHECK(value == "outside", "a getter saw '%s' through an iterator", value.c_str());
        count(getters);
    };
    inThreads(9, [&](unsigned i) {
        Random random = seeded(i);
        unsigned int rc = 0;
        while (!over()) {
            if (i < 2) {
                walk(random, set, [&](auto const& inside) {
                    ZStanzaIterator_5_1 keys(file, "stanza");
                    keys.nextEntry();
                    inside();
                });
            } else if (i < 4) {
                walk(random, set, [&](auto const& inside) {
                    ZStanzaValueIterator_5_1 values(file, "stanza", "key", ZPropUTF8String,
                                                    ZStanzaValueIterator_5_1::ANY);
                    values.nextValue();
                    inside();
                });
            } else if (i < 5) {
                walk(random, setC, [&](auto const& inside) {
                    ZPROP_iter_handle* keys = nullptr;
                    zstzPropIter_init_5_1(handle, "stanza", nullptr, &keys);
                    zstzPropIter_next_5_1(keys, &rc);
                    inside();
                    zstzPropIter_close_5_1(keys);
                });
            } else if (i < 6) {
                char* const value = zstzPropGetStringValue_5_1(handle, "stanza", "key", 1, &rc);
                see(value ? value : "");
                zstzPropFree_5_1(value);
            } else if (i < 8) {
                see(valueOf(file, "stanza", "key"));
            } else {
                ZPropertiesKVList_5_1 list;
                file.getStanza("stanza", list);
                see(list.getItemValue(0)->getChars());
            }
        }
    });
    zstzPropClose_5_1(handle);
}

// ---- handles in C ----

enum : unsigned { opened, closedUsed };

// What a round closes is used in that round and the next: by then no more than 255 other handles
// and iterators have been closed, and its memory belongs to nobody.
void handles() {
    constexpr unsigned threads = 8, each = 8;
    auto const nameOf = [](unsigned i) { return path(("own" + std::to_string(i)).c_str()); };
    for (unsigned i = 0; i < threads; ++i) {
        std::ofstream(nameOf(i)) << "[own]\nthread = " << i << '\n';
    }
    inThreads(threads, [&](unsigned i) {
        std::string const name = nameOf(i);
        std::vector<ZPROP_handle*> closed;
        std::vector<ZPROP_iter_handle*> closedIterators;
        for (bool last = false; !last;) {
            unsigned int rc = 0;
            for (unsigned n = 0; n < each; ++n) {
                ZPROP_handle* handle = nullptr;
                ZPROP_iter_handle* keys = nullptr;
                LOAD_CHECK(zstzPropOpen_5_1(&handle, name.c_str(), ZPROP_OPEN_UPDATE) == 0,
                           "a file could not be opened");
                auto const own = zstzPropGetIntegerValue_5_1(handle, "own", "thread", 1, &rc);
                LOAD_CHECK(rc == 0 && own == i, "rc %u, data of thread %u for %u", rc, own, i);
                LOAD_CHECK(zstzPropIter_init_5_1(handle, "own", nullptr, &keys) == 0 &&
                               zstzPropIter_next_5_1(keys, &rc) == 1 &&
                               zstzPropIter_getValue_5_1(keys, 0, &rc) == std::to_string(i) &&
                               zstzPropIter_close_5_1(keys) == 0 && zstzPropClose_5_1(handle) == 0,
                           "an iterator of its own went wrong, rc %u", rc);
                closed.push_back(handle), closedIterators.push_back(keys);
                count(opened);
            }
            for (ZPROP_handle* handle : closed) {
                zstzPropGetIntegerValue_5_1(handle, "own", "thread", 1, &rc);
                LOAD_CHECK(rc == ZPROP_BAD_ARGUMENT, "a closed handle was served, rc %u", rc);
                LOAD_CHECK(zstzPropClose_5_1(handle) == ZPROP_BAD_ARGUMENT, "closed twice");
                count(closedUsed);
            }
            for (ZPROP_iter_handle* keys : closedIterators) {
                LOAD_CHECK(zstzPropIter_next_5_1(keys, &rc) == 0 && rc == ZPROP_BAD_ARGUMENT,
                           "a closed iterator moved, rc %u", rc);
            }
            if (closed.size() > each) {
                closed.erase(closed.begin(), closed.begin() + each);
                closedIterators.erase(closedIterators.begin(), closedIterators.begin() + each);
            }
            if (i == 0) word(isLast) = over();
            barrier(threads);
            last = word(isLast);
            barrier(threads);
        }
    });
}

}  // namespace

std::vector<Scenario> load::fileScenarios() {
    return {
        {"loads-and-a-store", loadAndStore<false>, loadOrStore<false>, loadFigures},
        {"stores",
         storeWholeTexts,
         storeMeanwhile,
         {"texts compared", "texts stored", "?stores refused as busy"}},
        {"obfuscated", loadAndStore<true>, loadOrStore<true>, loadFigures},
        {"instances", instances, loadOrStore<true>, loadFigures},
        {"shared-reloads",
         reloadShared,
         loadOrStore<true>,
         {"reloads asked for", "texts stored", "?reloads refused as busy",
          "?stores refused as busy"}},
        {"keys-of-threads", keysOfThreads, nullptr, {"changes", "gets", "stores", "loads"}},
        {"iterators", iteratorsAndGetters, nullptr, {"iterators", "getters"}},
        {"c-handles", handles, nullptr, {"handles opened and closed", "uses of closed ones"}},
    };
}
