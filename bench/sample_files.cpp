// sample_files: makes the files and the lists of names.
#include "sample_files.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

namespace bench {
namespace {

class TemporaryFolder {
public:
    TemporaryFolder() {
        std::filesystem::path parent = "/dev/shm";
        if (access(parent.c_str(), W_OK) != 0) parent = std::filesystem::temp_directory_path();
        std::string name = parent / "z_bench.XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            std::perror(name.c_str());
            std::exit(1);
        }
        path_ = name;
    }
    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    std::string file(std::string const& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

std::string valueOf(int stanza, int key, std::mt19937& random) {
    std::string number = std::to_string(random() % 100000);
    switch (key % 5) {
        case 0:
            return "/srv/data/volume-" + number + "/cache/" + std::to_string(stanza);
        case 1:
            return "server-" + number + ".example.org:8443";
        case 2:
            return "Answers of the service, kept " + number + " seconds";
        case 3:
            return number;
        default:
            return random() % 2 != 0 ? "true" : "false";
    }
}

std::string keyOf(int key) {
    static char const* const words[] = {"directory", "server",   "description", "max_requests",
                                        "enabled",   "log_path", "upstream",    "display_name",
                                        "timeout",   "verbose"};
    std::string name = words[key % 10];
    return key < 10 ? name : name + '_' + std::to_string(key);
}

SampleFile make(TemporaryFolder const& folder, std::string const& size, int stanzas, int keys) {
    SampleFile sample{size,
                      double(stanzas) * keys,
                      folder.file(size + ".conf"),
                      folder.file(size + ".stored.conf"),
                      {},
                      {},
                      {},
                      {},
                      {},
                      {}};
    std::mt19937 random(static_cast<unsigned int>(stanzas * 31 + keys));
    std::ofstream out(sample.path);
    for (int s = 0; s < stanzas; ++s) {
        std::string stanza = "service-" + std::to_string(s);
        out << (s > 0 ? "\n" : "") << "# Service " << s << ", kept by its own team.\n[" << stanza
            << "]\n";
        for (int k = 0; k < keys; ++k) {
            if (k % 10 == 5) out << '\n';
            if (k % 5 == 0) out << "# What follows counts from the next start on.\n";
            Name name{stanza, keyOf(k), valueOf(s, k, random)};
            out << name.key << " = " << name.value << '\n';
            sample.all.push_back(name);
            (k % 5 == 3   ? sample.integers
             : k % 5 == 4 ? sample.booleans
                          : sample.texts)
                .push_back(name);
        }
    }
    if (!out.flush()) {
        std::perror(sample.path.c_str());
        std::exit(1);
    }
    for (auto* list : {&sample.texts, &sample.integers, &sample.booleans}) {
        std::shuffle(list->begin(), list->end(), random);
        // Copied, they lie in memory as they will be asked for: what is measured is not their cost.
        *list = std::vector<Name>(*list);
    }
    std::sample(sample.all.begin(), sample.all.end(), std::back_inserter(sample.some), 1000,
                random);
    std::shuffle(sample.some.begin(), sample.some.end(), random);
    for (int i = 0; i < 1000; ++i) {
        std::string number = std::to_string(i);
        sample.fresh.push_back({sample.all[random() % sample.all.size()].stanza,
                                "added_later_" + number, "The value of a new key, " + number});
    }
    return sample;
}

}  // namespace

std::vector<SampleFile> const& sampleFiles() {
    static TemporaryFolder const folder;
    static std::vector<SampleFile> const files = {
        make(folder, "60lines", 5, 6),
        make(folder, "1000x10", 1000, 10),
        make(folder, "10000x10", 10000, 10),
        make(folder, "1x100000", 1, 100000),
    };
    return files;
}

}  // namespace bench
