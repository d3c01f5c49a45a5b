// StanzaFile: one stanza file as the verbs see it: loaded and stored with patience, read as text.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#ifndef ZSTANZA_STANZAFILE_H
#define ZSTANZA_STANZAFILE_H

#include <Z/ZStanzaFileProperties.h>

#include <string>
#include <vector>

#include "ChangeLock.h"

namespace zstanza {

// The values of a key, in order. A key without values is not obfuscated.
struct Values {
    std::vector<std::string> texts;
    bool obfuscated = false;
};

// Texts are in the local codeset. Failures of the library pass through, but for a busy file, which
// is tried again as long as the patience lasts and then is a Failure.
class StanzaFile {
public:
    StanzaFile(std::string const& name, Patience& patience) : name_(name), patience_(patience) {}

    void load();
    // Returns false, and stores nothing, if the name has passed to another file than the locked
    // one.
    bool store(ChangeLock const& lock);

    std::string const& name() const { return name_; }
    ZStanzaFileProperties_5_1& content() { return content_; }

    // Throws Failure (absent) unless the stanza, or the key in it, is there.
    void require(std::string const& stanza) const;
    void require(std::string const& stanza, std::string const& key) const;

    // Stanzas and keys in the order of the file.
    std::vector<std::string> stanzas();
    std::vector<std::string> keys(std::string const& stanza) const;
    Values values(std::string const& stanza, std::string const& key) const;

    // What store() would write to the file itself; obfuscated values are not in it. Touches no
    // file.
    std::string text();

private:
    template <class Access>
    auto waitFor(Access access);

    std::string name_;
    Patience& patience_;
    ZStanzaFileProperties_5_1 content_{1};
};

}  // namespace zstanza

#endif
