// process_main: what the small programs of process_bench share: they read one value of a file.
//
//     program FILE STANZA KEY VALUE
//
// ends with 0 when the value is the one that is expected.
#ifndef Z_BENCH_PROCESS_MAIN_H
#define Z_BENCH_PROCESS_MAIN_H

#include <cstring>

// `read` is given file, stanza, key and the expected value, and says whether that is what it found.
template <class Read>
int processMain(int argc, char** argv, Read read) {
    return argc == 5 && read(argv[1], argv[2], argv[3], argv[4]) ? 0 : 1;
}

#endif
