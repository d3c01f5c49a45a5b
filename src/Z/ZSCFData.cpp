// ZSCFData: reads stanza text into the store and writes it back.
// Subsystem: properties, layer 5. Test: tests/ZStanzaFileProperties_test.cpp
#include "ZSCFData.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ZException.h"
#include "zraise.h"

namespace {

constexpr char const* unit = "src/Z/ZStanzaFileProperties";
constexpr char const* engine = "src/Z/ZProperties";  // where all failures of files come from

constexpr std::size_t longestPiece = 8191;
constexpr std::size_t readStep = std::size_t{64} * 1024;

bool isSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

using Block = std::unique_ptr<char, void (*)(void*)>;

void resize(Block& block, std::size_t size) {
    void* fresh = std::realloc(block.get(), size);
    if (!fresh) z_5_1::raise(unit, ZOutOfMemoryException_5_1());
    (void)block.release();
    block.reset(static_cast<char*>(fresh));
}

// How much to make room for when the first `size` bytes were not all.
std::size_t roomFor(std::FILE* in, std::size_t size) {
    std::size_t room = size + std::max(size / 2, readStep);
    struct stat status;
    if (fstat(fileno(in), &status) == 0 && status.st_size > 0) {
        if (static_cast<unsigned long long>(status.st_size) > SIZE_MAX / 4) {
            z_5_1::raise(unit, ZOutOfMemoryException_5_1());
        }
        // One more than is there, so that the end shows.
        auto const whole = static_cast<std::size_t>(status.st_size) + 1;
        if (whole > size) room = whole;
    }
    if (room > SIZE_MAX / 2) z_5_1::raise(unit, ZOutOfMemoryException_5_1());
    return room;
}

// The whole stream in one block with a byte to spare behind it. Most files are small: the size is
// asked for only when the first step does not tell it.
Block readAll(char const* file, std::FILE* in, std::size_t& size) {
    char first[8192];
    std::size_t room = sizeof first;
    size = std::fread(first, 1, room, in);
    Block block(nullptr, std::free);
    resize(block, size + 1);
    std::memcpy(block.get(), first, size);
    while (size == room) {
        room = roomFor(in, size);
        resize(block, room + 1);
        size += std::fread(block.get() + size, 1, room - size, in);
    }
    if (std::ferror(in)) {
        z_5_1::raise(engine, ZPropertiesIOException_5_1(file, "fopen(r)", errno));
    }
    if (room > sizeof first && room - size > readStep) resize(block, size + 1);
    return block;
}

}  // namespace

ZSCFData_5_1::~ZSCFData_5_1() = default;

// ---- reading ----

class ZSCFData_5_1::Reader {
public:
    Reader(ZSCFData_5_1& store, char const* file, char* text, std::size_t size)
        : store_(store),
          file_(file),
          next_(text),
          end_(text + size),
          hasNul_(std::memchr(text, '\0', size) != nullptr),
          keepLayout_((store.attributes_ & keepLayout) != 0) {}

    void read() {
        while (next_ != end_) readPiece();
    }

private:
    void readPiece() {
        ++line_;
        char* first = next_;
        std::size_t const room = std::min(static_cast<std::size_t>(end_ - first), longestPiece);
        auto* feed = static_cast<char*>(std::memchr(first, '\n', room));
        pieceEnd_ = next_ = feed ? feed + 1 : first + room;
        char* last = pieceEnd_;
        if (hasNul_) last = first + strnlen(first, static_cast<std::size_t>(last - first));
        while (last != first && isSpace(last[-1])) --last;
        while (first != last && isSpace(*first)) ++first;
        if (first == last) {
            if (keepLayout_) store_.appendLine(ZPropLine_5_1::blank, PropText());
        } else if (*first == '#') {
            if (keepLayout_) store_.appendLine(ZPropLine_5_1::comment, slice(first, last));
        } else if (*first == '[') {
            readHead(first, last);
        } else {
            readKey(first, last);
        }
    }

    void readHead(char* first, char* last) {
        char* name = first + 1;
        auto* bracket =
            static_cast<char*>(std::memchr(name, ']', static_cast<std::size_t>(last - name)));
        if (!bracket) invalid(first, last);
        auto const length = static_cast<std::size_t>(bracket - name);
        if (store_.find(name, length)) invalid(first, last);
        stanza_ = &store_.appendStanza(slice(name, bracket));
        stanza_->hasHead = true;
        namesDatabase_ = std::strcmp(name, z_5_1::databaseStanza) == 0;
    }

