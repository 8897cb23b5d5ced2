// Shared by the fuzz targets.
#pragma once

#include <lumora/lumora.h>

namespace lumora::fuzz {

// The strange-masks message would otherwise go to standard error on every
// input that has such masks. Installed once, on the first input.
inline void SilenceMessages() {
    static const LUMORA_MESSAGE_HANDLER previous =
        GetLumoraManager().SetMessageHandler([](const char*, const char*, UINT) { return 1; });
    (void)previous;
}

}  // namespace lumora::fuzz
