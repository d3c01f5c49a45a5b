// Traced: a process whose system calls its parent sees one by one.
#include "Traced.h"

#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <set>

namespace faults {

namespace {

constexpr long endMark = 4000;  // no call has this number
constexpr int stopOfCall = SIGTRAP | 0x80;

void require(bool holds, char const* what) {
    if (holds) return;
    std::perror(what);
    std::exit(2);
}

// The child's registers at a stop.
struct Registers {
    explicit Registers(pid_t child) : child_(child) {
        require(ptrace(PTRACE_GETREGS, child, nullptr, &values) == 0, "PTRACE_GETREGS");
    }
    void set() const {
        require(ptrace(PTRACE_SETREGS, child_, nullptr, &values) == 0, "PTRACE_SETREGS");
    }
    Call call(int index) const {
        return {index,
                static_cast<long>(values.orig_rax),
                {values.rdi, values.rsi, values.rdx, values.r10, values.r8, values.r9}};
    }

    user_regs_struct values;

private:
    pid_t child_;
};

// Lets the child go on to the next begin or end of a call; false when it has ended instead.
bool nextStop(pid_t child, int& status) {
    for (int signal = 0;;) {
        require(ptrace(PTRACE_SYSCALL, child, nullptr, signal) == 0, "PTRACE_SYSCALL");
        require(waitpid(child, &status, 0) == child, "waitpid");
        if (!WIFSTOPPED(status)) return false;
        if (WSTOPSIG(status) == stopOfCall) return true;
        signal = WSTOPSIG(status);
    }
}

bool isMade(Call const& call, Change const& change) {
    return (change.error == 0 || call.number == SYS_close) && change.atMost != 0;
}

void atBegin(Registers& at, Call const& call, Change const& change) {
    if (!isMade(call, change)) {
        at.values.orig_rax = static_cast<unsigned long long>(-1);
    } else if (change.atMost > 0) {
        at.values.rdx = static_cast<unsigned long long>(change.atMost);
    } else {
        return;
    }
    at.set();
}

void behind(Registers& at, Call const& call, Change const& change) {
    if (change.error != 0) {
        at.values.rax = static_cast<unsigned long long>(-change.error);
    } else if (change.atMost == 0) {
        at.values.rax = 0;
    } else if (change.atMost > 0) {
        at.values.rdx = call.arguments[2];
    } else {
        return;
    }
    at.set();
}

int wait(pid_t child) {
    int status;
    require(waitpid(child, &status, 0) == child, "waitpid");
    return status;
}

// Calls that cannot fail, or only ask for memory. How many of these there are is chance.
class Uninteresting {
public:
    bool holds(Call const& call) const {
        switch (call.number) {
            case SYS_brk:
            case SYS_mremap:
            case SYS_mprotect:
            case SYS_madvise:
            case SYS_futex:
            case SYS_getpid:
            case SYS_gettid:
            case SYS_geteuid:
            case SYS_getrandom:
            case SYS_rt_sigprocmask:
            case SYS_rt_sigaction:
            case SYS_clock_gettime:
                return true;
            case SYS_mmap:
                return (call.arguments[3] & MAP_ANONYMOUS) != 0;
            case SYS_munmap:
                return mappedFiles_.count(call.arguments[0]) == 0;
            default:
                return false;
        }
    }
    void remember(Call const& call, unsigned long long result) {
        if (call.number == SYS_mmap && !holds(call)) mappedFiles_.insert(result);
    }

private:
    std::set<unsigned long long> mappedFiles_;
};

int trace(pid_t child, Tracer const& tracer) {
    int status = wait(child);
    if (!WIFSTOPPED(status)) return status;
    require(
        ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL) == 0,
        "PTRACE_SETOPTIONS");
    Uninteresting uninteresting;
    for (int index = 0;;) {
        if (!nextStop(child, status)) return status;
        Registers at(child);
        Call const call = at.call(index);
        if (call.number == endMark) {
            if (tracer.atEnd) tracer.atEnd();
            require(ptrace(PTRACE_DETACH, child, nullptr, nullptr) == 0, "PTRACE_DETACH");
            return wait(child);
        }
        if (tracer.look) tracer.look();
        bool const isAsked = !uninteresting.holds(call);
        Change const change = isAsked ? tracer.decide(call) : Change{};
        index += isAsked;
        atBegin(at, call, change);
        if (!nextStop(child, status)) return status;
        Registers then(child);
        uninteresting.remember(call, then.values.rax);
        behind(then, call, change);
        if (tracer.look) tracer.look();
        if (change.kills) {
            kill(child, SIGKILL);
            return wait(child);
        }
    }
}

struct Name {
    long number;
    char const* text;
};

constexpr Name names[] = {
    {SYS_openat, "openat"},
    {SYS_open, "open"},
    {SYS_close, "close"},
    {SYS_read, "read"},
    {SYS_write, "write"},
    {SYS_pread64, "pread"},
    {SYS_pwrite64, "pwrite"},
    {SYS_fstat, "fstat"},
    {SYS_stat, "stat"},
    {SYS_lstat, "lstat"},
    {SYS_newfstatat, "fstatat"},
    {SYS_access, "access"},
    {SYS_faccessat, "faccessat"},
    {SYS_faccessat2, "faccessat2"},
    {SYS_fcntl, "fcntl"},
    {SYS_lseek, "lseek"},
    {SYS_mmap, "mmap"},
    {SYS_munmap, "munmap"},
    {SYS_fallocate, "fallocate"},
    {SYS_ftruncate, "ftruncate"},
    {SYS_fdatasync, "fdatasync"},
    {SYS_fchmod, "fchmod"},
    {SYS_fchown, "fchown"},
    {SYS_fgetxattr, "fgetxattr"},
    {SYS_lgetxattr, "lgetxattr"},
    {SYS_fsetxattr, "fsetxattr"},
    {SYS_fremovexattr, "fremovexattr"},
    {SYS_rename, "rename"},
    {SYS_renameat2, "renameat2"},
    {SYS_unlink, "unlink"},
    {SYS_getcwd, "getcwd"},
};

}  // namespace

char const* nameOf(long number) {
    auto const* const found = std::find_if(std::begin(names), std::end(names),
                                           [=](Name const& name) { return name.number == number; });
    return found == std::end(names) ? "another call" : found->text;
}

bool Call::moves() const {
    return number == SYS_read || number == SYS_pread64 || number == SYS_write ||
           number == SYS_pwrite64;
}

int traced(Tracer const& tracer, std::function<void()> const& body) {
    pid_t const child = fork();
    require(child != -1, "fork");
    if (child == 0) {
        alarm(20);
        body();
        _exit(0);
    }
    return trace(child, tracer);
}

void begin() {
    require(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0, "PTRACE_TRACEME");
    kill(getpid(), SIGSTOP);
}

void end() {
    syscall(endMark);
}

}  // namespace faults
