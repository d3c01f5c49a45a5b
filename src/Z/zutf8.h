// zutf8: the length of the plain cases of a character in UTF-8, without a call.
// Subsystem: strings, layer 2. Test: tests/ZStringTokenizer_test.cpp
#ifndef Z_ZUTF8_H
#define Z_ZUTF8_H

namespace z_5_1 {

// 2 or 3 for a character at `p` whose bytes after the first may be any continuation; 0 for all
// others, valid or not, which are left to zmblen_5_1(). Reads nothing behind a NUL.
inline int plainUTF8Length(char const* p) {
    auto const byte = [p](int at) { return static_cast<unsigned char>(p[at]); };
    auto const continues = [&byte](int at) { return (byte(at) & 0xC0) == 0x80; };
    unsigned char const first = byte(0);
    if (first < 0xC2 || first > 0xEF || first == 0xE0 || first == 0xED || !continues(1)) return 0;
    return first < 0xE0 ? 2 : continues(2) ? 3 : 0;
}

}  // namespace z_5_1

#endif
