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

// What the stored text becomes when it is loaded and stored again: a line of 8191 bytes leaves its
// line end for the next, a blank line, which comes behind all values of a key. Nothing when a value
// moved behind " = " made its line longer: that one is read as several.
std::optional<std::string> textAgain(StanzaModel& model) {
    std::string out, stanza;
    for (StanzaModel::Line const& line : model.lines) {
        std::string blanks;
        for (std::string const& text : model.written(line, stanza)) {
            FUZZ_CHECK(text.size() <= 8191 || line.kind == StanzaModel::key);
            if (text.size() > 8191) return std::nullopt;
            if (text.size() == 8191) blanks += "\n";
            out += text + "\n";
        }
        out += blanks;
    }
    return out;
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
    bool const isDeep = size % 4 == 3;  // slow: a quarter of the inputs will do
    compare(properties, model, isDeep);
    storeBoth(properties, model, file);

    StanzaModel again;
    std::optional<std::string> const expected = textAgain(model);
    bool const isLoaded = readBack(again, file, isDeep);
    FUZZ_CHECK(!expected || (isLoaded && again.text() == *expected));
    if (!isLoaded) return 0;
    properties.reload(nullptr);
    FUZZ_CHECK(!keepsLayout || writtenText(properties, nullptr) == again.text());
    return 0;
}
