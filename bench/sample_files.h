// sample_files: the configuration files that the properties benchmarks work on.
//
// The files are the same at every run: stanzas with a comment above the head, a comment above every
// fifth key and a blank line before every tenth. Of five keys three hold a text of 16 to 46 bytes,
// one a number, one true or false. Lines, names and values are such that Z and all peers read the
// same from them: no escapes, no repeated keys, no lines that are continued.
#ifndef Z_BENCH_SAMPLE_FILES_H
#define Z_BENCH_SAMPLE_FILES_H

#include <string>
#include <vector>

namespace bench {

struct Name {
    std::string stanza, key, value;
};

struct SampleFile {
    std::string size;  // "60lines", or stanzas x keys
    double keyCount;
    std::string path;       // the file
    std::string path2;      // where changed content is stored
    std::vector<Name> all;  // in file order; the lists below are shuffled
    std::vector<Name> texts, integers, booleans;
    std::vector<Name> some;   // 1,000 of all (or all), for changes
    std::vector<Name> fresh;  // 1,000 keys that are not there, in stanzas that are
};

// Smallest first. Made at the first call in a temporary folder, in memory where there is one (a
// disk would only add its noise to both sides), which goes with the process.
std::vector<SampleFile> const& sampleFiles();

}  // namespace bench

#endif
