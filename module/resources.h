// The library's user-visible text and the routine that shows it.
#pragma once

#include <lumora/export.h>
#include <lumora/framework.h>

namespace lumora::detail {

// String resource of the library's one translatable warning.
inline constexpr UINT kIdsCallSetCoefficientFirst = 7000;

// Text of string resource `id` from the current language library, or the
// library's built-in English text until a language library is loaded. On
// Windows: LoadStringA from the module's current resource handle, which is
// the library itself (English) until a language library is loaded.
// Exported (though not public) so the tests can reach the process's state.
LUMORA_API CString LoadResourceString(UINT id);

// Shows `text` through the current message handler, with the host
// application's caption, and returns the handler's answer.
LUMORA_API int ShowLumoraMessage(const char* text, UINT style);

// Shows `text` under its own `caption` through the current message handler,
// as a box that no window owns, and returns the handler's answer.
int ShowUnownedMessage(const char* text, const char* caption, UINT style);

}  // namespace lumora::detail
