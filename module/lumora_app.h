// The module object: the library's process-wide state.
#pragma once

#include <lumora/framework.h>
#include <lumora/lumora_manager.h>

#include "lang/language_library.h"

namespace lumora::detail {

// One per process, constructed when the library is loaded. It owns the
// language library in use and the routine that shows the library's messages.
// The state is unlocked: language switches belong to the host's user-interface
// thread while no operation runs.
class CLumoraApp {
public:
    CLumoraApp();
    ~CLumoraApp();
    CLumoraApp(const CLumoraApp&) = delete;
    CLumoraApp& operator=(const CLumoraApp&) = delete;

    // Start-up work done once the object exists: the common controls on
    // Windows, nothing elsewhere. No language library is loaded here.
    BOOL InitInstance();

    // Loads `fileName` as the language library for `language`. On failure
    // nothing changes and false is returned; on success the previous library
    // is freed and the new one becomes the source of resource strings.
    bool LoadLanguageLibrary(const char* fileName, int language);
    int GetLanguage() const { return m_nLanguage; }

    // String `id` of the module's current resources. Windows: LoadStringA
    // from the resource handle (the language library, or this library itself
    // until one is loaded). Elsewhere: the language library's lookup, false
    // while none is loaded. False when there is no such string.
    bool LoadLanguageString(UINT id, CString& text) const;

#if defined(_WIN32)
    // Where the library's resources are read: the language library once one
    // is loaded, the library's own module before.
    HINSTANCE GetResourceHandle() const { return m_hResourceHandle; }
#endif

    LUMORA_MESSAGE_HANDLER GetMessageHandler() const { return m_pfnMessageHandler; }
    // Null selects DefaultMessageHandler. Returns the previous handler.
    LUMORA_MESSAGE_HANDLER SetMessageHandler(LUMORA_MESSAGE_HANDLER handler);

private:
#if defined(_WIN32)
    using LibraryHandle = HMODULE;
#else
    using LibraryHandle = void*;
#endif
    static void FreeLanguageLibrary(LibraryHandle library);

    // Windows primary language identifier of the resources in use.
    int m_nLanguage;
    // The loaded language library; null while the built-in texts are used.
    LibraryHandle m_hResource;
#if defined(_WIN32)
    HINSTANCE m_hResourceHandle;
#else
    LanguageLoadString m_pfnLoadString;
#endif
    LUMORA_MESSAGE_HANDLER m_pfnMessageHandler;
};

CLumoraApp& GetLumoraApp();

// The library's own instance handle: its HMODULE on Windows, its load base
// (dladdr's dli_fbase for any address inside it) elsewhere.
HINSTANCE LumoraInstanceHandle();

// Windows: a message box owned by the last active pop-up of the active window
// (no owner without an active window). Elsewhere: "<caption>: <text>" as one
// line on standard error, answered with IDOK.
int DefaultMessageHandler(const char* text, const char* caption, UINT style);

}  // namespace lumora::detail
