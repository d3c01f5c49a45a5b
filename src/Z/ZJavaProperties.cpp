// ZJavaProperties: flat pairs of key and value in files of the Java properties syntax.
// Subsystem: properties, layer 4. Test: tests/ZJavaProperties_test.cpp
#include "ZJavaProperties.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <type_traits>
#include <utility>

#include "ZException.h"
#include "ZList.h"
#include "zraise.h"
#include "zreport.h"
#include "zretried.h"
#include "ztisutil.h"

static_assert(std::is_convertible<ZJavaProperties_5_1*, ZObject_5_1*>::value,
              "one way up to the root");

#ifdef __ILP32__
static_assert(sizeof(ZJavaProperties_5_1) == 524, "the record is fixed on 32 bits");
#endif

namespace {

constexpr char const* unit = "src/Z/ZJavaProperties";

bool isBlank(signed char c) {
    return c == ' ' || c == '\t' || c == '\v' || c == '\f';
}

bool isLineEnd(int c) {
    return c == '\n' || c == '\r';
}

bool isSeparator(signed char c) {
    return c == ':' || c == '=';
}

bool beginsComment(signed char c) {
    return c == '!' || c == '#';
}

// -1 for what is none.
int hexDigit(signed char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// The bytes that mean something inside a key or a value; all others belong to it.
class Marks {
public:
    constexpr explicit Marks(char const* bytes) : marked_() {
        marked_[0] = true;
        for (; *bytes != '\0'; ++bytes) marked_[static_cast<unsigned char>(*bytes)] = true;
    }
    bool operator[](char c) const { return marked_[static_cast<unsigned char>(c)]; }

private:
    bool marked_[256];
};
constexpr Marks inKeys("\\ \t\v\f:=\n\r");
constexpr Marks inValues("\\\n\r");

// The bytes of a file that nobody has read from, a block at a time.
class Bytes {
public:
    // cppcheck-suppress uninitMemberVar ; fill() fills the block as far as it is read
    explicit Bytes(std::FILE* file) : descriptor_(fileno(file)) {}

    // EOF at the end and after an error.
    int next() { return at_ != end_ || fill() ? static_cast<unsigned char>(*at_++) : EOF; }
    bool failed() const { return failed_; }

    // Appends what the block holds up to the next mark; behind its end there is a NUL, which is
    // one. A byte was read before.
    void moveRun(ZUTF8String_5_1& text, Marks const& marks) {
        char* const run = at_;
        while (!marks[*at_]) ++at_;
        if (at_ == run) return;
        // append() with a length marks the string as one that may hold NULs.
        char const behind = std::exchange(*at_, '\0');
        text.append(run);
        *at_ = behind;
    }

private:
    bool fill() {
        ssize_t const got =
            z_5_1::retried([&] { return read(descriptor_, block_, sizeof block_ - 1); });
        failed_ = got == -1;
        at_ = block_;
        end_ = block_ + (failed_ ? 0 : got);
        *end_ = '\0';
        return at_ != end_;
    }

    int descriptor_;
    bool failed_ = false;
    char* at_ = nullptr;
    char* end_ = nullptr;
    char block_[8192];
};

// A file under its record lock, as a stream. What it made or wrote over goes with it unless
// close() was reached.
class LockedFile {
public:
    // F_RDLCK for reading; F_WRLCK for writing, which empties the file once it is locked. Throws
    // ZPropertiesIOException_5_1.
    LockedFile(char const* path, short lockType) : LockedFile(path) {
        bool const reads = lockType == F_RDLCK;
        char const* const open = reads ? "fopen(r)" : "fopen(wt)";
        descriptor_ = reads ? ::open(path, O_RDONLY | O_CLOEXEC) : openForWriting();
        if (descriptor_ == -1) fail(open);
        stream_ = fdopen(descriptor_, reads ? "r" : "w");
        if (!stream_) fail(open);
        struct flock lock = {};
        lock.l_type = lockType;
        lock.l_whence = SEEK_SET;
        if (fcntl(descriptor_, F_SETLK, &lock) == -1) {
            // Who holds it now stores in the file that was made here.
            if (errno == EAGAIN) unlinks_ = false;
            fail("fcntl()");
        }
        if (reads) return;
        // Devices and pipes have no content to be emptied of, and stay whatever comes.
        bool const emptied = ftruncate(descriptor_, 0) == 0;
        if (!emptied && errno != EINVAL) fail(open);
        unlinks_ = emptied;
    }
    LockedFile(LockedFile const&) = delete;
    LockedFile& operator=(LockedFile const&) = delete;
    ~LockedFile() {
        // Closing is a cancellation point.
        z_5_1::NotCancelled const whole;
        if (stream_) {
            std::fclose(stream_);
        } else if (descriptor_ != -1) {
            ::close(descriptor_);
        }
        if (unlinks_) unlink(path_);
    }

    std::FILE* stream() const { return stream_; }

    // Closes and keeps the file. The result is fclose's, which knows nothing of a failure that a
    // flush has met before; errno does: it is 0 when all was written.
    int close() {
        int const before = ferror_unlocked(stream_) ? errno : 0;
        // Also after a failure: it drops what fclose would try again to write.
        int const flushing = std::fflush(stream_) == 0 ? 0 : errno;
        int const writing = before != 0 ? before : flushing;
        int const result = std::fclose(std::exchange(stream_, nullptr));
        int const closing = result == 0 ? 0 : errno;
        descriptor_ = -1;
        unlinks_ = false;
        errno = writing != 0 ? writing : closing;
        return result;
    }

private:
    // Completes the object, so that a constructor that throws runs the destructor.
    explicit LockedFile(char const* path) : path_(path) {}

    // Not truncated: the content is another process's for as long as that holds the lock.
    int openForWriting() {
        int const descriptor = ::open(path_, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        unlinks_ = descriptor != -1;
        if (descriptor != -1 || errno != EEXIST) return descriptor;
        return ::open(path_, O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    }

    [[noreturn]] void fail(char const* api, int line = __builtin_LINE()) const {
        z_5_1::raise(unit, ZPropertiesIOException_5_1(path_, api, errno), line);
    }

    char const* path_;
    int descriptor_ = -1;
    std::FILE* stream_ = nullptr;
    bool unlinks_ = false;
};

// The characters of a stored key or value; none where its class has no clone.
char const* charsOf(ZObject_5_1 const* text) {
    return text ? static_cast<ZAbstractString_5_1 const*>(text)->getChars() : "";
}

void write(std::FILE* file, char const* text, std::size_t bytes) {
    fwrite_unlocked(text, 1, bytes, file);
}

// The character at `p`, which is not ASCII, as an escape of four digits. Gives the bytes it took. A
// byte that begins no sequence of two or three bytes, or one that the text ends within, leaves an
// escape without digits: so does each byte of a character beyond 16 bits.
std::size_t writeEscape(std::FILE* file, unsigned char const* p) {
    unsigned int const lead = p[0] >> 4;
    unsigned int code = 0;
    std::size_t bytes = 1;
    if ((lead == 12 || lead == 13) && p[1] != 0) {
        code = (p[0] & 31u) * 64 + (p[1] & 63u);
        bytes = 2;
    } else if (lead == 14 && p[1] != 0 && p[2] != 0) {
        code = (p[0] & 15u) * 4096 + (p[1] & 63u) * 64 + (p[2] & 63u);
        bytes = 3;
    }
    constexpr char const* digits = "0123456789abcdef";
    char const escape[] = {'\\',
                           'u',
                           digits[code >> 12],
                           digits[code >> 8 & 15],
                           digits[code >> 4 & 15],
                           digits[code & 15]};
    write(file, escape, bytes == 1 ? 2 : sizeof escape);
    return bytes;
}

void writeValue(std::FILE* file, char const* text) {
    auto const* p = reinterpret_cast<unsigned char const*>(text);
    while (*p != 0) {
        auto const* const run = p;
        while (*p != 0 && *p <= 126 && *p != '\\' && *p != ':') ++p;
        write(file, reinterpret_cast<char const*>(run), static_cast<std::size_t>(p - run));
        if (*p > 126) {
            p += writeEscape(file, p);
        } else if (*p != 0) {
            char const escape[] = {'\\', static_cast<char>(*p++)};
            write(file, escape, sizeof escape);
        }
    }
}

}  // namespace

ZJavaProperties_5_1::ZJavaProperties_5_1() : states_(), entries_(10, 1), unit_() {
    states_[startLine] = &ZJavaProperties_5_1::doStartLineState;
    states_[startLineBlanks] = &ZJavaProperties_5_1::doStartLineBlanksState;
    states_[commentLine] = &ZJavaProperties_5_1::doCommentLineState;
    states_[keyChars] = &ZJavaProperties_5_1::doKeyCharsState;
    states_[keyCharEscape] = &ZJavaProperties_5_1::doKeyCharEscapeState;
    states_[keyEndBlanksFirst] = &ZJavaProperties_5_1::doKeyEndBlanksFirstState;
    states_[keyEndBlanksFinal] = &ZJavaProperties_5_1::doKeyEndBlanksFinalState;
    states_[valChars] = &ZJavaProperties_5_1::doValCharsState;
    states_[valEscape] = &ZJavaProperties_5_1::doValEscapeState;
    states_[multiLineVal] = &ZJavaProperties_5_1::doMultiLineValState;
    states_[uu0] = &ZJavaProperties_5_1::doUU0State;
    states_[uu1] = &ZJavaProperties_5_1::doUU1State;
    states_[uu2] = &ZJavaProperties_5_1::doUU2State;
    states_[uu3] = &ZJavaProperties_5_1::doUU3State;
}

ZJavaProperties_5_1::~ZJavaProperties_5_1() {}

ZObject_5_1* ZJavaProperties_5_1::clone() const {
    z_5_1::raise(unit, ZAbstractNotImplementedException_5_1("ZJavaProperties::clone"));
}

void ZJavaProperties_5_1::getValue(ZAbstractString_5_1 const& key,
                                   ZAbstractMutableString_5_1& out) const {
    ZUTF8String_5_1 name;
    name.setChars(key);
    out.clear();
    if (ZObject_5_1 const* const value = entries_.getEntry(&name)) {
        out.setChars(*static_cast<ZAbstractString_5_1 const*>(value));
    }
}

void ZJavaProperties_5_1::setValue(ZAbstractString_5_1 const& key,
                                   ZAbstractString_5_1 const& value) {
    entries_.putEntry(&key, &value);
}

// ---- reading ----

int ZJavaProperties_5_1::load(char const* path) {
    return load(path, nullptr);
}

// A cancellation passes as an exception without an object, to which its handler's reference binds.
__attribute__((no_sanitize("undefined"))) int ZJavaProperties_5_1::load(char const* path,
                                                                        char const* stopKey) {
    if (!path || !*path) return 1;
    int opened = 0;
    try {
        stopKey_ = stopKey;
        LockedFile const file(path, F_RDLCK);
        opened = 1;
        loadProperties(file.stream(), path);
    } catch (ZException_5_1& exception) {
        z_5_1::NotCancelled const whole;
        z_5_1::quietly(unit, [&] { exception.print(); });
    }
    Z_CATCH_ALL {}
    return opened;
}

// 1 when the file was read to its end or to the stop key.
int ZJavaProperties_5_1::loadProperties(std::FILE* file, char const* path) {
    int state = startLine;
    int previous = 0;
    Bytes bytes(file);
    for (;;) {
        // Most of a file, without a call for each byte: these states append it and stay.
        if (state == keyChars) bytes.moveRun(key_, inKeys);
        if (state == valChars) bytes.moveRun(value_, inValues);
        int const c = bytes.next();
        if (c == EOF) break;
        if (isLineEnd(c) && isLineEnd(previous) && c != previous) {
            previous = 0;  // the pair is one line end; another may follow
            continue;
        }
        previous = c;
        Handler const handler = states_[state];
        if (!handler) z_5_1::raise(unit, ZJavaPropertyParseException_5_1(path));
        state = (this->*handler)(static_cast<signed char>(c));
        if (state == skipLine) state = commentLine;
        if (state == finished) return 1;
        if (state > finished) return 0;
    }
    if (bytes.failed()) z_5_1::raise(unit, ZUnexpectedEndOfFile_5_1(path));
    // A last line that has no end counts only for the stop key.
    if (!key_.isEmpty() && isStopKey()) storePair();
    return 1;
}

// Appends to the key or, in the states of a value, to the value.
int ZJavaProperties_5_1::stays(int state, char c) {
    (state == keyChars ? key_ : value_).append(c);
    return state;
}

int ZJavaProperties_5_1::endPair() {
    storePair();
    return isStopKey() ? finished : startLine;
}

int ZJavaProperties_5_1::doStartLineState(signed char c) {
    key_.clear();
    value_.clear();
    if (isBlank(c)) return startLineBlanks;
    if (beginsComment(c)) return commentLine;
    if (isLineEnd(c)) return startLine;
    return stays(keyChars, c);
}

int ZJavaProperties_5_1::doStartLineBlanksState(signed char c) {
    if (isBlank(c)) return startLineBlanks;
    if (beginsComment(c)) return commentLine;
    if (isLineEnd(c)) return startLine;
    if (isSeparator(c)) return skipLine;
    return stays(keyChars, c);
}

int ZJavaProperties_5_1::doCommentLineState(signed char c) {
    return isLineEnd(c) ? startLine : commentLine;
}

// A key alone takes the next line with it: what is skipped begins after the line end.
int ZJavaProperties_5_1::doKeyCharsState(signed char c) {
    if (c == '\\') return keyCharEscape;
    if (isBlank(c)) return keyEndBlanksFirst;
    if (isSeparator(c)) return keyEndBlanksFinal;
    if (isLineEnd(c)) return skipLine;
    return stays(keyChars, c);
}

int ZJavaProperties_5_1::doKeyCharEscapeState(signed char c) {
    return c == '\\' || isBlank(c) || isSeparator(c) ? stays(keyChars, c) : int{skipLine};
}

int ZJavaProperties_5_1::doKeyEndBlanksFirstState(signed char c) {
    if (isBlank(c)) return keyEndBlanksFirst;
    if (isSeparator(c)) return keyEndBlanksFinal;
    if (c == '\\') return valEscape;
    if (isLineEnd(c)) return skipLine;
    return stays(valChars, c);
}

int ZJavaProperties_5_1::doKeyEndBlanksFinalState(signed char c) {
    if (isBlank(c)) return keyEndBlanksFinal;
    if (isLineEnd(c)) return endPair();
    if (c == '\\') return valEscape;
    return stays(valChars, c);
}

int ZJavaProperties_5_1::doValCharsState(signed char c) {
    if (c == '\\') return valEscape;
    if (isLineEnd(c)) return endPair();
    return stays(valChars, c);
}

// There are no escapes for line ends and tabs: any other character discards the pair.
int ZJavaProperties_5_1::doValEscapeState(signed char c) {
    if (isBlank(c) || c == '"' || c == '\'' || c == ':' || c == '\\') return stays(valChars, c);
    if (isLineEnd(c)) return multiLineVal;
    return c == 'u' || c == 'U' ? uu0 : skipLine;
}

// When the line that continues the value is empty, reading goes on even behind the stop key.
int ZJavaProperties_5_1::doMultiLineValState(signed char c) {
    if (c == '\\') return valEscape;
    if (isBlank(c)) return multiLineVal;
    if (!isLineEnd(c)) return stays(valChars, c);
    if (stopKey_.isEmpty() || isStopKey()) storePair();
    return startLine;
}

int ZJavaProperties_5_1::addDigit(signed char c, int next) {
    int const digit = hexDigit(c);
    if (digit == -1) return skipLine;
    unit_[0] = static_cast<std::uint16_t>(unit_[0] * 16 + digit);
    return next;
}

int ZJavaProperties_5_1::doUU0State(signed char c) {
    unit_[0] = 0;
    return addDigit(c, uu1);
}

int ZJavaProperties_5_1::doUU1State(signed char c) {
    return addDigit(c, uu2);
}

int ZJavaProperties_5_1::doUU2State(signed char c) {
    return addDigit(c, uu3);
}

// Each escape is a character of its own, also the halves of a surrogate pair.
int ZJavaProperties_5_1::doUU3State(signed char c) {
    int const next = addDigit(c, valChars);
    if (next == skipLine) return next;
    unsigned short const* from = unit_;
    unsigned char utf8[4];
    unsigned char* to = utf8;
    if (zconvert_UTF16_to_UTF8_5_1(&from, unit_ + 1, &to, std::end(utf8)) != 0) {
        z_5_1::raise(unit, ZToUTF8Exception_5_1());
    }
    value_.append(reinterpret_cast<char*>(utf8), static_cast<unsigned int>(to - utf8));
    return next;
}

// ---- writing ----

// Keys go out as they are: one with a blank or a separator in it is read back as another pair.
int ZJavaProperties_5_1::store(char const* path) const {
    if (!path || !*path) z_5_1::raise(unit, ZInvalidParameterException_5_1());
    z_5_1::NotCancelled const whole;
    LockedFile file(path, F_WRLCK);
    std::FILE* const stream = file.stream();
    errno = 0;
    write(stream, "#\n", 2);
    ZArrayList_5_1 keys(2, 0);
    ZArrayList_5_1 values(2, 0);
    entries_.listKeys(keys);
    entries_.listObjects(values);
    for (unsigned int i = 0; i < keys.size(); ++i) {
        char const* const key = charsOf(keys.get(i));
        write(stream, key, std::strlen(key));
        write(stream, " = ", 3);
        writeValue(stream, charsOf(values.get(i)));
        write(stream, "\n", 1);
    }
    return file.close();
}
