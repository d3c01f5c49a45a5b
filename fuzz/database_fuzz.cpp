// The companion database of a small file: any bytes, any records in a sound stream, a sound
// database with some bytes changed. Loading gives the values that a plain second reader finds, or
// fails as it does, and changes neither file. A store then makes the two files sound again.
//
// The first byte of an input is r: the file as it is. s: records, "|" for NUL, to be compressed.
// c: the same, less as many bytes as the second byte says. e: triples of two bytes for a place and
// one for what to put there, in a sound database. E: the same, and the check sum made right again.
#include "stanza_compare.h"

namespace {

using namespace fuzz;

std::string const mainFile = folder() + "/main", database = folder() + "/main.database";

std::string const mainText =
    "# settings\n[server]\nhost = h\n# password = none\n\nport = 1\n\n[configuration-database]\n"
    "file = " +
    database + "\n";
std::string const someRecords =
    "server|password|secret of the server||server|password|another||server|host|hidden||"
    "other|key|value\nin two lines||configuration-database|file|x|";

std::string sealed(std::string records) {
    std::replace(records.begin(), records.end(), '|', '\0');
    uLongf size = compressBound(records.size());
    std::string stream(size, '\0');
    FUZZ_CHECK(compress(reinterpret_cast<Bytef*>(stream.data()), &size,
                        reinterpret_cast<Bytef const*>(records.data()), records.size()) == Z_OK);
    stream.resize(size);
    return stream;
}

std::string edited(std::string const& edits) {
    static std::string const sound = sealed(someRecords);
    std::string stream = sound;
    auto const byte = [&edits](std::size_t i) { return static_cast<unsigned char>(edits[i]); };
    for (std::size_t i = 0; i + 2 < edits.size(); i += 3) {
        stream[(byte(i) * 256u + byte(i + 1)) % stream.size()] = edits[i + 2];
    }
    return stream;
}

// The head and the check sum that go with the deflated data, if its end can be found.
std::string resealed(std::string stream) {
    std::string content(4 * stream.size(), '\0');
    z_stream state = {};
    FUZZ_CHECK(inflateInit2(&state, -MAX_WBITS) == Z_OK);
    state.next_in = reinterpret_cast<Bytef*>(&stream[2]);
    state.avail_in = static_cast<uInt>(stream.size() - 2);
    state.next_out = reinterpret_cast<Bytef*>(content.data());
    state.avail_out = static_cast<uInt>(content.size());
    bool const isWhole = inflate(&state, Z_FINISH) == Z_STREAM_END;
    uLong const sum =
        adler32(1, reinterpret_cast<Bytef*>(content.data()), static_cast<uInt>(state.total_out));
    stream.resize(2 + state.total_in);
    inflateEnd(&state);
    stream[0] = 0x78;
    stream[1] = 0x01;
    for (int shift = 24; isWhole && shift >= 0; shift -= 8)
        stream += static_cast<char>(sum >> shift);
    return stream;
}

std::string databaseOf(std::string const& input) {
    std::string const rest = input.substr(std::min<std::size_t>(1, input.size()));
    switch (input.empty() ? 'r' : input[0]) {
        case 's':
            return sealed(rest);
        case 'c': {
            std::string stream = sealed(rest.substr(std::min<std::size_t>(1, rest.size())));
            std::size_t const cut = rest.empty() ? 0 : static_cast<unsigned char>(rest[0]);
            return stream.substr(0, stream.size() - std::min(cut, stream.size()));
        }
        case 'e':
            return edited(rest);
        case 'E':
            return resealed(edited(rest));
        default:
            return rest;
    }
}

bool isUntouched(std::string const& file, struct stat const& before) {
    struct stat now;
    return stat(file.c_str(), &now) == 0 && now.st_ino == before.st_ino &&
           now.st_size == before.st_size && now.st_ctim.tv_sec == before.st_ctim.tv_sec &&
           now.st_ctim.tv_nsec == before.st_ctim.tv_nsec;
}

// Takes the obfuscated keys away; those without a name can only be stored again.
void eraseHidden(Properties& properties, StanzaModel& model) {
    for (auto const& name : std::vector<StanzaModel::Name>(model.hiddenKeys)) {
        char const *const stanza = name.first.c_str(), *const key = name.second.c_str();
        Outcome const expected =
            model.deleteKey(name.first, name.second) ? Outcome::done : Outcome::refused;
        FUZZ_CHECK(outcomeOf([&] { properties.deleteKey(stanza, key); }) == expected);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    writeFile(mainFile, mainText);
    writeFile(database, databaseOf(std::string(reinterpret_cast<char const*>(data), size)));
    struct stat mainBefore, databaseBefore;
    FUZZ_CHECK(stat(mainFile.c_str(), &mainBefore) == 0);
    FUZZ_CHECK(stat(database.c_str(), &databaseBefore) == 0);

    Properties properties(1);
    StanzaModel model;
    bool isKnown = loadBoth(properties, model, mainFile);
    FUZZ_CHECK(isUntouched(mainFile, mainBefore) && isUntouched(database, databaseBefore));
    bool const isThorough = size % 4 == 0;  // slow: a quarter of the inputs will do
    compare(properties, model, isThorough);
    if (!isThorough) return 0;

    isKnown = isKnown || !model.hiddenKeys.empty();
    storeBoth(properties, model, mainFile);
    compare(properties, model, false);
    StanzaModel readModel;
    readBack(readModel, mainFile);
    eraseHidden(properties, model);
    storeBoth(properties, model, mainFile);
    if (model.hiddenKeys.empty()) FUZZ_CHECK(readFile(database).has_value() == !isKnown);
    return 0;
}
