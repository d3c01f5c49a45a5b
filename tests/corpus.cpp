// corpus: loads and stores what corpus.py asks for.
// Subsystem: properties, layer 7. Test: tests/corpus.sh
//
// A request is two names on standard input, each ended by a NUL: the file to load and the file to
// store to. The answer is one line: "stored", "refused <line number> <text>" or "failed <cause>".
#include <Z/ZException.h>
#include <Z/ZStanzaFileProperties.h>

#include <iostream>
#include <string>

static std::string roundTrip(std::string const& from, std::string const& to) {
    try {
        ZStanzaFileProperties_5_1 properties(from.c_str(), 1);
        properties.store(to.c_str());
        return "stored";
    } catch (ZPropertiesInvalidDataException_5_1 const& refused) {
        if (from != refused.propFile()) return std::string("failed as ") + refused.propFile();
        return "refused " + std::to_string(refused.badline()) + " " + refused.baddata();
    } catch (ZPropertiesIOException_5_1 const& io) {
        return std::string("failed ") + io.api() + " " + std::to_string(io.excerrno());
    } catch (ZException_5_1 const& other) {
        return std::string("failed ") + other.name();
    }
}

int main() {
    std::ios::sync_with_stdio(false);
    for (std::string from, to;
         std::getline(std::cin, from, '\0') && std::getline(std::cin, to, '\0');) {
        std::cout << roundTrip(from, to) << std::endl;
    }
}
