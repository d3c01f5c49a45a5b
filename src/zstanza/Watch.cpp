// Watch: a line for every key whose values change while a file is used by others.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
//
// The kernel tells of whatever happens in the file's folder (inotify): files are rewritten in
// place, replaced by another one, or removed and made again. Each time what is loaded is compared
// with what was loaded before. Several changes may come as one; a key that changed and changed back
// shows none.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>

#include "Failure.h"
#include "Json.h"
#include "Terminal.h"
#include "Verbs.h"

namespace zstanza {

namespace {

struct Descriptor {
    explicit Descriptor(int opened, char const* what) : number(opened) {
        if (number < 0) throw Failure(inaccessible, what, std::strerror(errno));
    }
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;
    ~Descriptor() { close(number); }
    int const number;
};

// Stanzas and keys in the order of the file, and what they hold.
struct Snapshot {
    using Name = std::pair<std::string, std::string>;

    explicit Snapshot(StanzaFile& file) {
        for (std::string const& stanza : file.stanzas()) {
            for (std::string const& key : file.keys(stanza)) {
                names.emplace_back(stanza, key);
                values.emplace(names.back(), file.values(stanza, key));
            }
        }
    }
    Values const* find(Name const& name) const {
        auto const found = values.find(name);
        return found == values.end() ? nullptr : &found->second;
    }

    std::vector<Name> names;
    std::map<Name, Values> values;
};

bool areAlike(Values const* a, Values const* b) {
    return a && b && a->texts == b->texts && a->obfuscated == b->obfuscated;
}

class Watcher {
public:
    explicit Watcher(Arguments const& a)
        : a_(a),
          events_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK), "inotify"),
          signals_(blockedSignals(), "signalfd") {
        std::string folder = a.file.substr(0, a.file.rfind('/') + 1);
        // A link's target may change in another folder than the link.
        std::unique_ptr<char, void (*)(void*)> const real(realpath(a.file.c_str(), nullptr),
                                                          std::free);
        if (real) watch(std::string(real.get(), std::strrchr(real.get(), '/') + 1));
        watch(folder.empty() ? "." : folder);
    }

    int run() {
        std::unique_ptr<Snapshot> last = load();
        while (wait()) {
            std::unique_ptr<Snapshot> now;
            try {
                now = load();
            } catch (...) {
                // It is being replaced, or edited by hand; the next event brings it back.
                tell(currentFailure(a_.file).message);
                continue;
            }
            told_.clear();
            if (!compare(*last, *now)) return done;
            last = std::move(now);
        }
        return done;
    }

private:
    static int blockedSignals() {
        sigset_t ending;
        sigemptyset(&ending);
        for (int number : {SIGHUP, SIGINT, SIGTERM}) sigaddset(&ending, number);
        sigprocmask(SIG_BLOCK, &ending, nullptr);
        return signalfd(-1, &ending, SFD_CLOEXEC);
    }

    void watch(std::string const& folder) {
        constexpr unsigned events = IN_CLOSE_WRITE | IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM |
                                    IN_DELETE | IN_ATTRIB | IN_ONLYDIR;
        if (inotify_add_watch(events_.number, folder.c_str(), events) < 0) {
            throw Failure(inaccessible, folder, std::strerror(errno));
        }
    }

    std::unique_ptr<Snapshot> load() const {
        Patience patience(a_.wait);
        StanzaFile file(a_.file, patience);
        file.load();
        return std::make_unique<Snapshot>(file);
    }

    // Once for each cause.
    void tell(std::string const& message) {
        if (message != told_) complain(message);
        told_ = message;
    }

    // False when a signal ends the watch, or nobody reads what it prints.
    bool wait() {
        pollfd waited[] = {
            {events_.number, POLLIN, 0}, {signals_.number, POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
        while (poll(waited, 3, -1) < 0) {
            if (errno != EINTR) throw Failure(inaccessible, "poll", std::strerror(errno));
        }
        if (waited[1].revents != 0 || (waited[2].revents & (POLLERR | POLLNVAL)) != 0) return false;
        char events[4096];
        do {
            while (read(events_.number, events, sizeof events) > 0) {
            }
            // What belongs together comes together.
        } while (poll(waited, 1, 10) > 0);
        return true;
    }

    // False when all lines that were asked for are printed.
    bool compare(Snapshot const& last, Snapshot const& now) {
        for (Snapshot::Name const& name : last.names) {
            if (!now.find(name) && !print(name, nullptr)) return false;
        }
        for (Snapshot::Name const& name : now.names) {
            Values const* const values = now.find(name);
            if (!areAlike(last.find(name), values) && !print(name, values)) return false;
        }
        return true;
    }

    bool print(Snapshot::Name const& name, Values const* values) {
        std::string line;
        if (a_.json) {
            printJson(name, values, line);
        } else {
            line = "[" + oneLine(name.first) + "] " +
                   coloured(STDOUT_FILENO, Colour::name, oneLine(name.second)) + describe(values) +
                   "\n";
        }
        for (std::size_t at = 0; at < line.size();) {
            ssize_t const n = write(STDOUT_FILENO, line.data() + at, line.size() - at);
            if (n < 0 && errno != EINTR) {
                throw Failure(inaccessible, "standard output", std::strerror(errno));
            }
            if (n > 0) at += static_cast<std::size_t>(n);
        }
        return ++printed_ != a_.count;
    }

    static std::string describe(Values const* values) {
        if (!values) return " is gone";
        if (values->obfuscated) return " has an obfuscated value";
        std::string out = " =";
        for (std::size_t i = 0; i < values->texts.size(); ++i) {
            out += (i == 0 ? " " : " | ") + oneLine(values->texts[i]);
        }
        return out;
    }

    void printJson(Snapshot::Name const& name, Values const* values, std::string& line) const {
        Patience none(0);
        StanzaFile const file(a_.file, none);  // names the file in failures
        Json entry = {{"file", utf8Name(a_.file)},
                      {"stanza", utf8(file, name.first)},
                      {"key", utf8(file, name.second)},
                      {"values", nullptr}};
        if (values) {
            entry["values"] = utf8(file, values->texts, values->obfuscated);
            mark(entry, *values);
        }
        zstanza::print(entry, line);
    }

    Arguments const& a_;
    Descriptor events_;
    Descriptor signals_;
    std::string told_;
    unsigned printed_ = 0;
};

}  // namespace

int watch(Arguments const& a, std::string&) {
    return Watcher(a).run();
}

}  // namespace zstanza
