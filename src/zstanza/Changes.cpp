// Changes: the edits of zstanza, and how a file gets several of them at once.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#include <sys/stat.h>

#include <cerrno>

#include "Difference.h"
#include "Failure.h"
#include "Verbs.h"

namespace zstanza {

namespace {

bool isMissing(std::string const& file) {
    struct stat now;
    return stat(file.c_str(), &now) != 0 && errno == ENOENT;
}

// The key that names the database is there exactly while there are obfuscated values: the library
// would silently take it out, or put it back.
constexpr char const databaseStanza[] = "configuration-database";
constexpr char const databaseKey[] = "file";

bool namesDatabase(StanzaFile& file) {
    return file.content().exists(databaseStanza, databaseKey) != 0;
}

// Two rules of the library, in words: a key's values are all of one kind, and what names the
// database is none of its values. An empty value ends either kind.
void requireKind(StanzaFile& file, Arguments const& a) {
    if (a.stanza == databaseStanza && a.key == databaseKey) {
        if (a.obfuscated || a.value.empty()) {
            throw Failure(usage, file.name(),
                          keyOf(a) + " names the database and cannot be " +
                              (a.obfuscated ? "obfuscated" : "empty"));
        }
        if (!namesDatabase(file)) {
            throw Failure(
                usage, file.name(),
                keyOf(a) + " names the database of obfuscated values, and there are none");
        }
    }
    Values const values = file.values(a.stanza, a.key);
    if (a.value.empty() || values.texts.empty() || values.obfuscated == a.obfuscated) return;
    throw Failure(usage, file.name(),
                  keyOf(a) +
                      (a.obfuscated ? " holds plain values; leave out --obfuscated"
                                    : " holds obfuscated values; use --obfuscated") +
                      ", or unset the key first");
}

// The library stores any values, and loads a database only up to four times its size.
void requireLoadable(StanzaFile& file) {
    if (!file.content().isModified() || file.content().databaseLoadsBack()) return;
    throw Failure(
        usage, file.name(),
        "not changed: keys and obfuscated values repeat themselves so much that the database "
        "could not be loaded again; make values less alike, or keep some of them plain");
}

Failure placed(Failure failure, std::string const& place) {
    if (!place.empty()) failure.stoodAt(place);
    return failure;
}

void edit(StanzaFile& file, std::vector<Change> const& changes) {
    for (Change const& change : changes) {
        try {
            change.edit(file, change.arguments);
        } catch (...) {
            throw placed(currentFailure(file.name()), change.place);
        }
    }
    requireLoadable(file);
}

int show(Arguments const& a, StanzaFile& file, std::string& out) {
    out += a.diff ? difference(a.file, file.text()) : file.text();
    return done;
}

}  // namespace

int change(Arguments const& a, std::vector<Change> const& changes, std::string& out) {
    Patience patience(a.wait);
    if (a.dryRun || a.diff) {
        StanzaFile file(a.file, patience);
        if (!a.create || !isMissing(a.file)) file.load();
        edit(file, changes);
        return show(a, file, out);
    }
    do {
        StanzaFile file(a.file, patience);
        ChangeLock lock(a.file, a.create, patience);
        file.load();
        edit(file, changes);
        if (!file.content().isModified() || file.store(lock)) {
            lock.keep();
            return done;
        }
    } while (patience.pause());
    throw busyFailure(a.file, patience.seconds());
}

void set(StanzaFile& file, Arguments const& a) {
    requireKind(file, a);
    file.content().setValue(a.stanza.c_str(), a.key.c_str(), a.value.c_str(), a.obfuscated);
}

void add(StanzaFile& file, Arguments const& a) {
    // The next load would not see it.
    if (a.value.empty()) throw Failure(usage, "VALUE", "must not be empty");
    requireKind(file, a);
    file.content().addValue(a.stanza.c_str(), a.key.c_str(), a.value.c_str(), a.obfuscated);
}

void unset(StanzaFile& file, Arguments const& a) {
    if (a.stanza == databaseStanza && (a.key.empty() || a.key == databaseKey) &&
        namesDatabase(file)) {
        throw Failure(
            usage, file.name(),
            "stanza [" + a.stanza + "] names the database; it goes with the last obfuscated value");
    }
    if (a.key.empty()) {
        file.require(a.stanza);
        file.content().deleteStanza(a.stanza.c_str());
    } else {
        file.require(a.stanza, a.key);
        file.content().deleteKey(a.stanza.c_str(), a.key.c_str());
    }
}

// What is to be commented has to be there: the library would make it, but here that is a misspelt
// name.
void comment(StanzaFile& file, Arguments const& a) {
    if (a.text.empty()) throw Failure(usage, "zstanza: --text must not be empty");
    if (a.stanza.empty()) {
        file.content().addFileComment(a.text.c_str());
    } else if (a.key.empty()) {
        file.require(a.stanza);
        file.content().addStanzaComment(a.stanza.c_str(), a.text.c_str());
    } else {
        file.require(a.stanza, a.key);
        if (file.values(a.stanza, a.key).obfuscated) {
            throw Failure(usage, file.name(),
                          keyOf(a) +
                              " is obfuscated: it has no line in the file to comment; "
                              "comment the stanza");
        }
        file.content().addEntryComment(a.stanza.c_str(), a.key.c_str(), a.text.c_str());
    }
}

}  // namespace zstanza
