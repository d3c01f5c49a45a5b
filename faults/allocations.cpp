// fault_allocations [FAILURES [SCENARIO]]: every allocation of every scenario fails once.
//
// malloc and its kin are replaced. For n = 1, 2, 3 ... the n-th allocation that a scenario's act
// makes on its thread fails: alone ("once") or with all later ones ("lasting"), until an act passes
// without failure. Each is seen twice: as the first use in a process, which makes what is made once
// and kept, and in a process where all that has been made. The text services are started before,
// but for the scenario that starts them. Then come FAILURES (none in the short form) acts,
// shared by all scenarios, in which allocations fail in random places, alike at every call.
//
// Held after every act: it was done, or it failed by std::bad_alloc, by the exception with code 1
// or as the scenario allows; it left what the scenario says; repeated with memory at hand it does
// what it should; no block and no descriptor is lost, and no process crashes or hangs.
#include "Allocations.h"

#include <Z/ZException.h>
#include <Z/ztisutil.h>
#include <dirent.h>
#include <fcntl.h>
#include <netdb.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <new>
#include <set>

namespace {

// ---- which allocations fail ----

enum Shortage : int { never, once, lasting, scattered };
constexpr char const* shortageNames[] = {"never", "once", "lasting", "scattered"};

// The n-th allocation, or what the seed n tells to refuse.
struct Plan {
    Shortage shortage = never;
    unsigned long n = 0;

    bool refuses(unsigned long number) const {
        if (shortage == once) return number == n;
        if (shortage == lasting) return number >= n;
        std::uint64_t const odds = 2 + n % 15;
        std::uint64_t const mixed = (number + n * 0x9E3779B97F4A7C15) * 0xBF58476D1CE4E5B9;
        return shortage == scattered && (mixed >> 32) % odds == 0;
    }
};

Plan plan;
std::atomic<long> liveBlocks{0};
thread_local bool armed = false;
thread_local unsigned long asked = 0, refused = 0;

bool isRefused() {
    if (!armed || !plan.refuses(++asked)) return false;
    ++refused;
    errno = ENOMEM;
    return true;
}

void* counted(void* block) {
    if (block) ++liveBlocks;
    return block;
}

}  // namespace

#define Z_REPLACED extern "C" __attribute__((visibility("default")))
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
}

// The C library's own strdup, reallocarray and open_memstream call these, as operator new does.
Z_REPLACED void* malloc(std::size_t size) {
    return isRefused() ? nullptr : counted(__libc_malloc(size));
}
Z_REPLACED void* calloc(std::size_t count, std::size_t size) {
    return isRefused() ? nullptr : counted(__libc_calloc(count, size));
}
Z_REPLACED void* realloc(void* block, std::size_t size) {
    if (isRefused()) return nullptr;
    void* const moved = __libc_realloc(block, size);
    liveBlocks += (moved ? 1 : 0) - (block && (moved || size == 0) ? 1 : 0);
    return moved;
}
Z_REPLACED void* memalign(std::size_t alignment, std::size_t size) {
    return isRefused() ? nullptr : counted(__libc_memalign(alignment, size));
}
Z_REPLACED void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return memalign(alignment, size);
}
Z_REPLACED int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
    void* const made = memalign(alignment, size);
    if (!made) return ENOMEM;
    *block = made;
    return 0;
}
Z_REPLACED void free(void* block) {
    if (block) --liveBlocks;
    __libc_free(block);
}

// ---- the trial's folder ----

namespace {

template <class Visit>
void forEachFile(Visit visit) {
    DIR* const folder = opendir(".");
    if (!folder) std::abort();
    while (dirent const* entry = readdir(folder)) {
        if (entry->d_type == DT_REG) visit(entry->d_name);
    }
    closedir(folder);
}

void emptyFolder() {
    forEachFile([](char const* name) { unlink(name); });
}

}  // namespace

