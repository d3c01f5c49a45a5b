/* ZSharedLibrary: a shared library loaded by name, and the loader's calls with error numbers. */
/* Subsystem: platform, layer 2. Test: tests/ZSharedLibrary_test.cpp */
#ifndef Z_ZSHAREDLIBRARY_H
#define Z_ZSHAREDLIBRARY_H

#include "zexport.h"

#ifdef __cplusplus
extern "C" {
#endif

/* dlopen(), dlsym(), dlclose() and dlerror(). *err, which may be null, receives 0 or errno as the
   call leaves it; the loader seldom sets it, so a failure may come with 0. What went wrong is told
   by zdlerror. The first three set the caller's errno to 0 before they ask the loader, so a success
   loses it as well. */

/* A mode of 0 is RTLD_NOW | RTLD_GLOBAL. Null on failure; for a null file with ENOENT. */
Z_API void* zdlopen_5_1(char const* file, int mode, int* err);
/* Null on failure and for null arguments. */
Z_API void* zdlsym_5_1(void* handle, char const* symbol, int* err);
/* Not 0 on failure; -1 with ENOENT for a null handle. */
Z_API int zdlclose_5_1(void* handle, int* err);
/* What the last failing call of this thread has to say, to be freed by the caller; null when there
   is nothing that has not been told before. */
Z_API char* zdlerror_5_1(void);

#ifdef __cplusplus
}

#include "ZLCString.h"

// The name of a library, how it is to be loaded and what went wrong. No locking: callers serialise.
class Z_API ZAbstractSharedLibrary_5_1 : public ZObject_5_1 {
public:
    ~ZAbstractSharedLibrary_5_1() noexcept override;

    // The mode of zdlopen_5_1.
    int getFlags() const { return flags_; }
    void setFlags(int flags) { flags_ = flags; }

    // As it was given.
    ZLCString_5_1 const& getLibraryName() const { return libraryName_; }

    // Of the last failure; empty and 0 before. Null empties the message.
    ZLCString_5_1 const& getLastErrorMessage() const { return lastErrorMessage_; }
    void setLastErrorMessage(char const* message) { lastErrorMessage_ = message; }
    int getLastErrorNumber() const { return lastErrorNumber_; }
    void setLastErrorNumber(int number) { lastErrorNumber_ = number; }

protected:
    // Flags 0, no failure. The name is copied; null is the empty one.
    explicit ZAbstractSharedLibrary_5_1(char const* name);

    ZAbstractSharedLibrary_5_1(ZAbstractSharedLibrary_5_1 const& other);
    ZAbstractSharedLibrary_5_1& operator=(ZAbstractSharedLibrary_5_1 const& other);

    ZLCString_5_1 libraryName_;       // see getLibraryName()
    ZLCString_5_1 suffix1_;           // what loadLibrary() may take from the name or add
    ZLCString_5_1 suffix2_;           // the same, tried after it
    int flags_;                       // see getFlags()
    ZLCString_5_1 lastErrorMessage_;  // see getLastErrorMessage()
    int lastErrorNumber_;             // see getLastErrorNumber()
};

// A failing load, unload or look-up keeps errno and the message of the loader here and throws both.
class Z_API ZSharedLibrary_5_1 : public ZAbstractSharedLibrary_5_1 {
public:
    // Not loaded. The empty name, also that of null, stands for the running program.
    ZSharedLibrary_5_1();
    ZSharedLibrary_5_1(char const* name);

    // Everything but the handle: a copy is not loaded, nor is what was assigned to. That does not
    // unload what was loaded before. Assigning to itself does nothing.
    ZSharedLibrary_5_1(ZSharedLibrary_5_1 const& other);
    ZSharedLibrary_5_1& operator=(ZSharedLibrary_5_1 const& other);

    // Leaves the library loaded.
    ~ZSharedLibrary_5_1() noexcept override;

    ZObject_5_1* clone() const override;

    // Of the library names; an object that is no shared library is ordered by address.
    unsigned long hash() const override;
    int compare(ZObject_5_1 const& other) const override;

    // Loads the library by its name and, where that fails, by the name without ".so" at its end or
    // with it added; the name ".so" is thus cut to the empty one, the running program. Returns 0.
    // Loading once more adds a reference, which only the loader counts.
    // Throws ZSharedLibraryLoadException_5_1 (code 51) with what the first attempt met; or, when
    // initialize() gives another value than 0, with "initialize", the library then being loaded.
    int loadLibrary();

    // Called after each load; 0 here.
    virtual int initialize();

    // The address of a symbol, never null. Throws ZSharedLibraryResolveException_5_1 (code 52).
    void* resolveSymbol(char const* name);

    // Returns 0; not loaded then. Throws ZSharedLibraryLoadException_5_1 (code 51).
    int unloadLibrary();

    // Null while not loaded.
    void* getHandle() const { return handle_; }

    // RTLD_LAZY instead of RTLD_NOW, or the reverse.
    int getLazyResolution() const;
    void setLazyResolution(int lazy);

    // Without RTLD_GLOBAL, or with it. Flags of 0 stay 0 for the local scope, which is the global
    // one again; for the global scope they become RTLD_GLOBAL (256) alone, which the loader refuses
    // until setLazyResolution() has chosen a binding. getLocalScope() gives 0 whatever the flags.
    int getLocalScope() const { return 0; }
    void setLocalScope(int local);

    // Keeps the number and what zdlerror_5_1() has to say, or no message.
    void setLastError(int err);

private:
    void* handle_;
};
#endif

#endif
