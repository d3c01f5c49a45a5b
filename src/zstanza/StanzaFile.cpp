// StanzaFile: one stanza file as the verbs see it: loaded and stored with patience, read as text.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#include "StanzaFile.h"

#include <Z/ZException.h>
#include <signal.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <set>
#include <sstream>

#include "Failure.h"

namespace zstanza {

namespace {

// A stream whose text is in memory.
struct MemoryStream {
    MemoryStream() : stream(open_memstream(&text, &size)) {
        if (stream == nullptr) throw std::bad_alloc();
    }
    MemoryStream(MemoryStream const&) = delete;
    MemoryStream& operator=(MemoryStream const&) = delete;
    ~MemoryStream() {
        static_cast<void>(std::fclose(stream));
        std::free(text);
    }

    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* stream;
};

// Files are rewritten in place: who stops the program waits until the new text is whole.
class SignalsHeld {
public:
    SignalsHeld() {
        sigset_t held;
        sigemptyset(&held);
        for (int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) sigaddset(&held, number);
        sigprocmask(SIG_BLOCK, &held, &former_);
    }
    SignalsHeld(SignalsHeld const&) = delete;
    SignalsHeld& operator=(SignalsHeld const&) = delete;
    ~SignalsHeld() { sigprocmask(SIG_SETMASK, &former_, nullptr); }

private:
    sigset_t former_;
};

std::vector<std::string> texts(ZArrayList_5_1 const& list) {
    std::vector<std::string> out;
    for (unsigned int i = 0; i < list.size(); ++i) {
        out.emplace_back(static_cast<ZLCString_5_1 const*>(list.get(i))->getChars());
    }
    return out;
}

// Whether reading comes to an end by itself. A pipe has a writer where the path names a descriptor,
// as in <(command); one in a folder may wait for a writer forever. Devices are endless or wait.
bool canBeRead(std::string const& path, struct stat const& found) {
    if (S_ISFIFO(found.st_mode)) {
        return path == "/dev/stdin" || path.rfind("/dev/fd/", 0) == 0 ||
               path.rfind("/proc/", 0) == 0;
    }
    struct stat empty;
    return S_ISREG(found.st_mode) || (S_ISCHR(found.st_mode) && stat("/dev/null", &empty) == 0 &&
                                      found.st_rdev == empty.st_rdev);
}

}  // namespace

template <class Access>
auto StanzaFile::waitFor(Access access) {
    for (;;) {
        try {
            return access();
        } catch (ZPropertiesIOException_5_1 const& refused) {
            if (!isBusy(refused)) throw;
            if (!patience_.pause()) throw busyFailure(name_, patience_.seconds());
        }
    }
}

void StanzaFile::load() {
    struct stat now;
    if (stat(name_.c_str(), &now) == 0 && !canBeRead(name_, now)) {
        throw Failure(inaccessible, name_,
                      S_ISDIR(now.st_mode) ? std::strerror(EISDIR) : "is not a regular file");
    }
    // A load that met a busy file has read nothing, so it can be done again.
    waitFor([this] { content_.load(name_.c_str()); });
}

bool StanzaFile::store(ChangeLock const& lock) {
    return waitFor([this, &lock] {
        SignalsHeld whole;
        if (!lock.isStillTheFile()) return false;
        content_.store(name_.c_str());
        return true;
    });
}

void StanzaFile::require(std::string const& stanza) const {
    if (!content_.exists(stanza.c_str())) {
        throw Failure(absent, name_, "no stanza [" + stanza + "]");
    }
}

void StanzaFile::require(std::string const& stanza, std::string const& key) const {
    require(stanza);
    if (!content_.exists(stanza.c_str(), key.c_str())) {
        throw Failure(absent, name_, "no key " + key + " in stanza [" + stanza + "]");
    }
}

// The library lists stanzas by hash. Their order in the file shows in the text that it stores: a
// line there begins with "[" only if it is a stanza's head, and ends after the name. A stanza that
// only the database knows has no head: it comes last.
std::vector<std::string> StanzaFile::stanzas() {
    std::vector<std::string> names;
    std::istringstream lines(text());
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line[0] == '[') names.push_back(line.substr(1, line.size() - 2));
    }
    ZArrayList_5_1 all(100, 1);
    content_.keyNames(all);
    if (all.size() == names.size()) return names;
    std::set<std::string> const withHead(names.begin(), names.end());
    for (std::string const& name : texts(all)) {
        if (withHead.count(name) == 0) names.push_back(name);
    }
    return names;
}

std::vector<std::string> StanzaFile::keys(std::string const& stanza) const {
    ZArrayList_5_1 names(100, 1);
    content_.keyNames(stanza.c_str(), names);
    return texts(names);
}

Values StanzaFile::values(std::string const& stanza, std::string const& key) const {
    ZArrayList_5_1 found(4, 1);
    content_.getValues(stanza.c_str(), key.c_str(), found, ZPropLCString);
    return {texts(found),
            found.size() != 0 && content_.isObfuscated(stanza.c_str(), key.c_str()) != 0};
}

std::string StanzaFile::text() {
    MemoryStream memory;
    content_.writeText(name_.c_str(), memory.stream);
    if (std::fflush(memory.stream) != 0 || std::ferror(memory.stream)) throw std::bad_alloc();
    return {memory.text, memory.size};
}

}  // namespace zstanza
