// java_bench: Java properties files of 100 and 10,000 pairs, loaded and stored.
//
// All load one file. POCO keeps its pairs sorted, escapes fewer characters and takes no lock. The
// JDK runs in a process of its own, warmed for seconds, and tells its medians; it takes no lock
// either.
#include <Poco/Util/PropertyFileConfiguration.h>
#include <Z/ZJavaProperties.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "bench.h"

namespace {

using namespace bench;
using benchmark::State;
using Java = ZJavaProperties_5_1;
using PocoFile = Poco::Util::PropertyFileConfiguration;
using Poco::AutoPtr;

class Sample {
public:
    explicit Sample(int pairs) : count_(pairs) {
        char folder[] = "/tmp/z_bench.XXXXXX";
        folder_ = mkdtemp(folder);
        path = folder_ + "/f";
        Java java;
        for (int n = 0; n < pairs; ++n) {
            java.setValue(ZUTF8String_5_1(key(n).c_str()), ZUTF8String_5_1(value(n).c_str()));
        }
        java.store(path.c_str());
        Java again;
        again.load(path.c_str());
        AutoPtr<PocoFile> const poco(new PocoFile(path));
        ZUTF8String_5_1 out;
        for (int n = 0; n < pairs; ++n) {
            again.getValue(ZUTF8String_5_1(key(n).c_str()), out);
            if (value(n) != out.getChars() || value(n) != poco->getString(key(n))) {
                throw std::runtime_error("other pairs");
            }
        }
    }
    Sample(Sample const&) = delete;
    Sample& operator=(Sample const&) = delete;
    ~Sample() {
        for (char const* end : {"", ".poco", ".jdk"}) unlink((path + end).c_str());
        rmdir(folder_.c_str());
    }

    // Seconds for a load and a store.
    struct Medians {
        double load, store;
    };
    Medians const& jdk() const {
        if (medians_) return *medians_;
        std::string const command = "java '" Z_JAVA_PROGRAM "' '" + path + "'";
        FILE* const output = popen(command.c_str(), "re");
        long pairs = 0, load = 0, store = 0;
        int const numbers = output ? std::fscanf(output, "%ld %ld %ld", &pairs, &load, &store) : 0;
        if (output) pclose(output);
        if (numbers != 3 || pairs != count_) throw std::runtime_error("the JDK fails");
        medians_ = {static_cast<double>(load) * 1e-9, static_cast<double>(store) * 1e-9};
        return *medians_;
    }

    std::string path;

private:
    static std::string key(int n) {
        return "service." + std::to_string(n % 97) + ".option-" + std::to_string(n);
    }
    static std::string value(int n) {
        switch (n % 4) {
            case 0:
                return std::to_string(n * 37);
            case 1:
                return "C:\\data\\" + std::to_string(n);
            case 2:
                return "http://host" + std::to_string(n) + ".example.com:8080/path";
            default:
                return "A sentence of some words, number " + std::to_string(n) + ".";
        }
    }

    int count_;
    std::string folder_;
    mutable std::optional<Medians> medians_;
};

// Loads with `Load`, whose result stays out of the time when it is deleted.
template <class Load>
void load(State& state, Load make) {
    for (auto _ : state) {
        decltype(make()) file{};
        timed(state, [&] { file = make(); });
    }
}

}  // namespace

int main(int argc, char** argv) {
    bench::prepare();
    bool const hasJDK = std::system("javac -version >/dev/null 2>&1") == 0;
    std::optional<Sample> samples[2];
    for (int i = 0; i < 2; ++i) {
        int const pairs = i == 0 ? 100 : 10000;
        Sample const& sample = samples[i].emplace(pairs);
        std::string const size = std::to_string(pairs);
        std::string const path = sample.path;
        add("java/load", "Z", size, [=](State& s) {
            load(s, [=] {
                auto file = std::make_unique<Java>();
                file->load(path.c_str());
                return file;
            });
        })->UseManualTime();
        add("java/load", "POCO", size, [=](State& s) {
            load(s, [=] { return AutoPtr<PocoFile>(new PocoFile(path)); });
        })->UseManualTime();
        auto const java = std::make_shared<Java>();
        java->load(path.c_str());
        add("java/store", "Z", size, [=](State& s) {
            for (auto _ : s) timed(s, [&] { java->store(path.c_str()); });
        })->UseManualTime();
        AutoPtr<PocoFile> const poco(new PocoFile(path));
        add("java/store", "POCO", size, [=](State& s) {
            for (auto _ : s) timed(s, [&] { poco->save(path + ".poco"); });
        })->UseManualTime();
        if (!hasJDK) continue;
        add("java/load", "JDK", size, [&](State& s) {
            for (auto _ : s) s.SetIterationTime(sample.jdk().load);
        })->UseManualTime();
        add("java/store", "JDK", size, [&](State& s) {
            for (auto _ : s) s.SetIterationTime(sample.jdk().store);
        })->UseManualTime();
    }
    return bench::run(argc, argv);
}
