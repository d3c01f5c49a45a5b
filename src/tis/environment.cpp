// environment: locale and codeset names of the process, handles, dates and formatting.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
#include <langinfo.h>
#include <locale.h>
#include <pthread.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "casing.h"
#include "handle.h"
#include "tis.h"

namespace {

pthread_mutex_t directoryMutex = PTHREAD_MUTEX_INITIALIZER;
char* directory = nullptr;  // kept for who looks at the process; no tables are read from files

tis_loc commonRules = {false};
tis_loc turkicRules = {true};

int copyName(char const* name, char* out, int size) {
    if (name == nullptr || out == nullptr || size <= 0) return -1;
    std::size_t const bytes = std::strlen(name) + 1;
    if (bytes > static_cast<std::size_t>(size)) return -1;
    std::memmove(out, name, bytes);
    return 0;
}

// "tr", "tr_TR.UTF-8", "az-Latn".
bool isTurkic(char const* name) {
    bool const language = std::strncmp(name, "tr", 2) == 0 || std::strncmp(name, "az", 2) == 0;
    return language && (name[2] == 0 || std::strchr("_-.@", name[2]) != nullptr);
}

}  // namespace

int tis_set_dir(char const* dir) {
    char* const copy = dir == nullptr ? nullptr : strdup(dir);
    if (copy == nullptr) return -1;
    pthread_mutex_lock(&directoryMutex);
    char* const old = directory;
    directory = copy;
    pthread_mutex_unlock(&directoryMutex);
    std::free(old);
    return 0;
}

int tis_os_lang_name(char* out, int size) {
    return copyName(setlocale(LC_CTYPE, nullptr), out, size);
}

int tis_os_cs_name(char* out, int size) {
    return copyName(nl_langinfo(CODESET), out, size);
}

int tis_canonical_loc(char const* name, char* out, int size) {
    if (name == nullptr || *name == 0) return -1;
    return copyName(std::strcmp(name, "POSIX") == 0 ? "C" : name, out, size);
}

tis_loc* tis_loc_new(char const* name) {
    if (name == nullptr || *name == 0) return nullptr;
    return isTurkic(name) ? &turkicRules : &commonRules;
}

tis_cs* tis_cs_new(char const* name) {
    tis::Codeset const* const codeset = tis::findCodeset(name);
    if (codeset == nullptr) return nullptr;
    tis_cs* const handle = static_cast<tis_cs*>(std::malloc(sizeof(tis_cs)));
    if (handle != nullptr) handle->codeset = codeset;
    return handle;
}

void tis_cs_free(tis_cs* cs) {
    std::free(cs);
}

char* tis_strptime(tis_cs const*, char const* s, char const* fmt, struct tm* out) {
    if (s == nullptr || fmt == nullptr || out == nullptr) return nullptr;
    return strptime(s, fmt, out);
}

int tis_vsprintf(tis_cs const* cs, char* buf, char const* fmt, va_list args) {
    return tis_vsnprintf(cs, buf, buf == nullptr ? 0 : INT_MAX, fmt, args);
}

int tis_vsnprintf(tis_cs const*, char* buf, int size, char const* fmt, va_list args) {
    if (buf == nullptr || size < 0) size = 0;
    if (fmt == nullptr) {
        if (size > 0) buf[0] = 0;
        return 0;
    }
    return std::vsnprintf(buf, static_cast<std::size_t>(size), fmt, args);
}
