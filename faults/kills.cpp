// fault_kills [KILLS [FOLDER]]: a process is killed while it stores, behind every single system
// call and within every write, and so many times at random; what it leaves is looked at.
//
// The oracle: the main file holds the old or the new text, and its database the old or the new
// values; both load together. Only what the one write of the text is cut within may be mixed: the
// new text up to some byte and the old one from there. A shorter text is written with blanks to the
// end of the longer one, which go with the next call. No file is accessible to more people than
// the main file, and another process locks and stores at once. The figures tell how wide that
// window is. FOLDER is /dev/shm without being given.
#include <Z/ZException.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <functional>
#include <new>
#include <random>
#include <thread>

#include "Files.h"
#include "Stores.h"
#include "Traced.h"

namespace {

using namespace faults;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr char const database[] = "f.obf";
long failures = 0;

void require(bool holds, std::string const& name, std::string const& where, char const* what) {
    if (holds) return;
    ++failures;
    std::printf("%s, %s: %s\n", name.c_str(), where.c_str(), what);
}

// The text of a file; "" when there is none.
std::string textIn(Files const& files, char const* name) {
    auto const found = files.find(name);
    return found == files.end() ? "" : found->second;
}

// A new text as it is written over an old one.
std::string padded(std::string text, std::string const& old) {
    if (text.size() < old.size()) text.resize(old.size(), ' ');
    return text;
}

// What was found after a kill.
struct Figures {
    long kills = 0, old = 0, fresh = 0, cut = 0, cutLoads = 0, rests = 0;

    void add(Figures const& more) {
        kills += more.kills;
        old += more.old;
        fresh += more.fresh;
        cut += more.cut;
        cutLoads += more.cutLoads;
        rests += more.rests;
    }
    void print(char const* name) const {
        std::printf(
            "%-42s %6ld kills: %6ld old, %6ld new, %5ld cut (%4.1f %%, of which %ld load), "
            "%ld left a temporary file\n",
            name, kills, old, fresh, cut,
            100.0 * static_cast<double>(cut) / static_cast<double>(kills), cutLoads, rests);
    }
};

bool loads(std::string const& file) {
    try {
        Properties(1).load(file.c_str());
        return true;
    } catch (ZPropertiesInvalidDataException_5_1&) {
        return false;
    }
}

// Another process than the killed one stores. Its text is the oracle's.
void storeAtOnce(Folder const& folder, std::string const& name, std::string const& where) {
    Properties next(1);
    setText(next, "next", 700);
    try {
        next.store((folder / mainFile).c_str());
        require(folder.files()[mainFile] == "\n[s]\nnext = " + digits(700) + "\n", name, where,
                "what another process stores is not whole");
    } catch (ZPropertiesIOException_5_1& e) {
        require(false, name, where, e.api());
    }
}

// ---- behind every call ----

struct Kill {
    int index;
    long long atMost;  // bytes of the call, -1 for all
};

class EveryCall {
public:
    EveryCall(Folder const& folder, Store const& store)
        : folder_(folder), store_(store), old_(store.old(folder)) {
        std::vector<Kill> kills;
        int const status = run([&](Call const& call) {
            bool const writes = call.number == SYS_pwrite64;
            auto const size = static_cast<long long>(call.arguments[2]);
            kills.push_back({call.index, -1});
            for (long long const part : {1LL, 4096LL, size / 2, size - 1}) {
                if (writes && part > 0 && part < size) kills.push_back({call.index, part});
            }
            return Change{};
        });
        fresh_ = folder.files();
        check(status == 0, "without a kill", "it fails");
        for (Kill const& kill : kills) runKilled(kill);
    }
    Figures const& figures() const { return figures_; }

private:
    int run(std::function<Change(Call const&)> const& decide) {
        store_.lay(folder_, old_);
        Tracer tracer;
        tracer.decide = [&](Call const& call) {
            int const error = store_.always ? store_.always(call) : 0;
            return error != 0 ? Change{error} : decide(call);
        };
        tracer.look = [&] {
            check((folder_.widestBeside(mainFile) & ~store_.widest()) == 0, "at a stop",
                  "a file is accessible to more people than the main file");
        };
        return traced(tracer, [&] {
            auto const p = store_.changed(folder_);
            begin();
            p->store((folder_ / mainFile).c_str());
            end();
        });
    }

