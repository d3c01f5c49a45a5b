// process_gkeyfile: reads one value with GLib's GKeyFile, and ends. It uses nothing of the C++
// library, so the linker leaves that out.
#include <glib.h>

#include "process_main.h"

int main(int argc, char** argv) {
    auto const read = [](char const* path, char const* stanza, char const* key,
                         char const* expected) {
        GKeyFile* file = g_key_file_new();
        bool same = false;
        if (g_key_file_load_from_file(file, path, G_KEY_FILE_KEEP_COMMENTS, nullptr)) {
            char* value = g_key_file_get_string(file, stanza, key, nullptr);
            same = value != nullptr && std::strcmp(value, expected) == 0;
            g_free(value);
        }
        g_key_file_free(file);
        return same;
    };
    return processMain(argc, argv, read);
}
