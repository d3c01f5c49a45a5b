#include <Z/ZException.h>
#include <Z/ZStanzaFileProperties.h>

#include <cstdio>
#include <cstring>

// What goes wrong, in words of one's own; dumpException() would tell it in those of the library.
static void check(char const* file, char const* key) {
    try {
        ZStanzaFileProperties_5_1 const conf(file, 0);
        std::printf("%s is %u\n", key, conf.getIntegerValue("session", key, 1, 0));
    } catch (ZPropertiesMissingPropertyException_5_1 const& missing) {
        std::printf("%s lacks %s in [%s]\n", missing.propFile(), missing.key(), missing.category());
    } catch (ZPropertiesInvalidValueException_5_1 const& wrong) {
        std::printf("%s: %s is no number: %s\n", wrong.propFile(), wrong.key(), wrong.value());
    } catch (ZPropertiesInvalidDataException_5_1 const& syntax) {
        std::printf("%s:%d: what is this? %s\n", syntax.propFile(), syntax.badline(),
                    syntax.baddata());
    } catch (ZPropertiesIOException_5_1 const& access) {
        std::printf("%s: %s\n", access.propFile(), std::strerror(access.excerrno()));
    } catch (ZException_5_1 const& other) {
        std::printf("%s, code %lu\n", other.name(), other.code());
    }
}

int main(int, char** argv) {
    check(argv[1], "lifetime");
    check(argv[1], "timeout");
    check("nowhere.conf", "timeout");
    std::FILE* const file = std::fopen(argv[1], "a");
    std::fputs("timeout 30\n", file);
    std::fclose(file);
    check(argv[1], "timeout");
}
