// properties_peers: Z and the libraries it is measured against, behind one set of operations.
//
// Every class holds one configuration file. text(), integer() and boolean() ask for a value by
// stanza and key; text() leaves it in a string that the caller goes on using, and returns its
// characters ("" for a key that is not there). The names come as std::string, so that peers that
// want one need not make it.
#ifndef Z_BENCH_PROPERTIES_PEERS_H
#define Z_BENCH_PROPERTIES_PEERS_H

#define SI_NO_CONVERSION  // bytes are taken as they are; only wide characters need conversions
#include <INIReader.h>
#include <SimpleIni.h>
#undef SI_NO_CONVERSION
#include <Z/ZStanzaFileProperties.h>
#include <Z/zproperties_c.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <glib.h>
#include <unistd.h>

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "sample_files.h"

namespace bench {

inline void require(bool done, char const* what) {
    if (!done) throw std::runtime_error(what);
}

// Comments and blank lines are kept. Each operation holds the instance's lock; load and store hold
// a record lock, and store reserves the room before it writes. No peer does any of that.
class ZFile {
public:
    static constexpr char const* who = "Z";

    void load(std::string const& path) { file_.load(path.c_str()); }
    void store(std::string const& path) { file_.store(path.c_str()); }
    char const* text(std::string const& stanza, std::string const& key) {
        file_.getValue(stanza.c_str(), key.c_str(), out_, 0, nullptr);
        return out_.getChars();
    }
    long integer(std::string const& stanza, std::string const& key) {
        return static_cast<long>(file_.getIntegerValue(stanza.c_str(), key.c_str(), 0, 0));
    }
    bool boolean(std::string const& stanza, std::string const& key) {
        return file_.getBooleanValue(stanza.c_str(), key.c_str(), 0, 0) != 0;
    }
    void set(std::string const& stanza, std::string const& key, std::string const& value) {
        file_.setValue(stanza.c_str(), key.c_str(), value.c_str());
    }
    void erase(std::string const& stanza, std::string const& key) {
        file_.deleteKey(stanza.c_str(), key.c_str());
    }
    void eraseStanza(std::string const& stanza) { file_.deleteStanza(stanza.c_str()); }

protected:
    ZStanzaFileProperties_5_1& file() { return file_; }

private:
    ZStanzaFileProperties_5_1 file_{1};
    ZLCString_5_1 out_;
};

// Z as programs in C meet it: every text is a new block that the caller releases.
class ZCFile {
public:
    ZCFile() = default;
    ZCFile(ZCFile const&) = delete;
    ZCFile& operator=(ZCFile const&) = delete;
    ~ZCFile() {
        zstzPropFree_5_1(out_);
        zstzPropClose_5_1(file_);
    }

    void load(std::string const& path) {
        require(zstzPropOpen_5_1(&file_, path.c_str(), ZPROP_OPEN_READ) == ZPROP_DONE, "C: open");
    }
    char const* text(std::string const& stanza, std::string const& key) {
        zstzPropFree_5_1(out_);
        out_ = zstzPropGetStringValue_5_1(file_, stanza.c_str(), key.c_str(), 0, &rc_);
        return out_ != nullptr ? out_ : "";
    }
    long integer(std::string const& stanza, std::string const& key) {
        return static_cast<long>(
            zstzPropGetIntegerValue_5_1(file_, stanza.c_str(), key.c_str(), 0, &rc_));
    }
    bool boolean(std::string const& stanza, std::string const& key) {
        return zstzPropGetBooleanValue_5_1(file_, stanza.c_str(), key.c_str(), 0, &rc_) != 0;
    }
    void batch(std::vector<Name> const& names) {
        requests_.clear();
        texts_.resize(names.size());
        for (std::size_t i = 0; i < names.size(); ++i) {
            requests_.push_back(
                {ZPROP_STRING, names[i].stanza.c_str(), names[i].key.c_str(), 1, &texts_[i]});
        }
        int const count = static_cast<int>(names.size());
        require(zstzPropGetValues_5_1(file_, requests_.data(), count) == ZPROP_DONE, "C: batch");
        benchmark::ClobberMemory();
        zstzPropFreeValuesList_5_1(file_, requests_.data(), count);
    }

private:
    ZPROP_handle* file_ = nullptr;
    unsigned int rc_ = 0;
    char* out_ = nullptr;
    std::vector<ZPROPValueRequest> requests_;
    std::vector<char*> texts_;
};

// The same in C++, with a new string for each text: one of up to 95 bytes needs no block.
class ZFreshFile : public ZFile {
public:
    char const* text(std::string const& stanza, std::string const& key) {
        out_.emplace();
        file().getValue(stanza.c_str(), key.c_str(), *out_, 0, nullptr);
        return out_->getChars();
    }
    void batch(std::vector<Name> const& names) {
        items_.clear();
        texts_.clear();
        texts_.resize(names.size());
        for (std::size_t i = 0; i < names.size(); ++i) {
            items_.push_back({ZStzFileItem_5_1::textValue,
                              names[i].stanza.c_str(),
                              names[i].key.c_str(),
                              0,
                              &texts_[i],
                              {}});
        }
        file().getItems(items_.data(), static_cast<int>(names.size()));
        benchmark::ClobberMemory();
    }

protected:
    std::vector<ZLCString_5_1> texts_;

private:
    std::optional<ZLCString_5_1> out_;
    std::vector<ZStzFileItem_5_1> items_;
};

// And with a block for each text, as the C interface has to give one.
class ZCopiedFile : public ZFreshFile {
public:
    ZCopiedFile() = default;
    ZCopiedFile(ZCopiedFile const&) = delete;
    ZCopiedFile& operator=(ZCopiedFile const&) = delete;
    ~ZCopiedFile() { std::free(copy_); }

