// One file reader (LUMORA_FUZZ_READER: ReadBmp, ReadPng or ReadPnm) on
// arbitrary files: an image or ImageFileError, nothing else.
#include <cstddef>
#include <cstdint>
#include <vector>

#include <lumora/lumora.h>

#include "io/formats.h"

namespace {
int Silent(const char*, const char*, UINT) { return 1; }
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size) {
    static const LUMORA_MESSAGE_HANDLER installed = GetLumoraManager().SetMessageHandler(Silent);
    (void)installed;
    const std::vector<std::uint8_t> bytes(data, data + size);
    CVxImage image;
    try {
        lumora::io::detail::LUMORA_FUZZ_READER("fuzz input", bytes, image);
    } catch (const lumora::io::ImageFileError&) {
    }
    return 0;
}
