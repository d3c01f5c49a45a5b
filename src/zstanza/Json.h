// Json: results as JSON, which is UTF-8 while files are in the local codeset.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#ifndef ZSTANZA_JSON_H
#define ZSTANZA_JSON_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "StanzaFile.h"

namespace zstanza {

using Json = nlohmann::ordered_json;  // members in the order they are put in

// Text that cannot be converted is a Failure, whose message tells nothing of obfuscated values.
std::string utf8(StanzaFile const& file, std::string const& text, bool obfuscated = false);
Json utf8(StanzaFile const& file, std::vector<std::string> const& texts, bool obfuscated = false);
// A file's name need not be text, and the work goes on whatever it is.
std::string utf8Name(std::string const& name);
// Marks what holds obfuscated values.
void mark(Json& object, Values const& values);
// One line.
void print(Json const& result, std::string& out);

// What messages show of a value: they end up in logs.
std::string shown(std::string const& value, bool obfuscated);

}  // namespace zstanza

#endif
