// The sized ConvertFrom on arbitrary blocks: it may refuse, never read past
// the end. libFuzzer hands over an exactly sized heap copy, so AddressSanitizer
// sees any such read.
#include <cstddef>
#include <cstdint>

#include <lumora/lumora.h>

#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size) {
    lumora::fuzz::SilenceMessages();
    CVxImage image;
    CVxDIBConvert dib(&image);
    auto* block = reinterpret_cast<BITMAPINFOHEADER*>(const_cast<std::uint8_t*>(data));
    if (dib.ConvertFrom(block, size) && image.IsCreated() && image.m_nImageSize > 0) {
        // Touch the result so that uninitialised or short images show.
        volatile std::uint8_t sink = static_cast<std::uint8_t*>(image.GetBuffer())[image.m_nImageSize - 1];
        (void)sink;
    }
    return 0;
}
