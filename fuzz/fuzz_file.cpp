// One file reader (LUMORA_FUZZ_READER: ReadBmp, ReadPng or ReadPnm) on
// arbitrary files: an image or ImageFileError, nothing else.
#include <cstddef>
#include <cstdint>
#include <vector>

#include <lumora/lumora.h>

#include "fuzz/fuzz_support.h"

#include "io/formats.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size) {
    lumora::fuzz::SilenceMessages();
    const std::vector<std::uint8_t> bytes(data, data + size);
    CVxImage image;
    try {
        lumora::io::detail::LUMORA_FUZZ_READER("fuzz input", bytes, image);
    } catch (const lumora::io::ImageFileError&) {
    }
    return 0;
}
