// properties_bench: configuration files: load, get, set, delete, store and the check for changes.
//
// Each work is one template over the classes of properties_peers.h, which say what each peer leaves
// out. Times are of one round of the work: one load, one get, 1,000 new keys. A round that needs a
// freshly loaded file loads it outside the time.
#include <limits.h>
#include <malloc.h>
#include <sys/stat.h>

#include <QSettings>
#include <QString>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <map>
#include <memory>
#include <thread>
#include <type_traits>

#include "bench.h"
#include "properties_peers.h"
#include "sample_files.h"

namespace {

using namespace bench;
using benchmark::DoNotOptimize;
using benchmark::State;

// ---- load, close, store ----

template <class File>
void load(State& state, SampleFile const& sample) {
    for (auto _ : state) {
        std::unique_ptr<File> file;
        timed(state, [&] {
            file = std::make_unique<File>();
            file->load(sample.path);
        });
    }
    countEach(state, "ns_per_key", sample.keyCount);
}

// What it costs to be rid of a loaded file.
template <class File>
void close(State& state, SampleFile const& sample) {
    for (auto _ : state) {
        auto file = std::make_unique<File>();
        file->load(sample.path);
        timed(state, [&] { file.reset(); });
    }
}

// Every store follows a change, in place over the same file. Comments are written by Z and
// GKeyFile, and in part by SimpleIni.
template <class File>
void store(State& state, SampleFile const& sample) {
    File file;
    file.load(sample.path);
    std::size_t turn = 0;
    for (auto _ : state) {
        Name const& name = sample.some[turn++ % sample.some.size()];
        file.set(name.stanza, name.key, turn % 2 != 0 ? "another value" : name.value);
        timed(state, [&] { file.store(sample.path2); });
    }
    countEach(state, "ns_per_key", sample.keyCount);
}

// What an administrator's command does: load, set one key, store.
template <class File>
void changeOne(State& state, SampleFile const& sample) {
    std::size_t turn = 0;
    for (auto _ : state) {
        Name const& name = sample.some[turn++ % sample.some.size()];
        File file;
        file.load(sample.path);
        file.set(name.stanza, name.key, "another value");
        file.store(sample.path2);
    }
}

// ---- get ----

// Loaded once and not changed afterwards; all values were compared with those of the sample.
template <class File>
File& loaded(SampleFile const& sample) {
    static std::map<std::string, File> files;
    auto place = files.try_emplace(sample.path);
    File& file = place.first->second;
    if (place.second) {
        file.load(sample.path);
        for (Name const& name : sample.all) {
            require(name.value == file.text(name.stanza, name.key), "a value differs");
        }
        for (Name const& name : sample.integers) {
            require(std::stol(name.value) == file.integer(name.stanza, name.key), "an integer");
        }
        for (Name const& name : sample.booleans) {
            require((name.value == "true") == file.boolean(name.stanza, name.key), "a boolean");
        }
    }
    return file;
}

// Goes through `names` round and round.
template <class Get>
void getEach(State& state, std::vector<Name> const& names, Get get) {
    std::size_t next = 0;
    for (auto _ : state) {
        Name const& name = names[next];
        DoNotOptimize(get(name));
        if (++next == names.size()) next = 0;
    }
}

template <class File>
void getText(State& state, SampleFile const& sample) {
    File& file = loaded<File>(sample);
    getEach(state, sample.texts, [&](Name const& n) { return file.text(n.stanza, n.key); });
}

// The cheapest copy that GKeyFile offers.
void getRawText(State& state, SampleFile const& sample) {
    GKeyFileFile& file = loaded<GKeyFileFile>(sample);
    getEach(state, sample.texts, [&](Name const& n) { return file.rawText(n.stanza, n.key); });
}

template <class File>
void getInteger(State& state, SampleFile const& sample) {
    File& file = loaded<File>(sample);
    getEach(state, sample.integers, [&](Name const& n) { return file.integer(n.stanza, n.key); });
}

template <class File>
void getBoolean(State& state, SampleFile const& sample) {
    File& file = loaded<File>(sample);
    getEach(state, sample.booleans, [&](Name const& n) { return file.boolean(n.stanza, n.key); });
}

template <class File>
void getMissing(State& state, SampleFile const& sample) {
    File& file = loaded<File>(sample);
    getEach(state, sample.fresh, [&](Name const& n) { return file.text(n.stanza, n.key); });
}

// ---- the C interface ----

template <class File>
void getBatch(State& state, SampleFile const& sample) {
    File& file = loaded<File>(sample);
    std::size_t size = std::min<std::size_t>(32, sample.texts.size());
    std::vector<Name> names(sample.texts.begin(),
                            sample.texts.begin() + static_cast<std::ptrdiff_t>(size));
    for (auto _ : state) file.batch(names);
    countEach(state, "ns_per_text", static_cast<double>(size));
}

// ---- set, delete ----

template <class File>
void setExisting(State& state, SampleFile const& sample) {
    File file;
    file.load(sample.path);
    std::size_t next = 0;
    for (auto _ : state) {
        Name const& name = sample.texts[next];
        if (++next == sample.texts.size()) next = 0;
        file.set(name.stanza, name.key, sample.texts[next].value);
        benchmark::ClobberMemory();
    }
}

template <class File>
void setNew(State& state, SampleFile const& sample) {
    for (auto _ : state) {
        File file;
        file.load(sample.path);
        timed(state, [&] {
            for (Name const& name : sample.fresh) file.set(name.stanza, name.key, name.value);
        });
        require(sample.fresh.back().value ==
                    file.text(sample.fresh.back().stanza, sample.fresh.back().key),
                "a new key is missing");
    }
}

template <class File>
void eraseEach(State& state, SampleFile const& sample, std::vector<Name> const& names) {
    for (auto _ : state) {
        File file;
        file.load(sample.path);
        timed(state, [&] {
            for (Name const& name : names) file.erase(name.stanza, name.key);
        });
        require(*file.text(names.back().stanza, names.back().key) == 0, "a deleted key is there");
    }
    countEach(state, "ns_per_key", static_cast<double>(names.size()));
}

template <class File>
void eraseSome(State& state, SampleFile const& sample) {
    eraseEach<File>(state, sample, sample.some);
}

// In file order.
template <class File>
void eraseAll(State& state, SampleFile const& sample) {
    eraseEach<File>(state, sample, sample.all);
}

// One stanza with all its keys.
template <class File>
void eraseStanza(State& state, SampleFile const& sample) {
    Name const& first = sample.all.front();
    for (auto _ : state) {
        File file;
        file.load(sample.path);
        timed(state, [&] { file.eraseStanza(first.stanza); });
        require(*file.text(first.stanza, first.key) == 0, "a deleted stanza is there");
    }
}

// ---- two threads, each on a file of its own ----

void getTexts(ZFile& file, SampleFile const& sample, std::size_t rounds) {
    for (std::size_t i = 0; i < rounds; ++i) {
        Name const& name = sample.texts[i % sample.texts.size()];
        DoNotOptimize(file.text(name.stanza, name.key));
    }
}

void setTexts(ZFile& file, SampleFile const& sample, std::size_t rounds) {
    for (std::size_t i = 0; i < rounds; ++i) {
        Name const& name = sample.texts[i % sample.texts.size()];
        file.set(name.stanza, name.key, sample.texts[(i + 1) % sample.texts.size()].value);
    }
}

double median(std::vector<double> values) {
    auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// Seconds that `count` threads take for `rounds` each, from the first that begins to the last that
// is done.
template <class Work>
double timeOfThreads(std::vector<std::unique_ptr<ZFile>>& files, std::size_t count, Work work) {
    using Clock = std::chrono::steady_clock;
    std::vector<Clock::time_point> begun(count), done(count);
    std::vector<std::thread> threads;
    std::atomic<std::size_t> ready{0};
    for (std::size_t i = 0; i < count; ++i) {
        threads.emplace_back([&, i] {
            ++ready;
            while (ready < count) std::this_thread::yield();
            begun[i] = Clock::now();
            work(*files[i]);
            done[i] = Clock::now();
        });
    }
    for (std::thread& thread : threads) thread.join();
    std::chrono::duration<double> const taken =
        *std::max_element(done.begin(), done.end()) - *std::min_element(begun.begin(), begun.end());
    return taken.count();
}

// One thread and two take turns, so that both meet the same machine. The time is that of two, for
// one operation of each; speed_up is what two get done in the time of one, 2 at best.
template <class Work>
void parallel(State& state, SampleFile const& sample, Work work) {
    constexpr std::size_t rounds = 100000;
    std::vector<std::unique_ptr<ZFile>> files;
    for (int i = 0; i < 2; ++i) {
        files.push_back(std::make_unique<ZFile>());
        files.back()->load(sample.path);
        work(*files.back(), sample, rounds);
    }
    std::vector<double> one, two;
    for (auto _ : state) {
        auto const all = [&](ZFile& file) { work(file, sample, rounds); };
        one.push_back(timeOfThreads(files, 1, all));
        two.push_back(timeOfThreads(files, 2, all));
        state.SetIterationTime(two.back() / rounds);
    }
    state.counters["speed_up"] = 2 * median(one) / median(two);
}

// ---- the check for changes ----

// Asks for the shared instance of a file that did not change since it was loaded. QSettings alone
// has such a check too: to be up to date the other peers have to load again.
void check(State& state, SampleFile const& sample) {
    ZAbstractPropertiesFactory_5_1& factory = ZStanzaFileProperties_5_1::getFactory();
    char const* path = sample.path.c_str();
    ZProperties_5_1* shared = ZProperties_5_1::getPropertiesFor(path, factory, 0);
    for (auto _ : state) {
        bool same = ZProperties_5_1::getPropertiesFor(path, factory, 0) == shared;
        if (!same) return state.SkipWithError("another instance");
    }
}

void checkAndGet(State& state, SampleFile const& sample) {
    ZAbstractPropertiesFactory_5_1& factory = ZStanzaFileProperties_5_1::getFactory();
    char const* path = sample.path.c_str();
    Name const& name = sample.all.front();
    ZLCString_5_1 text;
    for (auto _ : state) {
        ZProperties_5_1* shared = ZProperties_5_1::getPropertiesFor(path, factory, 0);
        shared->getValue(name.stanza.c_str(), name.key.c_str(), text, 1, nullptr);
        DoNotOptimize(text.getChars());
    }
    require(name.value == text.getChars(), "a value differs");
}

// An object for a file that the process has parsed before: it asks for the file's time and size.
// One object stays open, since of files that nobody has open only small ones are kept. The names
// are made before.
void checkQSettings(State& state, SampleFile const& sample, bool get) {
    QString const path = QString::fromStdString(sample.path);
    Name const& name = sample.all.front();
    QString const key = QString::fromStdString(name.stanza + '/' + name.key);
    QSettings const kept(path, QSettings::IniFormat);
    require(kept.value(key).toString().toStdString() == name.value, "a value differs");
    for (auto _ : state) {
        QSettings file(path, QSettings::IniFormat);
        DoNotOptimize(&file);
        if (get) DoNotOptimize(file.value(key).toString().utf16());
    }
}

template <class File>
void reopen(State& state, SampleFile const& sample) {
    for (auto _ : state) {
        File file;
        file.load(sample.path);
        DoNotOptimize(&file);
    }
}

// The least that a check can cost.
void onlyStat(State& state, SampleFile const& sample) {
    for (auto _ : state) {
        struct stat status;
        DoNotOptimize(stat(sample.path.c_str(), &status));
    }
}

// ---- heap ----

// Memory in use by the allocator's own count, large blocks that it maps by themselves included.
std::size_t heapInUse() {
    struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// Prints the heap that a loaded file holds, the heap it holds after every value was read once, and
// the seconds that the load took.
template <class File>
void measureHeap(SampleFile const& sample) {
    File first;  // makes what is made once in a process
    std::size_t before = heapInUse();
    auto start = std::chrono::steady_clock::now();
    auto file = std::make_unique<File>();
    file->load(sample.path);
    std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    std::size_t afterLoad = heapInUse() - before;
    std::size_t length = 0;
    for (Name const& name : sample.all) length += std::strlen(file->text(name.stanza, name.key));
    DoNotOptimize(length);
    std::printf("%zu %zu %.9f\n", afterLoad, heapInUse() - before, taken.count());
}

std::string ownProgram() {
    std::string program(PATH_MAX, '\0');
    ssize_t length = readlink("/proc/self/exe", program.data(), program.size());
    require(length > 0, "readlink");
    program.resize(static_cast<std::size_t>(length));
    return program;
}

// In a process of its own, so that nothing an earlier run left behind hides a part. The time is
// that of the first load in that process.
template <class File>
void heap(State& state, SampleFile const& sample) {
    std::string command = "'" + ownProgram() + "' --heap " + File::who + ' ' + sample.size;
    std::size_t afterLoad = 0;
    std::size_t afterReading = 0;
    for (auto _ : state) {
        double seconds = 0;
        FILE* answer = popen(command.c_str(), "r");
        require(answer != nullptr, "popen");
        int read = std::fscanf(answer, "%zu %zu %lf", &afterLoad, &afterReading, &seconds);
        require(pclose(answer) == 0 && read == 3, "no answer about the heap");
        state.SetIterationTime(seconds);
    }
    state.counters["bytes_per_key"] = static_cast<double>(afterLoad) / sample.keyCount;
    state.counters["bytes_per_key_once_read"] = static_cast<double>(afterReading) / sample.keyCount;
}

template <class File>
bool answersHeap(std::string const& who, std::string const& size) {
    if (who != File::who) return false;
    for (SampleFile const& sample : sampleFiles()) {
        if (sample.size == size) measureHeap<File>(sample);
    }
    return true;
}

// ---- registration ----

typedef void Work(State&, SampleFile const&);

benchmark::internal::Benchmark* addWork(char const* work, char const* who, SampleFile const& sample,
                                        Work* body) {
    return add(work, who, sample.size, [&sample, body](State& state) { body(state, sample); });
}

// A round that takes a fresh file each time is repeated as often as suits the file.
void fewRounds(benchmark::internal::Benchmark* benchmark, SampleFile const& sample) {
    benchmark->UseManualTime()->Iterations(sample.keyCount < 1000    ? 200
                                           : sample.keyCount < 50000 ? 20
                                                                     : 4);
}

template <class File>
constexpr bool changes = !std::is_same_v<File, InihFile>;

template <class File>
void addAll(SampleFile const& sample) {
    char const* who = File::who;
    addWork("load/comments_kept", who, sample, load<File>)->UseManualTime();
    fewRounds(addWork("load/close", who, sample, close<File>), sample);
    addWork("get/string", who, sample, getText<File>);
    addWork("get/integer", who, sample, getInteger<File>);
    addWork("get/boolean", who, sample, getBoolean<File>);
    addWork("get/missing", who, sample, getMissing<File>);
    bool hasCheck = std::is_same_v<File, ZFile>;
    addWork("heap/first_load", who, sample, heap<File>)->UseManualTime()->Iterations(1);
    addWork("reload/unchanged", hasCheck ? "Z_reopened" : who, sample, reopen<File>);
    if constexpr (changes<File>) {
        addWork("set/existing", who, sample, setExisting<File>);
        fewRounds(addWork("set/1000_new", who, sample, setNew<File>), sample);
        // GKeyFile searches a stanza's keys one by one to delete one, the last in the file first:
        // 1,000 of 100,000 take it more than a second, so it has one round; all of them would take
        // minutes, so that is left out.
        bool slow = std::is_same_v<File, GKeyFileFile> && sample.size == "1x100000";
        auto* erase = addWork("delete/up_to_1000", who, sample, eraseSome<File>);
        fewRounds(erase, sample);
        if (slow) erase->Iterations(1);
        if (!slow) fewRounds(addWork("delete/all", who, sample, eraseAll<File>), sample);
        if (sample.size == "1x100000") {
            fewRounds(addWork("delete/stanza", who, sample, eraseStanza<File>), sample);
        }
        addWork("store/after_a_change", who, sample, store<File>)->UseManualTime();
        addWork("store/load_set_one_store", who, sample, changeOne<File>);
    }
}

// Z is the interface in C, the peers what it calls.
void addGetters(SampleFile const& sample) {
    addWork("c_interface/string", "Z", sample, getText<ZCFile>);
    addWork("c_interface/string", "C++", sample, getText<ZFreshFile>);
    addWork("c_interface/string", "C++_copied", sample, getText<ZCopiedFile>);
    addWork("c_interface/batch", "Z", sample, getBatch<ZCFile>);
    addWork("c_interface/batch", "C++", sample, getBatch<ZFreshFile>);
    addWork("c_interface/batch", "C++_copied", sample, getBatch<ZCopiedFile>);
    addWork("c_interface/integer", "Z", sample, getInteger<ZCFile>);
    addWork("c_interface/integer", "C++", sample, getInteger<ZFreshFile>);
    addWork("c_interface/boolean", "Z", sample, getBoolean<ZCFile>);
    addWork("c_interface/boolean", "C++", sample, getBoolean<ZFreshFile>);
}

void addAll() {
    for (SampleFile const& sample : sampleFiles()) {
        addAll<ZFile>(sample);
        addAll<GKeyFileFile>(sample);
        addAll<InihFile>(sample);
        addAll<SimpleIniFile>(sample);
        addAll<PropertyTreeFile>(sample);
        addWork("get/string", "GKeyFile_raw", sample, getRawText);
        addWork("reload/unchanged", "Z", sample, check);
        addWork("reload/unchanged", "stat", sample, onlyStat);
        addWork("reload/unchanged_and_get", "Z", sample, checkAndGet);
        addWork("reload/unchanged", "QSettings", sample,
                [](State& state, SampleFile const& file) { checkQSettings(state, file, false); });
        addWork("reload/unchanged_and_get", "QSettings", sample,
                [](State& state, SampleFile const& file) { checkQSettings(state, file, true); });
        addWork("parallel/get_string", "Z", sample,
                [](State& state, SampleFile const& file) { parallel(state, file, getTexts); })
            ->UseManualTime()
            ->Iterations(15);
        addWork("parallel/set_existing", "Z", sample,
                [](State& state, SampleFile const& file) { parallel(state, file, setTexts); })
            ->UseManualTime()
            ->Iterations(15);
        addGetters(sample);
    }
}

}  // namespace

int main(int argc, char** argv) {
    bench::prepare();
    if (argc == 4 && std::strcmp(argv[1], "--heap") == 0) {
        std::string who = argv[2];
        std::string size = argv[3];
        bool known = answersHeap<ZFile>(who, size) || answersHeap<GKeyFileFile>(who, size) ||
                     answersHeap<InihFile>(who, size) || answersHeap<SimpleIniFile>(who, size) ||
                     answersHeap<PropertyTreeFile>(who, size);
        return known ? 0 : 1;
    }
    addAll();
    return bench::run(argc, argv);
}