    void runKilled(Kill const& kill) {
        char where[80];
        int const status = run([&](Call const& call) {
            if (call.index != kill.index) return Change{};
            std::snprintf(where, sizeof where, "killed behind call %d, %s, %lld bytes", kill.index,
                          nameOf(call.number), kill.atMost);
            return Change{0, kill.atMost, true};
        });
        check(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL, where, "it is not killed");
        Files const now = folder_.files();
        bool const isWhole = judge(now, where, kill.atMost != -1);
        ++figures_.kills;
        figures_.rests += std::any_of(now.begin(), now.end(), [](auto const& file) {
            return file.first.rfind("f.obf.", 0) == 0;
        });
        bool const isLoaded = now.count(mainFile) == 0 || loads(folder_ / mainFile);
        // A database that is written in place may be cut.
        bool const mayBeInvalid = !isWhole || (store_.always && kill.atMost != -1);
        check(isLoaded || mayBeInvalid, where, "it does not load");
        if (!isWhole) figures_.cutLoads += isLoaded;
        storeAtOnce(folder_, store_.name, where);
    }

    // Whether the main file is whole.
    bool judge(Files const& now, char const* where, bool isWithin) {
        std::string const text = textIn(now, mainFile), before = textIn(old_, mainFile),
                          after = textIn(fresh_, mainFile);
        std::string const values = textIn(now, database);
        check(values == textIn(old_, database) || values == textIn(fresh_, database) ||
                  (store_.always &&
                   cutAt(values, textIn(old_, database), textIn(fresh_, database)) >= 0),
              where, "the database is neither the old nor the new one");
        if (text == before || text == after || text == padded(after, before)) {
            ++(text == before ? figures_.old : figures_.fresh);
            return true;
        }
        check(isWithin, where, "the text is neither the old nor the new one");
        check(cutAt(text, before, padded(after, before)) >= 0, where,
              "the text is no mixture of old and new");
        ++figures_.cut;
        return false;
    }

    void check(bool holds, char const* where, char const* what) const {
        require(holds, store_.name, where, what);
    }

    Folder const& folder_;
    Store const& store_;
    Files old_, fresh_ = {};
    Figures figures_;
};

// ---- at random ----

// Set by the child.
std::atomic<bool>& ready = *new (mmap(nullptr, sizeof(std::atomic<bool>), PROT_READ | PROT_WRITE,
                                      MAP_SHARED | MAP_ANONYMOUS, -1, 0)) std::atomic<bool>;

// Two texts of different lengths, which a process stores in turn until it is killed.
class Random {
public:
    Random(Folder const& folder, char const* name, int keys, std::size_t size, bool isHidden)
        : folder_(folder), name_(name), file_(folder / mainFile) {
        folder.lay({{mainFile, ""}}, 0600);
        make(b_, keys, size - size / 10, isHidden);
        stored_[1] = folder.files();
        make(a_, keys, size, isHidden);
        stored_[0] = folder.files();
        constexpr int rounds = 20;
        auto const start = Clock::now();
        for (int n = 0; n < rounds; ++n) (n % 2 ? a_ : b_).store(file_.c_str());
        storing_ = Seconds(Clock::now() - start) / rounds;
    }

    void run(long kills) {
        std::uniform_real_distribution<double> delay(0, 4 * storing_.count());
        for (long n = 0; n < kills; ++n) killOnce(Seconds(delay(random_)));
        figures_.print(name_);
        std::printf("%-42s a store takes %.0f us, its write of %zu bytes %.0f %% of that\n", "",
                    storing_.count() * 1e6, stored_[0][mainFile].size(),
                    100 * writing().count() / storing_.count());
    }
    Figures const& figures() const { return figures_; }

private:
    void make(Properties& p, int keys, std::size_t size, bool isHidden) {
        std::string const text(size, &p == &a_ ? 'a' : 'b');
        for (int n = 0; n < keys; ++n) {
            p.setValue("s", ("k" + std::to_string(n)).c_str(), text.c_str());
        }
        if (isHidden) p.setValue("s", "secret", digits(&p == &a_ ? 3000 : 1000).c_str(), 1);
        p.store(file_.c_str());
    }