    char const* text(std::string const& stanza, std::string const& key) {
        std::free(copy_);
        copy_ = strdup(ZFreshFile::text(stanza, key));
        return copy_;
    }
    void batch(std::vector<Name> const& names) {
        ZFreshFile::batch(names);
        copies_.clear();
        for (ZLCString_5_1 const& text : texts_) copies_.push_back(strdup(text.getChars()));
        benchmark::ClobberMemory();
        for (char* copy : copies_) std::free(copy);
    }

private:
    char* copy_ = nullptr;
    std::vector<char*> copies_;
};

// Keeps comments and blank lines. Checks that values are UTF-8 and knows escapes and translations,
// so text() always is a new block. Its own storing replaces the file and waits for the disk; here
// the text it makes is written in place, as Z does.
class GKeyFileFile {
public:
    static constexpr char const* who = "GKeyFile";

    GKeyFileFile() : file_(g_key_file_new()) {}
    GKeyFileFile(GKeyFileFile const&) = delete;
    GKeyFileFile& operator=(GKeyFileFile const&) = delete;
    ~GKeyFileFile() {
        g_free(out_);
        g_key_file_free(file_);
    }

    void load(std::string const& path) {
        require(g_key_file_load_from_file(file_, path.c_str(), G_KEY_FILE_KEEP_COMMENTS, nullptr),
                "GKeyFile: load");
    }
    void store(std::string const& path) {
        gsize length = 0;
        char* text = g_key_file_to_data(file_, &length, nullptr);
        int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
        bool done = write(descriptor, text, length) == static_cast<ssize_t>(length) &&
                    ftruncate(descriptor, static_cast<off_t>(length)) == 0;
        close(descriptor);
        g_free(text);
        require(done, "GKeyFile: store");
    }
    char const* text(std::string const& stanza, std::string const& key) {
        g_free(out_);
        out_ = g_key_file_get_string(file_, stanza.c_str(), key.c_str(), nullptr);
        return out_ != nullptr ? out_ : "";
    }
    // The value as it stands in the file, without looking for escapes.
    char const* rawText(std::string const& stanza, std::string const& key) {
        g_free(out_);
        out_ = g_key_file_get_value(file_, stanza.c_str(), key.c_str(), nullptr);
        return out_ != nullptr ? out_ : "";
    }
    long integer(std::string const& stanza, std::string const& key) {
        return g_key_file_get_integer(file_, stanza.c_str(), key.c_str(), nullptr);
    }
    bool boolean(std::string const& stanza, std::string const& key) {
        return g_key_file_get_boolean(file_, stanza.c_str(), key.c_str(), nullptr) != 0;
    }
    void set(std::string const& stanza, std::string const& key, std::string const& value) {
        g_key_file_set_string(file_, stanza.c_str(), key.c_str(), value.c_str());
    }
    void erase(std::string const& stanza, std::string const& key) {
        g_key_file_remove_key(file_, stanza.c_str(), key.c_str(), nullptr);
    }
    void eraseStanza(std::string const& stanza) {
        g_key_file_remove_group(file_, stanza.c_str(), nullptr);
    }

private:
    GKeyFile* file_;
    char* out_ = nullptr;
};

// Keeps comments that stand right above a stanza or key, not blank lines. Case counts, no repeated
// keys, UTF-8. Hands out pointers to its own text; here they are copied into the caller's string.
// A value that is replaced stays in memory until the file is closed.
class SimpleIniFile {
public:
    static constexpr char const* who = "SimpleIni";

