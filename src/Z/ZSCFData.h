// ZSCFData: reads stanza text into the store and writes it back.
// Subsystem: properties, layer 5. Test: tests/ZStanzaFileProperties_test.cpp
//
// Internal. The text of a file is read once, into one block that the store keeps: names, values
// and comments are slices of it, ended by a NUL that is put over the white space, "=" or "]" behind
// them. The rules of the text stand in ZStanzaFileProperties.h; beyond them:
//
// 1. A line ends behind its line feed or after 8191 bytes; each such piece counts as one line.
// 2. A piece is read up to its first NUL.
// 3. White space is blank, tab, line feed, vertical tab, form feed and carriage return.
// 4. A slice that reaches the end of a piece which a full 8191 bytes cut has nothing behind it to
//    overwrite: it is copied.
#ifndef Z_ZSCFDATA_H
#define Z_ZSCFDATA_H

#include <cstddef>

#include "ZPropertiesImpl.h"

class Z_API ZSCFData_5_1 : public ZPCategoryBasedCache_5_1 {
public:
    ~ZSCFData_5_1() override;

    // Appends what the text holds. Throws ZPropertiesInvalidDataException_5_1 (what stands before
    // the line stays in the store) and, when the stream fails, ZPropertiesIOException_5_1.
    void be_read(char const* file, std::FILE* in) override;
    // Lines in order: a key's plain values each as "key = value", "key =" without any, nothing for
    // a key with obfuscated values; comments and blank lines as they were read.
    void be_write(char const* file, std::FILE* out) override;

    // The content of the companion database (in ZSCFDatabase.cpp). Reading throws
    // ZPropertiesInvalidDataException_5_1 (what stands before the fault stays in the store).
    void be_read_obfuscated(ZBuffer_5_1& in) override;
    void be_write_obfuscated(ZBuffer_5_1& out) override;
    bool databaseLoadsBack() override;

private:
    class Reader;

    void readRecords(char const* next, std::size_t size);
    [[noreturn]] void invalidDatabase(int line = __builtin_LINE()) const;
};

#endif
