// load: Z under concurrent threads and processes, for as long as one likes.
//     fault_load [SECONDS [SCENARIO [CYCLES]]]
//     setarch $(uname -m) -R fault_load ...      where it is built with the thread sanitizer
// Runs each scenario for so many seconds (2), or one alone, and prints what was done and checked in
// figures. CYCLES is for lock-file-counter, which then runs until so many holds were taken. Ends
// with 1 and a message when a promise of the library is broken, when the library reports anything
// on its own, or when nothing happens any more for a minute.
//
//   files (load_files.cpp)      one file among threads and processes: each load sees one whole
//                               text, with its obfuscated values, or fails at once; nothing set
//                               is lost
//   locks (load_locks.cpp)      mutual exclusion told by counters that are not atomic; lock files
//                               among processes that are killed and threads that get signals
//   threads (load_threads.cpp)  observers, sleepers and pools: every call is told to its end
//
// Other processes are this program again, started anew: a process with threads cannot just fork.
// They share the figures through a mapped file, and die with the one that was started by hand.
#include "load.h"

#include <Z/ZException.h>
#include <Z/ZMessage.h>
#include <fcntl.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <thread>

namespace load {

namespace {

constexpr unsigned patience = 60;  // seconds
constexpr unsigned mostFigures = 8;
constexpr unsigned mostWords = 64;

// In memory that all processes of a scenario have mapped.
struct Shared {
    std::atomic<std::uint64_t> figures[mostFigures];
    std::atomic<std::uint32_t> words[mostWords];
    std::atomic<std::uint32_t> arrived, rounds;  // at the barrier
};

using Clock = std::chrono::steady_clock;

std::atomic<Scenario const*> current{nullptr};
Clock::time_point end;
std::string folder, secondsText = "2", cyclesText = "0";
std::atomic<Shared*> shared{nullptr};
std::vector<pid_t> processes;

// The library must have nothing to report.
struct Alarm : ZDefaultMessageService_5_1 {
    void outputException(ZZException_5_1 const* exception, char* args) const override {
        ZDefaultMessageService_5_1::outputException(exception, args);
        fail("the library reported this exception");
    }
    void outputException(ZException_5_1& exception) const override {
        ZDefaultMessageService_5_1::outputException(exception);
        fail("the library reported this exception");
    }
    void outputMessage(char const* file, int line, int code, int inserts, ZLCString_5_1 const* s1,
                       ZLCString_5_1 const* s2, ZLCString_5_1 const* s3, ZLCString_5_1 const* s4,
                       ZLCString_5_1 const* s5, ZLCString_5_1 const* s6) const override {
        ZDefaultMessageService_5_1::outputMessage(file, line, code, inserts, s1, s2, s3, s4, s5,
                                                  s6);
        fail("the library reported this failure");
    }
};

void guarded(std::function<void()> const& body) {
    try {
        body();
    } catch (ZException_5_1& e) {
        e.dumpException();
        fail("this exception of class %s came", typeid(e).name());
    } catch (std::exception& e) {
        fail("%s", e.what());
    }
}

void attach() {
    int const file = open(path("shared").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file == -1 || ftruncate(file, sizeof(Shared)) != 0) fail("no file for the figures");
    void* const memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (memory == MAP_FAILED) fail("no memory for the figures");
    shared = static_cast<Shared*>(memory);
}

std::uint64_t allFigures() {
    std::uint64_t sum = 0;
    for (auto const& each : shared.load()->figures) sum += each.load(std::memory_order_relaxed);
    return sum;
}

void watch() {
    std::uint64_t last = 0;
    for (unsigned still = 0; still < patience; ++still) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
        std::uint64_t const now = shared.load() ? allFigures() : 0;
        if (now != last) still = 0;
        last = now;
    }
    fail("nothing has happened for %u seconds", patience);
}

void forget(pid_t process) {
    processes.erase(std::remove(processes.begin(), processes.end(), process), processes.end());
}

void runScenario(Scenario const& scenario, std::string const& parent) {
    current = &scenario;
    folder = parent + "/" + scenario.name;
    std::filesystem::create_directory(folder);
    attach();
    auto const start = Clock::now();
    end = start + std::chrono::milliseconds(static_cast<long>(std::stod(secondsText) * 1000));
    guarded(scenario.run);
    std::chrono::duration<double> const took = Clock::now() - start;
    std::printf("%-24s", scenario.name);
    for (unsigned i = 0; i < scenario.figures.size(); ++i) {
        std::printf(" %llu %s,", static_cast<unsigned long long>(figure(i)),
                    scenario.figures[i] + (scenario.figures[i][0] == '?'));
    }
    std::printf(" %.1f s\n", took.count());
    std::fflush(stdout);
    for (unsigned i = 0; i < scenario.figures.size(); ++i) {
        char const* const name = scenario.figures[i];
        if (figure(i) == 0 && name[0] != '?') fail("there were no %s", name);
    }
}

}  // namespace

