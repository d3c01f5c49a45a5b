// process_bench: whole programs that read one value of a small file, from their start to their end.
//
// The time is that from posix_spawn until the program is waited for. page_faults are those of the
// program without the disk (its files are in memory already), resident_KB the most memory that it
// had at once. relocations are the entries for the loader in the libraries that the program was
// made for; those in packed form, which need no name to be looked up, are counted apart.
#include <dlfcn.h>
#include <elf.h>
#include <limits.h>
#include <link.h>
#include <spawn.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench.h"
#include "sample_files.h"

namespace {

using benchmark::State;

void require(bool done, char const* what) {
    if (!done) throw std::runtime_error(what);
}

struct Program {
    char const* who;
    char const* path;
    std::vector<char const*> libraries;  // those that it was made for
    std::vector<char const*> further;    // those that these need
};

Program const programs[] = {
    {"Z", Z_PROCESS_Z, {Z_LIBRARY, Z_TIS_LIBRARY}, {"libz.so.1"}},
    {"INIReader", Z_PROCESS_INIREADER, {"libINIReader.so.0", "libinih.so.1"}, {}},
    {"GKeyFile", Z_PROCESS_GKEYFILE, {"libglib-2.0.so.0", "libpcre2-8.so.0"}, {}},
    {"nothing", Z_PROCESS_NOTHING, {}, {}},
};

link_map const& loaded(char const* library) {
    void* const handle = dlopen(library, RTLD_NOW);
    require(handle != nullptr, library);
    link_map* map = nullptr;
    require(dlinfo(handle, RTLD_DI_LINKMAP, &map) == 0, "dlinfo");
    return *map;
}

// Arguments and environment of a program, as exec takes them. The loader is told where the
// libraries are: it knows the folders of the peers' by heart, but would go through many for those
// of a build.
class Command {
public:
    explicit Command(Program const& program) {
        bench::SampleFile const& sample = bench::sampleFiles().front();
        bench::Name const& name = sample.all.back();
        words_ = {program.path, sample.path, name.stanza, name.key, name.value};
        for (std::string& word : words_) pointers_.push_back(word.data());
        pointers_.push_back(nullptr);
        for (auto const* list : {&program.libraries, &program.further}) {
            for (char const* library : *list) preload_ += loaded(library).l_name + std::string(":");
        }
        for (char** word = environ; *word != nullptr; ++word) environment_.push_back(*word);
        environment_.push_back(preload_.data());
        environment_.push_back(nullptr);
    }
    Command(Command const&) = delete;
    Command& operator=(Command const&) = delete;
    char* const* arguments() const { return pointers_.data(); }
    char* const* environment() const { return environment_.data(); }

private:
    std::vector<std::string> words_;
    std::string preload_ = "LD_PRELOAD=";
    std::vector<char*> pointers_, environment_;
};

int waitFor(pid_t pid, struct rusage* usage) {
    int status = 0;
    while (wait4(pid, &status, 0, usage) == -1) require(errno == EINTR, "wait4");
    return status;
}

// Stops the program at its end and asks how much memory it had: ru_maxrss would also count that of
// the process that started it.
double residentKilobytes(Command const& command) {
    pid_t const pid = fork();
    require(pid != -1, "fork");
    if (pid == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0) {
            execve(command.arguments()[0], command.arguments(), command.environment());
        }
        _exit(127);
    }
    require(WIFSTOPPED(waitFor(pid, nullptr)), "exec");
    long const options = PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL;
    require(ptrace(PTRACE_SETOPTIONS, pid, nullptr, options) == 0, "PTRACE_SETOPTIONS");
    require(ptrace(PTRACE_CONT, pid, nullptr, nullptr) == 0, "PTRACE_CONT");
    require(WIFSTOPPED(waitFor(pid, nullptr)), "the program did not reach its end");
    long kilobytes = 0;
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmHWM:", 0) == 0) std::sscanf(line.c_str(), "VmHWM: %ld", &kilobytes);
    }
    require(ptrace(PTRACE_CONT, pid, nullptr, nullptr) == 0, "PTRACE_CONT");
    waitFor(pid, nullptr);
    return static_cast<double>(kilobytes);
}

struct Relocations {
    double listed = 0, packed = 0;
};

// From the dynamic section, which the loader of this process has read already.
Relocations relocationsOf(std::vector<char const*> const& libraries) {
    Relocations found;
    for (char const* library : libraries) {
        link_map const* const map = &loaded(library);
        ElfW(Xword) bytes = 0, packedBytes = 0;
        ElfW(Addr) packed = 0;
        ElfW(Xword) each = sizeof(ElfW(Rela));
        for (ElfW(Dyn) const* entry = map->l_ld; entry->d_tag != DT_NULL; ++entry) {
            switch (entry->d_tag) {
                case DT_RELASZ:
                case DT_RELSZ:
                case DT_PLTRELSZ:
                    bytes += entry->d_un.d_val;
                    break;
                case DT_RELAENT:
                case DT_RELENT:
                    each = entry->d_un.d_val;
                    break;
                case DT_RELR:
                    packed = entry->d_un.d_ptr;
                    break;
                case DT_RELRSZ:
                    packedBytes = entry->d_un.d_val;
                    break;
                default:
                    break;
            }
        }
        found.listed += static_cast<double>(bytes / each);
        // An address is one relocation; in a word with the lowest bit set, each other bit is one.
        if (packed < map->l_addr) packed += map->l_addr;
        auto const* word = reinterpret_cast<ElfW(Addr) const*>(packed);
        for (std::size_t i = 0; i < packedBytes / sizeof *word; ++i) {
            found.packed += word[i] & 1 ? __builtin_popcountl(word[i]) - 1 : 1;
        }
    }
    return found;
}

void runProgram(State& state, Program const& program) {
    Command const command(program);
    double faults = 0;
    for (auto _ : state) {
        pid_t pid = -1;
        struct rusage usage = {};
        int status = posix_spawn(&pid, program.path, nullptr, nullptr, command.arguments(),
                                 command.environment());
        if (status == 0) status = waitFor(pid, &usage);
        if (status != 0) return state.SkipWithError("the program fails");
        faults += static_cast<double>(usage.ru_minflt);
    }
    state.counters["page_faults"] = faults / static_cast<double>(state.iterations());
    state.counters["resident_KB"] = residentKilobytes(command);
    if (program.libraries.empty()) return;
    Relocations const relocations = relocationsOf(program.libraries);
    state.counters["relocations"] = relocations.listed;
    state.counters["relocations_packed"] = relocations.packed;
}

}  // namespace

int main(int argc, char** argv) {
    bench::prepare();
    for (Program const& program : programs) {
        bench::add("process/read_one_value", program.who, "60lines", [&](State& state) {
            runProgram(state, program);
        })->UseRealTime();
    }
    return bench::run(argc, argv);
}