void faults::put(char const* file, std::string const& content) {
    int const fd = open(file, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (write(fd, content.data(), content.size()) != static_cast<ssize_t>(content.size()))
        std::abort();
    close(fd);
}

std::string faults::files() {
    std::set<std::string> all;
    forEachFile([&](char const* name) {
        std::ifstream in(name, std::ios::binary);
        std::string const content((std::istreambuf_iterator<char>(in)), {});
        if (!content.empty()) all.insert(std::string(name) + ":\n" + content + "\n");
    });
    std::string whole;
    for (std::string const& file : all) whole += file;
    return whole;
}

// ---- what came out ----

namespace {

using namespace faults;

enum : int {
    done = 0,
    outOfMemory = 1,  // the code of that exception
    badAlloc = 1000,
    otherException,
    processEnded,
    noCodesets  // a start of the text services is not tried twice
};

// In memory that all processes share.
struct Shared {
    struct Outcome {
        int code;
        long count;
    } outcomes[24];
    long acts;
    long refusals;
    std::size_t variant;  // under way, as the next two
    bool first;
    Plan plan;
    int code;  // of the act when nothing fails, and what can be seen before, after, after a second
    char before[1 << 18], after[1 << 18], afterTwo[1 << 18];
    char codesets[80];
    long blocks;       // kept after several first uses
    char broken[800];  // the promise, empty: none
};
Shared* shared;

bool noted(int code) {
    if (shared->plan.shortage == never) return false;
    ++shared->acts;
    shared->refusals += static_cast<long>(refused);
    for (Shared::Outcome& outcome : shared->outcomes) {
        if (outcome.count && outcome.code != code) continue;
        outcome.code = code;
        ++outcome.count;
        return true;
    }
    return true;
}

struct Broken {};

void require(bool holds, char const* promise, std::string const& found = "",
             std::string const& expected = "") {
    if (holds) return;
    auto const difference =
        std::mismatch(found.begin(), found.end(), expected.begin(), expected.end());
    auto const same = static_cast<std::size_t>(difference.first - found.begin());
    std::size_t const from = same - std::min<std::size_t>(same, 40);
    std::snprintf(shared->broken, sizeof shared->broken, "%s\n found:    %.200s\n expected: %.200s",
                  promise, found.c_str() + from, expected.c_str() + from);
    std::replace(shared->broken, shared->broken + std::strlen(shared->broken), '\n', '|');
    throw Broken();
}

// Runs `act` as the plan says and gives its code.
int attempt(std::function<int()> const& act, Plan const& failing = Plan()) {
    struct Disarm {
        ~Disarm() { armed = false; }
    };
    plan = failing;
    asked = refused = 0;
    try {
        Disarm const atEnd;
        armed = failing.shortage != never;
        return act();
    } catch (std::bad_alloc&) {
        return badAlloc;
    } catch (ZException_5_1& e) {
        return static_cast<int>(e.code());
    } catch (...) {
        return otherException;
    }
}

using Make = std::function<Trial()>;

// Without NULs, so that it is kept as it is.
std::string stateOf(Trial const& trial) {
    std::string state = trial.state();
    std::replace(state.begin(), state.end(), '\0', '0');
    return state;
}

// What the process has got.
std::string codesets() {
    char const* const locale =
        zgetLCSHandle_5_1() && zgetUTF8Handle_5_1() ? zgetlocale_5_1() : nullptr;
    return locale ? locale : "";
}

// One trial and its repetition. Whether the plan refused anything.
bool tried(Scenario const& scenario, Make const& make, Plan const& failing) {
    shared->plan = failing;
    alarm(20);
    emptyFolder();
    std::unique_ptr<Trial> trial(shared->first ? nullptr : new Trial(make()));
    auto const act = [&] {
        if (!trial) trial = std::make_unique<Trial>(make());
        return trial->act();
    };
    int const code = attempt(act, failing);
    unsigned long const refusals = refused;
    if (failing.shortage != never && refusals == 0) return false;

    bool const whole = code == shared->code;
    auto const isAmong = [&](std::vector<int> const& failures) {
        return std::find(failures.begin(), failures.end(), code) != failures.end();
    };
    require(whole || code == badAlloc || code == outOfMemory || isAmong(scenario.failures) ||
                (shared->first && isAmong(scenario.failuresToMake)),
            "it fails as stated", std::to_string(code), std::to_string(shared->code));
    if (codesets() != shared->codesets) {
        require(scenario.startsCodesets, "the codesets stay");
        return noted(noCodesets);
    }
    std::string const left = trial ? stateOf(*trial) : shared->before;
    bool const isNew = left == shared->after;
    if (whole && scenario.left != Left::anything) {
        require(isNew, "it is done", left, shared->after);
    } else if (scenario.left == Left::oldOrNew) {
        require(isNew || left == shared->before, "it is done or not", left, shared->before);
    }
    bool const wasDone = isNew && scenario.left != Left::anything && left != shared->before;
    int const codeAgain = attempt(trial && trial->again ? trial->again : act);
    refused = refusals;
    require(codeAgain == shared->code, "it can be done again", std::to_string(codeAgain));
    char const* const expected = wasDone ? shared->afterTwo : shared->after;
    require(stateOf(*trial) == expected, "again it is done", stateOf(*trial), expected);
    return noted(code);
}

// What acts do when nothing fails.
void learn(Make const& make) {
    auto const keep = [](auto& place, std::string const& state) {
        require(state.size() < sizeof place, "states are short");
        std::memcpy(place, state.c_str(), state.size() + 1);
    };
    emptyFolder();
    Trial const trial = make();
    keep(shared->before, stateOf(trial));
    shared->code = attempt(trial.act);
    keep(shared->after, stateOf(trial));
    attempt(trial.again ? trial.again : trial.act);
    keep(shared->afterTwo, stateOf(trial));
    keep(shared->codesets, codesets());
}

// ---- the sweeps, each process for one variant ----

int nextDescriptor() {
    int const fd = dup(STDIN_FILENO);
    close(fd);
    return fd;
}

// A detached thread gives its blocks back some time after its work is seen to be done.
void awaitBlocks(long wanted, int milliseconds = 500) {
    for (; liveBlocks > wanted && milliseconds > 0; --milliseconds) usleep(1000);
}

// In a process where all that is made once has been made. What goes at every repetition is lost;
// what goes once is kept by somebody.
bool triedWarm(Scenario const& scenario, Make const& make, Plan const& failing) {
    for (int left = 4;; --left) {
        long const blocks = liveBlocks;
        int const descriptor = nextDescriptor();
        bool const some = tried(scenario, make, failing);
        if (left < 2) awaitBlocks(blocks);
        require(nextDescriptor() == descriptor, "no descriptor is lost");
        if (liveBlocks <= blocks) return some;
        require(left > 0, "no block is lost", std::to_string(liveBlocks - blocks));
    }
}

bool sweepWarm(Scenario const& scenario, Make const& make, long failures) {
    long blocks = -1;
    for (int same = 0, left = 3000; same < 5; --left) {
        require(left > 0, "acts do not keep blocks");
        tried(scenario, make, Plan());
        same = liveBlocks == blocks ? same + 1 : 0;
        blocks = liveBlocks;
    }
    for (Shortage shortage : {once, lasting}) {
        for (unsigned long n = 1; triedWarm(scenario, make, {shortage, n});) ++n;
    }
    for (unsigned long seed = 1, idle = 0; failures > 0 && idle < 100; ++seed) {
        idle = triedWarm(scenario, make, {scattered, seed}) ? 0 : idle + 1;
        failures -= idle == 0;
    }
    return true;
}

// The first use in a process, and two more.
bool triedFirst(Scenario const& scenario, Make const& make, Plan const& failing) {
    bool const isModel = failing.shortage == never;
    if (!scenario.startsCodesets) codesets();
    // Without memory for its start the C library's resolver keeps its own lock for good.
    gethostbyname("localhost");
    if (isModel) learn(make);
    bool const some = tried(scenario, make, failing);
    if (!some && !isModel) return false;
    for (int i = 0; i < 2; ++i) tried(scenario, make, Plan());
    shared->plan = failing;
    awaitBlocks(isModel ? 0 : shared->blocks, isModel ? 20 : 500);
    if (isModel) shared->blocks = liveBlocks + scenario.keptByLibrary;
    require(liveBlocks <= shared->blocks, "no block is lost", std::to_string(liveBlocks),
            std::to_string(shared->blocks));
    return true;
}

// Runs `body` in a process of its own. Whether that gave true.
bool inProcess(Scenario const& scenario, std::function<bool()> const& body) {
    pid_t const child = fork();
    if (child == 0) {
        int const nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
        dup2(nowhere, STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);
        try {
            _exit(body() ? 0 : 1);
        } catch (Broken&) {
            _exit(1);
        }
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status)) return WEXITSTATUS(status) == 0 && !*shared->broken;
    int const signal = WTERMSIG(status);
    bool const mayAbort =
        scenario.endsProcess || (scenario.endsScattered && shared->plan.shortage == scattered);
    if (signal == SIGABRT && mayAbort) return noted(processEnded);
    std::snprintf(shared->broken, sizeof shared->broken, "%s",
                  signal == SIGALRM ? "it ends" : strsignal(signal));
    return false;
}

void sweepFirst(Scenario const& scenario, Make const& make, unsigned long step) {
    shared->first = true;
    auto const some = [&](Plan const& failing) {
        shared->plan = failing;
        return inProcess(scenario, [&] { return triedFirst(scenario, make, failing); });
    };
    if (some(Plan())) {
        for (Shortage shortage : {once, lasting}) {
            unsigned long n = 1 + shared->variant % step;
            while (!*shared->broken && some({shortage, n})) n += step;
            if (*shared->broken) return;
        }
    }
    shared->first = *shared->broken;
}

// ---- scenarios ----

std::string nameOf(int code) {
    switch (code) {
        case done:
            return "done";
        case badAlloc:
            return "bad_alloc";
        case otherException:
            return "another exception";
        case processEnded:
            return "process ended";
        case noCodesets:
            return "no codesets from then on";
        default:
            return (code < 0 ? "returned " : "code ") + std::to_string(code);
    }
}

// True when all promises were kept.
bool run(Scenario const& scenario, long failures) {
    *shared = Shared();
    for (; shared->variant < scenario.variants.size() && !*shared->broken; ++shared->variant) {
        Make const& make = scenario.variants[shared->variant];
        sweepFirst(scenario, make, failures == 0 && !scenario.endsProcess ? 19 : 1);
        if (*shared->broken) break;
        long const share = failures / static_cast<long>(scenario.variants.size());
        if (scenario.endsProcess) continue;
        inProcess(scenario, [&] { return sweepWarm(scenario, make, share); });
        if (*shared->broken) break;
    }
    std::printf("%-24s %7ld", scenario.name.c_str(), shared->acts);
    for (Shared::Outcome const& outcome : shared->outcomes) {
        if (outcome.count) std::printf("  %s: %ld", nameOf(outcome.code).c_str(), outcome.count);
    }
    std::printf("\n");
    if (*shared->broken) {
        std::printf("BROKEN: %s, variant %zu%s, %s %lu: %s\n", scenario.name.c_str(),
                    shared->variant, shared->first ? ", first use" : "",
                    shortageNames[shared->plan.shortage], shared->plan.n, shared->broken);
    }
    std::fflush(stdout);
    return !*shared->broken;
}

}  // namespace

int main(int argc, char** argv) {
    long const failures = argc > 1 ? std::atol(argv[1]) : 0;
    std::string const wanted = argc > 2 ? argv[2] : "";
    setenv("TISDIR", "/", 0);
    setenv("LC_ALL", "C.UTF-8", 0);
    void* const memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    char folder[] = "/tmp/z_allocations.XXXXXX";
    if (memory == MAP_FAILED || !mkdtemp(folder) || chdir(folder) != 0) return 2;
    shared = new (memory) Shared();
    std::vector<Scenario> all;
    addStrings(all);
    addCollections(all);
    addProperties(all);
    addThreads(all);
    long acts = 0, refusals = 0, broken = 0;
    for (Scenario const& scenario : all) {
        if (scenario.name.find(wanted) == std::string::npos) continue;
        broken += !run(scenario, failures / static_cast<long>(all.size()));
        acts += shared->acts;
        refusals += shared->refusals;
    }
    std::printf("%ld acts with a failure, %ld allocations refused, %ld scenarios broken\n", acts,
                refusals, broken);
    emptyFolder();
    (void)!chdir("/");
    rmdir(folder);
    return broken ? 1 : 0;
}