    void load(std::string const& path) {
        require(file_.LoadFile(path.c_str()) >= 0, "SimpleIni: load");
    }
    void store(std::string const& path) {
        require(file_.SaveFile(path.c_str(), false) >= 0, "SimpleIni: store");
    }
    char const* text(std::string const& stanza, std::string const& key) {
        out_ = file_.GetValue(stanza.c_str(), key.c_str(), "");
        return out_.c_str();
    }
    long integer(std::string const& stanza, std::string const& key) {
        return file_.GetLongValue(stanza.c_str(), key.c_str());
    }
    bool boolean(std::string const& stanza, std::string const& key) {
        return file_.GetBoolValue(stanza.c_str(), key.c_str());
    }
    void set(std::string const& stanza, std::string const& key, std::string const& value) {
        file_.SetValue(stanza.c_str(), key.c_str(), value.c_str());
    }
    void erase(std::string const& stanza, std::string const& key) {
        file_.Delete(stanza.c_str(), key.c_str());
    }
    void eraseStanza(std::string const& stanza) { file_.Delete(stanza.c_str(), nullptr); }

private:
    CSimpleIniCaseA file_{true, false, false};
    std::string out_;
};

// Drops comments and blank lines.
class PropertyTreeFile {
public:
    static constexpr char const* who = "PropertyTree";
    typedef boost::property_tree::ptree Tree;

    void load(std::string const& path) { boost::property_tree::read_ini(path, tree_); }
    void store(std::string const& path) { boost::property_tree::write_ini(path, tree_); }
    char const* text(std::string const& stanza, std::string const& key) {
        Tree* section = find(&tree_, stanza);
        Tree* entry = section != nullptr ? find(section, key) : nullptr;
        if (entry == nullptr) return "";
        out_ = entry->data();
        return out_.c_str();
    }
    long integer(std::string const& stanza, std::string const& key) {
        return find(find(&tree_, stanza), key)->get_value<long>();
    }
    bool boolean(std::string const& stanza, std::string const& key) {
        return find(find(&tree_, stanza), key)->get_value<bool>();
    }
    void set(std::string const& stanza, std::string const& key, std::string const& value) {
        Tree* section = find(&tree_, stanza);
        if (Tree* entry = find(section, key)) {
            entry->data() = value;
        } else {
            section->push_back({key, Tree(value)});
        }
    }
    void erase(std::string const& stanza, std::string const& key) {
        find(&tree_, stanza)->erase(key);
    }
    void eraseStanza(std::string const& stanza) { tree_.erase(stanza); }

private:
    static Tree* find(Tree* tree, std::string const& name) {
        auto found = tree->find(name);
        return found != tree->not_found() ? &found->second : nullptr;
    }

    Tree tree_;
    std::string out_;
};

// Reads only: drops comments and blank lines, cannot be changed or stored. Ignores the case of
// names.
class InihFile {
public:
    static constexpr char const* who = "inih";

    void load(std::string const& path) {
        file_ = std::make_unique<INIReader>(path);
        require(file_->ParseError() == 0, "inih: load");
    }
    char const* text(std::string const& stanza, std::string const& key) {
        out_ = file_->Get(stanza, key, none_);
        return out_.c_str();
    }
    long integer(std::string const& stanza, std::string const& key) {
        return file_->GetInteger(stanza, key, 0);
    }
    bool boolean(std::string const& stanza, std::string const& key) {
        return file_->GetBoolean(stanza, key, false);
    }

private:
    std::unique_ptr<INIReader> file_;
    std::string out_;
    std::string none_;
};

}  // namespace bench

#endif