bool over() {
    return Clock::now() >= end;
}

std::uint64_t cyclesAsked() {
    return std::stoull(cyclesText);
}

void count(unsigned figure, std::uint64_t by) {
    shared.load()->figures[figure].fetch_add(by, std::memory_order_relaxed);
}

std::uint64_t figure(unsigned figure) {
    return shared.load()->figures[figure].load(std::memory_order_relaxed);
}

std::atomic<std::uint32_t>& word(unsigned index) {
    return shared.load()->words[index];
}

void barrier(unsigned waiting) {
    Shared& all = *shared;
    std::uint32_t const round = all.rounds;
    if (++all.arrived == waiting) {
        all.arrived = 0;
        ++all.rounds;
    }
    while (all.rounds == round) std::this_thread::yield();
}

std::string path(char const* name) {
    return folder + "/" + name;
}

void fail(char const* format, ...) {
    char text[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    Scenario const* const scenario = current;
    std::fflush(stdout);
    std::fprintf(stderr, "fault_load: %s: %s (its files are in %s)\n",
                 scenario ? scenario->name : "start", text, folder.c_str());
    std::_Exit(1);
}

void inThreads(unsigned threads, std::function<void(unsigned)> const& body) {
    std::vector<std::thread> all;
    for (unsigned i = 0; i < threads; ++i) {
        all.emplace_back([&body, i] { guarded([&] { body(i); }); });
    }
    for (std::thread& each : all) each.join();
}

pid_t startProcess(unsigned number) {
    std::string words[] = {
        "fault_load", "--process", current.load()->name,   folder,
        secondsText,  cyclesText,  std::to_string(number), std::to_string(getpid())};
    char* arguments[std::size(words) + 1] = {};
    for (unsigned i = 0; i < std::size(words); ++i) arguments[i] = words[i].data();
    pid_t process;
    if (posix_spawn(&process, "/proc/self/exe", nullptr, nullptr, arguments, environ) != 0) {
        fail("no process");
    }
    processes.push_back(process);
    return process;
}

void killProcess(pid_t process) {
    kill(process, SIGKILL);
    int status = 0;
    waitpid(process, &status, 0);
    if (!WIFSIGNALED(status)) fail("process %d had ended with %d", process, status);
    forget(process);
}

void joinProcesses() {
    while (!processes.empty()) {
        int status = 0;
        pid_t const process = waitpid(-1, &status, 0);
        forget(process);
        if (status == 0) continue;
        fail(WIFSIGNALED(status) ? "a process was ended by signal %d" : "a process ended with %d",
             WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status));
    }
}

void pause(Random& random, unsigned most) {
    usleep(static_cast<useconds_t>(random() % (most + 1)));
}

void until(std::function<bool()> const& holds) {
    while (!holds()) usleep(20);
}

}  // namespace load

int main(int count, char** arguments) {
    using namespace load;
    ZMessageService_5_1::setMessageService(new Alarm);
    std::vector<Scenario> scenarios = fileScenarios();
    for (auto const& more : {lockScenarios(), threadScenarios()}) {
        scenarios.insert(scenarios.end(), more.begin(), more.end());
    }
    std::vector<std::string> const words(arguments + 1, arguments + count);
    if (!words.empty() && words[0] == "--process") {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != std::stoi(words[6])) return 0;
        for (auto const& each : scenarios) {
            if (each.name == words[1]) current = &each;
        }
        folder = words[2], secondsText = words[3], cyclesText = words[4];
        end = Clock::now() +
              std::chrono::milliseconds(static_cast<long>(std::stod(secondsText) * 1000));
        attach();
        guarded([&] { current.load()->process(static_cast<unsigned>(std::stoul(words[5]))); });
        return 0;
    }
    if (!words.empty()) secondsText = words[0];
    if (words.size() > 2) cyclesText = words[2];
    char inMemory[] = "/dev/shm/z-load-XXXXXX", onDisk[] = "/tmp/z-load-XXXXXX";
    char const* const parent = mkdtemp(inMemory) ? inMemory : mkdtemp(onDisk);
    if (!parent) fail("no folder");
    std::thread(watch).detach();
    unsigned ran = 0;
    for (auto const& each : scenarios) {
        if (words.size() > 1 && words[1] != each.name) continue;
        runScenario(each, parent);
        ++ran;
    }
    std::filesystem::remove_all(parent);
    if (ran == 0) fail("there is no such scenario");
    std::printf("%u scenarios: nothing broken\n", ran);
    return 0;
}
