// Any bytes as a stanza file. What the library makes of them, by all of its accessors, is what a
// plain second reader makes of them; stored, the text is to the byte what that reader writes; and
// that text, loaded and stored again, stays as it is.
//
// A 0x1e, a character and a count stand for 64 times as many of them: lines end at 8191 bytes.
#include "stanza_compare.h"

namespace {

using namespace fuzz;

std::string expanded(char const* bytes, std::size_t size) {
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        if (bytes[i] == 0x1e && i + 2 < size && text.size() < 40000) {
            text.append(64u * static_cast<unsigned char>(bytes[i + 2]), bytes[i + 1]);
            i += 2;
        } else {
            text += bytes[i];
        }
    }
    return text;
}

// Longer lines are read as several. One of 8191 bytes leaves its line end for the next, a blank
// line.
bool hasLongLine(std::string const& text) {
    for (std::size_t at = 0; at < text.size();) {
        std::size_t const end = text.find('\n', at);
        if (end == std::string::npos || end - at > 8190) return true;
        at = end + 1;
    }
    return false;
}

std::string writtenText(Properties& properties) {
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const out = open_memstream(&text, &size);
    properties.writeText(nullptr, out);
    std::fclose(out);
    std::string const result(text, size);
    std::free(text);
    return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static std::string const file = folder() + "/text";
    std::string const text = expanded(reinterpret_cast<char const*>(data), size);
    StanzaModel model;
    bool const keepsLayout = size % 8 != 7;
    model.keepsLayout = keepsLayout;
    (void)model.read(text);
    if (model.database.find('/') != std::string::npos) return -1;  // another's file
    writeFile(file, text);

    Properties properties(keepsLayout);
    model = StanzaModel();
    model.keepsLayout = keepsLayout;
    loadBoth(properties, model, file);
    bool const isThorough = size % 4 == 3;  // slow: a quarter of the inputs will do
    compare(properties, model, isThorough);
    storeBoth(properties, model, file);
    if (!isThorough) return 0;

    StanzaModel again;
    if (!readBack(again, file)) return 0;  // a line became too long
    FUZZ_CHECK(hasLongLine(model.text()) || again.text() == model.text());
    properties.reload(nullptr);
    FUZZ_CHECK(!keepsLayout || writtenText(properties) == again.text());
    return 0;
}
