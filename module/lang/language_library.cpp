// A language library for systems without string resources: the string list
// named by LUMORA_LANGUAGE_STRINGS behind the lookup function the library
// resolves by name.
#include "language_library.h"

#include <cstring>

#ifndef LUMORA_LANGUAGE_STRINGS
#error "LUMORA_LANGUAGE_STRINGS must name the string list of this language"
#endif

namespace {

struct StringResource {
    unsigned id;
    const char* text;
};

constexpr StringResource kStrings[] = {
#define LUMORA_STRING(id, text) {id, text},
#include LUMORA_LANGUAGE_STRINGS
#undef LUMORA_STRING
};

bool IsContinuationByte(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

}  // namespace

extern "C" __attribute__((visibility("default"))) int LumoraLoadString(unsigned id, char* buffer, int size) {
    if (!buffer || size <= 0) return 0;
    buffer[0] = '\0';
    for (const StringResource& entry : kStrings) {
        if (entry.id != id) continue;
        size_t length = std::strlen(entry.text);
        if (length > static_cast<size_t>(size - 1)) {
            length = static_cast<size_t>(size - 1);
            // A cut inside a multi-byte character would leave half of it.
            while (length > 0 && IsContinuationByte(entry.text[length])) --length;
        }
        std::memcpy(buffer, entry.text, length);
        buffer[length] = '\0';
        return static_cast<int>(length);
    }
    return 0;
}
