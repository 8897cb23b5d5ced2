// Provisional: the built-in English text and a message line on standard
// error, until the module frame with language libraries takes over.
#include "resources.h"

#include <cstdio>

namespace lumora::detail {

CString LoadResourceString(UINT id) {
    if (id == kIdsCallSetCoefficientFirst) return "You should call a SetCoefficient and CreateVectorTable function first.";
    return CString();
}

int ShowLumoraMessage(const char* text, UINT /*style*/) {
    std::fprintf(stderr, "lumora: %s\n", text);
    return 1;
}

}  // namespace lumora::detail
