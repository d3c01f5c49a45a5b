// database_bench: a file with 1,000 obfuscated values, beside the same values in plain text.
//
// No peer keeps values out of its text, so the other column is Z itself with a plain file: the
// difference is what the companion database costs: a second file, compression, records.
#include <Z/ZStanzaFileProperties.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <string>

#include "bench.h"

namespace {

using namespace bench;
using benchmark::State;
using Properties = ZStanzaFileProperties_5_1;

constexpr int stanzas = 20;
constexpr int keys = 50;

struct Sample {
    explicit Sample(int obfuscated) {
        char folder[] = "/tmp/z_bench.XXXXXX";
        path = std::string(mkdtemp(folder)) + "/f";
        // Passwords of random letters: values that repeat themselves could not be loaded back.
        std::mt19937 random(1);
        Properties file(1);
        for (int s = 0; s < stanzas; ++s) {
            for (int k = 0; k < keys; ++k) {
                std::string value(24, ' ');
                for (char& c : value) c = static_cast<char>('!' + random() % 90);
                file.setValue(("stanza-" + std::to_string(s)).c_str(),
                              ("password-" + std::to_string(k)).c_str(), value.c_str(), obfuscated);
            }
        }
        file.store(path.c_str());
    }
    ~Sample() {
        unlink(path.c_str());
        unlink((path + ".obf").c_str());
        rmdir(path.substr(0, path.size() - 2).c_str());
    }
    std::string path;
};

void load(State& state, int obfuscated) {
    Sample const sample(obfuscated);
    for (auto _ : state) {
        std::unique_ptr<Properties> file;
        timed(state, [&] { file = std::make_unique<Properties>(sample.path.c_str(), 1); });
    }
    countEach(state, "ns_per_key", stanzas * keys);
}

void store(State& state, int obfuscated) {
    Sample const sample(obfuscated);
    Properties file(sample.path.c_str(), 1);
    for (auto _ : state) {
        timed(state, [&] { file.store(nullptr); });
    }
    countEach(state, "ns_per_key", stanzas * keys);
}

}  // namespace

int main(int argc, char** argv) {
    bench::prepare();
    for (bool obfuscated : {true, false}) {
        char const* who = obfuscated ? "Z" : "plain";
        add("database/load", who, "20x50", [=](State& s) { load(s, obfuscated); })->UseManualTime();
        add("database/store", who, "20x50", [=](State& s) {
            store(s, obfuscated);
        })->UseManualTime();
    }
    return bench::run(argc, argv);
}
