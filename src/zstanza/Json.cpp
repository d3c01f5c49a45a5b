// Json: results as JSON, which is UTF-8 while files are in the local codeset.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#include "Json.h"

#include <optional>

#include "Failure.h"

namespace zstanza {

namespace {

// The library turns what it cannot convert into the empty text, which must not pass for the value.
std::optional<std::string> toUtf8(std::string const& text) {
    ZLCConstString_5_1 local(text.c_str());
    ZUTF8String_5_1 converted(local);
    if (converted.isEmpty() && !text.empty()) return std::nullopt;
    return converted.getChars();
}

}  // namespace

std::string shown(std::string const& value, bool obfuscated) {
    return obfuscated ? "an obfuscated value" : value;
}

std::string utf8(StanzaFile const& file, std::string const& text, bool obfuscated) {
    std::optional<std::string> converted = toUtf8(text);
    if (!converted) {
        throw Failure(wrongType, file.name(),
                      "not text of the local codeset, so JSON cannot hold it: " +
                          ascii(shown(text, obfuscated)));
    }
    return *converted;
}

Json utf8(StanzaFile const& file, std::vector<std::string> const& texts, bool obfuscated) {
    Json out = Json::array();
    for (std::string const& text : texts) out.push_back(utf8(file, text, obfuscated));
    return out;
}

std::string utf8Name(std::string const& name) {
    return toUtf8(name).value_or(ascii(name));
}

void mark(Json& object, Values const& values) {
    if (values.obfuscated) object["obfuscated"] = true;
}

void print(Json const& result, std::string& out) {
    out += result.dump();
    out += '\n';
}

}  // namespace zstanza