    void readKey(char* first, char* last) {
        auto* equals =
            static_cast<char*>(std::memchr(first, '=', static_cast<std::size_t>(last - first)));
        if (!stanza_ || !equals || equals == first) invalid(first, last);
        char* keyEnd = equals;
        while (isSpace(keyEnd[-1])) --keyEnd;
        char* value = equals + 1;
        while (value != last && isSpace(*value)) ++value;
        auto const keyLength = static_cast<std::size_t>(keyEnd - first);
        PropKey* key = stanza_->find(first, keyLength);
        if (!key) {
            key = &stanza_->append(slice(first, keyEnd));
            stanza_->placeLast(*key);
        }
        if (value != last) key->addPlain(slice(value, last));
        if (namesDatabase_ && value != last && std::strcmp(key->text, z_5_1::databaseKey) == 0) {
            store_.setDatabaseName(ZLCString_5_1(value, static_cast<unsigned>(last - value)));
        }
    }

    // [first, last) with a NUL behind it, in place or, where the next piece begins, as a copy.
    PropText slice(char* first, char* last) {
        auto const length = static_cast<std::size_t>(last - first);
        if (last == pieceEnd_ && last != end_) return PropText::copyOf(first, length);
        *last = '\0';
        return {first, static_cast<std::uint32_t>(length), false};
    }

    [[noreturn]] void invalid(char const* first, char const* last, int at = __builtin_LINE()) {
        ZLCString_5_1 const data(first, static_cast<unsigned>(last - first));
        z_5_1::raise(unit, ZPropertiesInvalidDataException_5_1(file_, data.getChars(), line_), at);
    }

    ZSCFData_5_1& store_;
    char const* file_;
    char* next_;
    char* end_;
    char* pieceEnd_ = nullptr;
    bool hasNul_;
    bool keepLayout_;
    ZPKVList_5_1* stanza_ = nullptr;
    bool namesDatabase_ = false;
    int line_ = 0;
};

void ZSCFData_5_1::be_read(char const* file, std::FILE* in) {
    std::size_t size;
    content().texts.push_back(readAll(file, in, size));
    Reader(*this, file, content().texts.back().get(), size).read();
}

// ---- writing ----

namespace {

// Collects text into pieces worth a call.
class TextOut {
public:
    explicit TextOut(std::FILE* out) : out_(out) { text_.reserve(readStep + longestPiece); }

    void put(char const* chars, std::size_t length) {
        text_.append(chars, length);
        if (text_.size() > readStep) flush();
    }
    template <std::size_t size>
    void put(char const (&literal)[size]) {
        put(literal, size - 1);
    }
    void putLine(char const* key, std::size_t keyLength, char const* value, std::size_t length) {
        put(key, keyLength);
        put(" = ");
        put(value, length);
        put("\n");
    }
    void flush() {
        std::fwrite(text_.data(), 1, text_.size(), out_);
        text_.clear();
    }

private:
    std::FILE* out_;
    std::string text_;
};

void putKey(TextOut& out, z_5_1::PropKey const& key) {
    switch (key.values) {
        case z_5_1::PropValues::slice:
        case z_5_1::PropValues::block:
            out.putLine(key.text, key.length, key.value, key.valueLength);
            return;
        case z_5_1::PropValues::lists:
            if (key.isObfuscated()) return;
            break;
        case z_5_1::PropValues::none:
            break;
    }
    unsigned int const count = key.count(false);
    for (unsigned int i = 0; i < count; ++i) {
        auto const& values = static_cast<ZArrayList_5_1 const&>(*key.pair->get(0));
        auto const& value = static_cast<ZLCString_5_1 const&>(*values.get(i));
        out.putLine(key.text, key.length, value.getChars(), std::strlen(value.getChars()));
    }
    if (count == 0) {
        out.put(key.text, key.length);
        out.put(" =\n");
    }
}

void putLines(TextOut& out, z_5_1::PropLine const* line, char const* omittedKey) {
    for (; line; line = line->next) {
        if (line->type != ZPropLine_5_1::key) {
            out.put(line->text, line->length);
            out.put("\n");
        } else if (!omittedKey || std::strcmp(line->text, omittedKey) != 0) {
            putKey(out, static_cast<z_5_1::PropKey const&>(*line));
        }
    }
}

}  // namespace

void ZSCFData_5_1::be_write(char const*, std::FILE* stream) {
    TextOut out(stream);
    putLines(out, content().preamble.first(), nullptr);
    for (ZPKVList_5_1* stanza = content().firstStanza; stanza; stanza = stanza->nextStanza) {
        bool const omits =
            omitDatabaseKey_ && std::strcmp(stanza->nameChars(), z_5_1::databaseStanza) == 0;
        if (stanza->hasHead) {
            out.put("[");
            out.put(stanza->nameChars(), stanza->nameLength());
            out.put("]\n");
        }
        putLines(out, stanza->firstLine(), omits ? z_5_1::databaseKey : nullptr);
    }
    out.flush();
}
