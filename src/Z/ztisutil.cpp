// ztisutil: the process's codesets and language, and C string functions that know codesets.
// Subsystem: strings, layer 1. Test: tests/ztisutil_test.cpp
#include "ztisutil.h"

#include <pthread.h>
#include <tis/tis.h>

#include <atomic>
#include <climits>
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "ZException.h"
#include "ZLCString.h"
#include "zraise.h"

namespace {

constexpr char const* unit = "src/Z/ztisutil";
constexpr int noEnvironmentLine = 123;
constexpr int noCodesetLine = 127;

constexpr char const* defaultDirectory = "/opt/Quorvane/nls/TIS";

// Made once by initialise(), then only read.
std::atomic<char const*> localeName;
std::atomic<tis_loc*> localeHandle;
std::atomic<char const*> codesetName;
std::atomic<void*> codesetHandle;
std::atomic<void*> utf8Handle;
std::atomic<bool> environmentSet;

pthread_once_t once = PTHREAD_ONCE_INIT;

// Builds no strings and throws nothing: the first string of the process is waiting for it.
void initialise() {
    if (localeName.load() != nullptr) return;
    setlocale(LC_ALL, "");
    tis_set_dir(defaultDirectory);
    if (std::getenv("TISDIR") == nullptr) return;
    environmentSet = true;

    char language[512];
    char canonical[512];
    if (tis_os_lang_name(language, sizeof language) != 0) return;
    if (tis_canonical_loc(language, canonical, sizeof canonical) != 0) return;
    localeHandle = tis_loc_new(canonical);
    localeName = strdup(canonical);

    char codeset[32];
    if (tis_os_cs_name(codeset, sizeof codeset) != 0) return;
    codesetName = strdup(codeset);
    codesetHandle = tis_cs_new(codeset);
    utf8Handle = tis_cs_new("UTF8");
}

void checkOutcome() {
    if (!environmentSet) {
        z_5_1::raiseAt(unit, noEnvironmentLine, ZNoTISEnvironmentException_5_1());
    }
    if (codesetHandle.load() == nullptr) {
        z_5_1::raiseAt(unit, noCodesetLine, ZCodesetException_5_1(codesetName.load()));
    }
    if (utf8Handle.load() == nullptr) {
        z_5_1::raiseAt(unit, noCodesetLine, ZCodesetException_5_1("UTF8"));
    }
}

// Reporting a failure builds strings, which ask for the handles again: those calls of the same
// thread get the values as they stand.
thread_local bool starting = false;

void start() {
    if (starting) return;
    struct Starting {
        Starting() { starting = true; }
        ~Starting() { starting = false; }
    } guard;
    pthread_once(&once, initialise);
    try {
        checkOutcome();
    } catch (ZException_5_1& exception) {
        exception.print();
    }
}

template <class Value>
Value started(std::atomic<Value>& value) {
    Value known = value.load(std::memory_order_acquire);
    if (__builtin_expect(known != nullptr, 1)) return known;
    start();
    return value.load(std::memory_order_acquire);
}

// Without a report: the functions that use the local codeset say by their result what failed.
void* localCodeset() {
    void* handle = codesetHandle.load(std::memory_order_acquire);
    if (handle == nullptr) {
        pthread_once(&once, initialise);
        handle = codesetHandle.load(std::memory_order_acquire);
    }
    return handle;
}

tis_cs* cs(void* handle) {
    return static_cast<tis_cs*>(handle);
}

bool isSingleByte(void* handle) {
    return handle == codesetHandle.load(std::memory_order_acquire) && MB_CUR_MAX == 1;
}

// The first byte from `p` on that is not ASCII, or `end`. Below 0x80 every byte that begins a
// character is one, in all codesets of the text services.
char const* skipAscii(char const* p, char const* end) {
    for (; end - p >= 8; p += 8) {
        std::uint64_t word;
        std::memcpy(&word, p, sizeof word);
        if ((word & UINT64_C(0x8080808080808080)) != 0) break;
    }
    while (p != end && static_cast<unsigned char>(*p) < 0x80) ++p;
    return p;
}

// Writes `code` in `count` bytes, the last one first.
void encode(unsigned int code, int count, unsigned char* out) {
    static unsigned char const firstByteMark[] = {0, 0x00, 0xC0, 0xE0, 0xF0};
    for (int i = count - 1; i > 0; --i) {
        out[i] = static_cast<unsigned char>((code | 0x80) & 0xBF);
        code >>= 6;
    }
    out[0] = static_cast<unsigned char>(code | firstByteMark[count]);
}

using Classify = int (*)(tis_wchar);

int classLength(Classify isMember, void* handle, char const* s, int n) {
    if (s == nullptr || n == 0) return 0;
    tis_wchar wc = 0;
    int const length = tis_mbtowc(cs(handle), &wc, s, n);
    return length >= 1 && isMember(wc) ? length : 0;
}

}  // namespace