    void killOnce(Seconds delay) {
        ready = false;
        pid_t const child = fork();
        if (child == 0) {
            for (;;) {
                b_.store(file_.c_str());
                a_.store(file_.c_str());
                ready = true;  // with pages of its own, at full speed
            }
        }
        int status = 0;
        pid_t ended = 0;
        while (!ready && ended == 0) ended = waitpid(child, &status, WNOHANG);
        if (ended == 0) {
            std::this_thread::sleep_for(delay);
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
        }
        std::string const where = "kill " + std::to_string(++figures_.kills);
        require(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL, name_, where,
                "it failed before");
        require(folder_.widestBeside(mainFile) == 0, name_, where,
                "a file is accessible to more people than the main file");
        judge(where);
        // This process stores at once, which also brings back the first state.
        a_.store(file_.c_str());
        Files const now = folder_.files();
        for (auto const& [file, text] : now) {
            if (stored_[0].count(file) == 0) unlink((folder_ / file).c_str());
        }
        require(now.at(mainFile) == stored_[0][mainFile] &&
                    textIn(now, database) == textIn(stored_[0], database),
                name_, where, "what another process stores is not whole");
    }

    void judge(std::string const& where) {
        Files const now = folder_.files();
        figures_.rests += now.size() > stored_[0].size();
        std::string const &text = now.at(mainFile), &a = stored_[0][mainFile],
                          &b = stored_[1][mainFile];
        std::string const values = textIn(now, database);
        require(values == textIn(stored_[0], database) || values == textIn(stored_[1], database),
                name_, where, "the database is neither the old nor the new one");
        bool const isLoaded = loads(file_);
        if (text == a || text == b || text == padded(b, a)) {
            ++(text == a ? figures_.old : figures_.fresh);
            require(isLoaded, name_, where, "it does not load");
            return;
        }
        require(cutAt(text, a, padded(b, a)) >= 0 || cutAt(text, b, a) >= 0, name_, where,
                "the text is no mixture of old and new");
        require(std::max(a.size(), b.size()) > 4096, name_, where, "a text of one page is cut");
        ++figures_.cut;
        figures_.cutLoads += isLoaded;
    }

    // How long the kernel takes for the bytes alone.
    Seconds writing() {
        std::string const& text = stored_[0][mainFile];
        int const descriptor = open(file_.c_str(), O_WRONLY | O_CLOEXEC);
        constexpr int rounds = 20;
        auto const start = Clock::now();
        for (int n = 0; n < rounds; ++n) (void)!pwrite(descriptor, text.data(), text.size(), 0);
        Seconds const all = Clock::now() - start;
        close(descriptor);
        return all / rounds;
    }

    Folder const& folder_;
    char const* name_;
    std::string file_;
    Properties a_{1}, b_{1};
    Files stored_[2];
    Seconds storing_{};
    std::mt19937 random_{20261122};
    Figures figures_;
};

}  // namespace

int main(int argc, char** argv) {
    long const kills = argc > 1 ? std::atol(argv[1]) : 4000;
    Folder const folder(argc > 2 ? argv[2] : "/dev/shm");
    umask(0);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    Figures behind, random;
    for (Store const& store : stores()) {
        EveryCall const every(folder, store);
        every.figures().print(store.name.c_str());
        behind.add(every.figures());
    }
    struct {
        char const* name;
        int keys;
        std::size_t size;
        bool isHidden;
        long share;  // of all kills
    } const texts[] = {
        {"text of less than a page", 1, 1000, false, 4},
        {"text of 60 KB", 20, 3000, false, 3},
        {"text of 60 KB, hidden values", 20, 3000, true, 2},
        {"text of 1.5 MB", 500, 3000, false, 1},
    };
    for (auto const& text : texts) {
        Random each(folder, text.name, text.keys, text.size, text.isHidden);
        each.run((kills * text.share + 9) / 10);
        random.add(each.figures());
    }
    behind.print("behind every call and within writes");
    random.print("at random");
    std::printf("kills: %ld, %ld wrong\n", behind.kills + random.kills, failures);
    return failures == 0 ? 0 : 1;
}
