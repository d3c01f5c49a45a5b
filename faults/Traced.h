// Traced: a process whose system calls its parent sees one by one, and can fail, cut or make the
// last. The kernel stops the process at each call (ptrace), so calls that the C library makes
// inside of itself are seen as well. For x86-64.
#ifndef Z_FAULTS_TRACED_H
#define Z_FAULTS_TRACED_H

#include <functional>

namespace faults {

struct Call {
    int index;    // from 0
    long number;  // SYS_...
    unsigned long long arguments[6];

    // Whether the third argument is a number of bytes to move, of which fewer may be moved.
    bool moves() const;
};

char const* nameOf(long number);

// What becomes of a call; nothing unusual by default.
struct Change {
    int error = 0;          // it fails with this; a close closes all the same, as the kernel's does
    long long atMost = -1;  // it moves so many bytes at most
    bool kills = false;     // the process is killed behind it
};

// What the parent does: `decide` at each call between begin() and end() but those that cannot fail
// or only ask for memory, `look` before and behind each, `atEnd` at end(), where the child waits.
struct Tracer {
    std::function<Change(Call const&)> decide;
    std::function<void()> look;
    std::function<void()> atEnd;
};

// Runs `body` in a process of its own and returns its status as waitpid() gives it. A body that
// takes longer than 20 seconds is ended by SIGALRM.
int traced(Tracer const& tracer, std::function<void()> const& body);
// The child calls these around what is to be traced.
void begin();
void end();

}  // namespace faults

#endif