extern "C" {

char const* zgetlocale_5_1(void) {
    return started(localeName);
}

char const* zgetLocalCodesetName_5_1(void) {
    return started(codesetName);
}

void* zgetUTF8Handle_5_1(void) {
    return started(utf8Handle);
}

void* zgetLCSHandle_5_1(void) {
    return started(codesetHandle);
}

int zset_cs_dir_5_1(char const* dir) {
    return dir == nullptr ? 0 : tis_set_dir(dir);
}

int zlcs_to_utf8_5_1(char const* src, int srcLen, char* dst, int dstLen) {
    if (src == nullptr || srcLen == 0 || dst == nullptr || dstLen == 0) return 0;
    return tis_to_utf8(cs(localCodeset()), src, srcLen, dst, dstLen);
}

int zlcs_from_utf8_5_1(char const* src, int srcLen, char* dst, int dstLen) {
    if (src == nullptr || srcLen == 0 || dst == nullptr || dstLen == 0) return 0;
    return tis_from_utf8(cs(localCodeset()), src, srcLen, dst, dstLen);
}

char* zstrchr_5_1(void* handle, char const* s, int c) {
    return tis_strchr(cs(handle), s, c);
}

char* zstrrchr_5_1(void* handle, char const* s, int c) {
    return tis_strrchr(cs(handle), s, c);
}

int zstricmp_5_1(void* handle, char const* s1, char const* s2) {
    return tis_stricmp(cs(handle), localeHandle.load(std::memory_order_acquire), s1, s2);
}

int zstrnicmp_5_1(void* handle, char const* s1, char const* s2, int n) {
    return tis_strnicmp(cs(handle), localeHandle.load(std::memory_order_acquire), s1, s2, n);
}

char* zstrlower_5_1(void* handle, char* s) {
    return tis_strlower(cs(handle), s);
}

char* zstrupper_5_1(void* handle, char* s) {
    return tis_strupper(cs(handle), s);
}

char* zstrptime_5_1(void* handle, char const* s, char const* format, struct tm* out) {
    return tis_strptime(cs(handle), s, format, out);
}

char* zstrncpy_5_1(void* handle, char* dst, char const* src, int n) {
    return tis_strncpy(cs(handle), dst, src, n);
}

char* zstrncat_5_1(void* handle, char* dst, char const* src, int n) {
    return tis_strncat(cs(handle), dst, src, n);
}

int zstrcspn_5_1(void* handle, char const* s, char const* set) {
    return tis_strcspn(cs(handle), s, set);
}

int zstrspn_5_1(void* handle, char const* s, char const* set) {
    return tis_strspn(cs(handle), s, set);
}

char* zstrtok_5_1(void* handle, char* s, char const* delimiters) {
    return tis_strtok(cs(handle), s, delimiters);
}

char* zstrpbrk_5_1(void* handle, char const* s, char const* set) {
    return tis_strpbrk(cs(handle), s, set);
}

char* zstrstr_5_1(void* handle, char const* s, char const* sub) {
    return tis_strstr(cs(handle), s, sub);
}

int ziswalnum_5_1(unsigned short wc) {
    return tis_iswalnum(wc);
}

int ziswalpha_5_1(unsigned short wc) {
    return tis_iswalpha(wc);
}

int ziswdigit_5_1(unsigned short wc) {
    return tis_iswdigit(wc);
}

int ziswlower_5_1(unsigned short wc) {
    return tis_iswlower(wc);
}

int ziswspace_5_1(unsigned short wc) {
    return tis_iswspace(wc);
}

int ziswupper_5_1(unsigned short wc) {
    return tis_iswupper(wc);
}

int zmblen_5_1(void* handle, char const* s, int n) {
    return isSingleByte(handle) ? 1 : tis_mblen(cs(handle), s, n);
}

int zstrcount_5_1(void* handle, char const* s) {
    if (s == nullptr) return 0;
    char const* const end = s + std::strlen(s);
    char const* p = end;
    if (!isSingleByte(handle)) {
        p = skipAscii(s, end);
        for (int n; p != end && (n = tis_mblen(cs(handle), p, 4)) > 0;) p = skipAscii(p + n, end);
    }
    return p - s > INT_MAX ? INT_MAX : static_cast<int>(p - s);
}

int zisalpha_5_1(void* handle, char const* s, int n) {
    return classLength(tis_iswalpha, handle, s, n);
}

int zisspace_5_1(void* handle, char const* s, int n) {
    return classLength(tis_iswspace, handle, s, n);
}

int zmbtowc_5_1(void* handle, unsigned short* wc, char const* s, int n) {
    tis_wchar converted = 0;
    int const length = tis_mbtowc(cs(handle), &converted, s, n);
    if (wc != nullptr) *wc = converted;
    return length;
}

int zconvert_UTF16_to_UTF8_5_1(unsigned short const** srcStart, unsigned short const* srcEnd,
                               unsigned char** dstStart, unsigned char* dstEnd) {
    if (srcStart == nullptr || dstStart == nullptr) return 0;
    unsigned short const* source = *srcStart;
    unsigned char* target = *dstStart;
    int result = 0;
    while (source < srcEnd) {
        unsigned int code = source[0];
        int units = 1;
        if (code >= 0xD800 && code <= 0xDBFF && srcEnd - source > 1 && source[1] >= 0xDC00 &&
            source[1] <= 0xDFFF) {
            code = ((code - 0xD800) << 10) + source[1] + 0x2400;
            units = 2;
        }
        int const count = code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
        if (dstEnd - target < count) {
            result = 2;
            break;
        }
        encode(code, count, target);
        target += count;
        source += units;
    }
    *srcStart = source;
    *dstStart = target;
    return result;
}

}  // extern "C"

int ZGetLocale(ZLCString_5_1& out) {
    out = zgetlocale_5_1();
    return 0;
}
