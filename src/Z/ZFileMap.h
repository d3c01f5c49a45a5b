// ZFileMap: a file, or its first bytes, mapped into memory.
// Subsystem: concurrency, layer 2. Test: tests/ZFileMap_test.cpp
#ifndef Z_ZFILEMAP_H
#define Z_ZFILEMAP_H

#include "ZLCString.h"

// Which file is mapped, how and where. Nothing is thrown but for want of memory by the
// constructors: errors are errno values. Lengths are in bytes. No locking: callers serialise.
class Z_API ZAbstractFileMap_5_1 {
public:
    // Any other number counts as readWrite.
    enum zmapmode : int {
        readOnly = 0,   // writing to the mapping is SIGSEGV
        create = 1,     // read and write; the file is made (0600) and extended to the length asked
        readWrite = 2,  // the file is neither made nor extended
    };

    // Maps the first `length` bytes, the whole file for 0, and returns the address, null when *err
    // receives an error. A mapping made before is released first.
    virtual void* mapfile(int* err, unsigned long length) = 0;

    // Releases mapping and file; does nothing when there is none. *err is written by a failure
    // only.
    virtual void unmapfile(int* err) = 0;

    virtual ~ZAbstractFileMap_5_1() noexcept;

    // Those given to the constructor.
    ZLCString_5_1 const& fileName() const { return fileName_; }
    zmapmode mode() const { return mode_; }
    // Kept for the caller.
    int flags() const { return flags_; }
    // The mapping, null when there is none.
    void* address() const { return address_; }
    // The mapped length; that of the last mapping when there is none.
    unsigned long length() const { return length_; }

protected:
    // Not mapped. The name is copied; nothing is looked up.
    ZAbstractFileMap_5_1(ZLCString_5_1 const& fileName, zmapmode mode, int flags);
    // The same file, mode and flags, not mapped.
    ZAbstractFileMap_5_1(ZAbstractFileMap_5_1 const& other);
    // Changes nothing.
    ZAbstractFileMap_5_1& operator=(ZAbstractFileMap_5_1 const& other);

    // What the functions of these names give.
    ZLCString_5_1 fileName_;
    zmapmode mode_;
    int flags_;
    void* address_;
    unsigned long length_;
};

// Maps shared: what is written goes to the file. The bytes of a mapping that lie beyond the end of
// the file, because a length was asked for that it does not have or because somebody shortened it,
// must not be touched: SIGBUS.
class Z_API ZUnixFileMap_5_1 : public ZAbstractFileMap_5_1 {
public:
    // Not mapped. The name is copied; nothing is looked up.
    ZUnixFileMap_5_1(ZLCString_5_1 const& fileName, zmapmode mode, int flags);

    // The same file, mode and flags, not mapped.
    ZUnixFileMap_5_1(ZUnixFileMap_5_1 const& other);

    // Maps this object's own file at its full length when the other object is mapped; changes
    // nothing else.
    ZUnixFileMap_5_1& operator=(ZUnixFileMap_5_1 const& other);

    // Errors: EINVAL when length is 0 and the file is empty or cannot be examined, nothing is
    // opened then; ENOENT also when the file came out as descriptor 0, which is closed; EOVERFLOW
    // for a file larger than the address space; else that of the failing call. A file that was made
    // or extended stays so. `err` may be null.
    void* mapfile(int* err, unsigned long length) override;

    // An error is that of munmap or close; both are tried. `err` may be null.
    void unmapfile(int* err) override;

    // Unmaps and drops errors.
    ~ZUnixFileMap_5_1() noexcept override;

private:
    int fd_;  // 0 when no file is open
};

#endif
