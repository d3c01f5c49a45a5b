// load: what the scenarios of the campaign share. load.cpp says what it shows and how it is run.
#ifndef Z_FAULTS_LOAD_H
#define Z_FAULTS_LOAD_H

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace load {

struct Scenario {
    char const* name;
    void (*run)();              // in the process that was started by hand
    void (*process)(unsigned);  // in each of the others, with its number
    // What count() counts. All of it must have happened, but for names that begin with "?".
    std::vector<char const*> figures;
};

std::vector<Scenario> fileScenarios();
std::vector<Scenario> lockScenarios();
std::vector<Scenario> threadScenarios();

// ---- of the scenario that runs, in all its processes ----

// Whether its seconds have passed.
bool over();
// How many lock-file cycles were asked for in place of seconds, or 0.
std::uint64_t cyclesAsked();
// While any figure rises the scenario does not stand still.
void count(unsigned figure, std::uint64_t by = 1);
std::uint64_t figure(unsigned figure);
// Numbers of the scenario's own, 0 at first.
std::atomic<std::uint32_t>& word(unsigned index);
// Waits for so many processes.
void barrier(unsigned processes);
// A name in the scenario's folder.
std::string path(char const* name);

// Ends everything with the scenario's name and the message.
[[noreturn]] void fail(char const* format, ...) __attribute__((format(printf, 1, 2)));
#define LOAD_CHECK(condition, ...) \
    (static_cast<bool>(condition) ? static_cast<void>(0) : load::fail(__VA_ARGS__))

// ---- other threads and processes ----

// Runs `body` in so many threads at once, each with its number from 0. No exception may leave it.
void inThreads(unsigned threads, std::function<void(unsigned)> const& body);

// Processes are new ones of this program, which has threads already. The main thread starts them.
pid_t startProcess(unsigned number);
void killProcess(pid_t process);
// All have ended, and well.
void joinProcesses();

using Random = std::minstd_rand;
inline Random seeded(unsigned number) {
    return Random(number + 1);
}
// Up to so many microseconds.
void pause(Random& random, unsigned most);
// Waits for `holds`; the watchdog ends a wait without end.
void until(std::function<bool()> const& holds);

}  // namespace load

#endif
