#include "resources.h"

#include <lumora/hostinfo.h>

#include "lumora_app.h"

namespace lumora::detail {

#if !defined(_WIN32)
namespace {

struct BuiltInString {
    UINT id;
    const char* text;
};

// The library carries its English texts itself, so it speaks English until a
// language library is chosen and wherever that library lacks a string. (On
// Windows they are the library's own string resources.)
constexpr BuiltInString kBuiltInStrings[] = {
#define LUMORA_STRING(id, text) {id, text},
#include "lang/strings_eng.inc"
#undef LUMORA_STRING
};

}  // namespace
#endif

CString LoadResourceString(UINT id) {
    CString text;
    if (GetLumoraApp().LoadLanguageString(id, text)) return text;
#if !defined(_WIN32)
    for (const BuiltInString& entry : kBuiltInStrings)
        if (entry.id == id) return CString(entry.text);
#endif
    return CString();
}

int ShowLumoraMessage(const char* text, UINT style) {
    const CString caption = GetHostInfoKeeper().GetCaption();
    return GetLumoraApp().GetMessageHandler()(text ? text : "", caption, style);
}

int ShowUnownedMessage(const char* text, const char* caption, UINT style) {
    const LUMORA_MESSAGE_HANDLER handler = GetLumoraApp().GetMessageHandler();
#if defined(_WIN32)
    // The default handler looks for an owner; this box has none.
    if (handler == DefaultMessageHandler) return MessageBoxA(nullptr, text, caption, style);
#endif
    return handler(text, caption, style);
}

}  // namespace lumora::detail
