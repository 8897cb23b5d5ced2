#include "lumora_app.h"

#include <lumora/hostinfo.h>

#include <cstdio>
#include <string>

#if defined(_WIN32)
#include <commctrl.h>
#else
#include <dlfcn.h>
#endif

namespace lumora::detail {

namespace {

constexpr int kLanguageEnglish = 9;
constexpr int kLanguageKorean = 18;

#if defined(_WIN32)
constexpr int kAnswerOk = IDOK;
#else
constexpr int kAnswerOk = 1;
#endif

// Created when the library is loaded; InitInstance follows right after, as the
// application framework would run it for the DLL's application object.
CLumoraApp theApp;
[[maybe_unused]] const BOOL theAppStarted = theApp.InitInstance();

}  // namespace

CLumoraApp::CLumoraApp()
    : m_nLanguage(kLanguageEnglish),
      m_hResource(nullptr),
#if defined(_WIN32)
      m_hResourceHandle(LumoraInstanceHandle()),
#else
      m_pfnLoadString(nullptr),
#endif
      m_pfnMessageHandler(DefaultMessageHandler) {
}

CLumoraApp::~CLumoraApp() {
    if (m_hResource) FreeLanguageLibrary(m_hResource);
}

BOOL CLumoraApp::InitInstance() {
#if defined(_WIN32)
    InitCommonControls();
#endif
    return TRUE;
}

void CLumoraApp::FreeLanguageLibrary(LibraryHandle library) {
#if defined(_WIN32)
    FreeLibrary(library);
#else
    dlclose(library);
#endif
}

bool CLumoraApp::LoadLanguageLibrary(const char* fileName, int language) {
#if defined(_WIN32)
    const LibraryHandle library = LoadLibraryA(fileName);
    if (!library) return false;
#else
    // RTLD_LOCAL: every language library exports the same lookup name, so
    // none may lend it to the process.
    const LibraryHandle library = dlopen(fileName, RTLD_NOW | RTLD_LOCAL);
    if (!library) return false;
    // Without string resources the lookup function is what makes a shared
    // object a language library; anything else is refused like a missing file.
    const auto loadString =
        reinterpret_cast<LanguageLoadString>(dlsym(library, kLanguageLoadStringSymbol));
    if (!loadString) {
        dlclose(library);
        return false;
    }
#endif
    if (m_hResource) FreeLanguageLibrary(m_hResource);
    m_hResource = library;
#if defined(_WIN32)
    m_hResourceHandle = library;
#else
    m_pfnLoadString = loadString;
#endif
    m_nLanguage = language;
    return true;
}

bool CLumoraApp::LoadLanguageString(UINT id, CString& text) const {
#if defined(_WIN32)
    if (!m_hResourceHandle) return false;
#else
    if (!m_hResource) return false;
#endif
    // Neither lookup tells whether it cut the text, so a result that fills the
    // buffer is read again with a larger one.
    std::string buffer(512, '\0');
    for (;;) {
        const int size = static_cast<int>(buffer.size());
#if defined(_WIN32)
        const int length = LoadStringA(m_hResourceHandle, id, buffer.data(), size);
#else
        const int length = m_pfnLoadString(id, buffer.data(), size);
#endif
        if (length <= 0) return false;
        if (length < size - 4 || buffer.size() >= 65536) {
            text = CString(buffer.data(), length);
            return true;
        }
        buffer.resize(buffer.size() * 2);
    }
}

LUMORA_MESSAGE_HANDLER CLumoraApp::SetMessageHandler(LUMORA_MESSAGE_HANDLER handler) {
    const LUMORA_MESSAGE_HANDLER previous = m_pfnMessageHandler;
    m_pfnMessageHandler = handler ? handler : DefaultMessageHandler;
    return previous;
}

CLumoraApp& GetLumoraApp() { return theApp; }

HINSTANCE LumoraInstanceHandle() {
    static const char anchor = 0;
#if defined(_WIN32)
    HMODULE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       &anchor, &module);
    return module;
#else
    Dl_info info{};
    if (!dladdr(&anchor, &info)) return nullptr;
    return static_cast<HINSTANCE>(info.dli_fbase);
#endif
}

int DefaultMessageHandler(const char* text, const char* caption, UINT style) {
#if defined(_WIN32)
    HWND owner = GetActiveWindow();
    if (owner) owner = GetLastActivePopup(owner);
    return MessageBoxA(owner, text, caption, style);
#else
    (void)style;
    if (caption && caption[0])
        std::fprintf(stderr, "%s: %s\n", caption, text);
    else
        std::fprintf(stderr, "%s\n", text);
    return kAnswerOk;
#endif
}

}  // namespace lumora::detail

using lumora::detail::GetLumoraApp;

CLumoraManager::CLumoraManager() {}

CLumoraManager& CLumoraManager::operator=(const CLumoraManager&) { return *this; }

void CLumoraManager::UpdateLanguage(int language) {
    // "<host UI folder><this library's file name>[ ENG.DLL| KOR.DLL]"
    char folder[MAX_PATH] = "";
    GetHostInfoKeeper().GetUIPath(folder);
    CHostInfoKeeper self;
    self.SetHInstance(lumora::detail::LumoraInstanceHandle());
    self.SetDefaultInfo();
    char fileName[MAX_PATH] = "";
    self.GetFileName(fileName);

    CString name = CString(folder) + fileName;
    if (language == lumora::detail::kLanguageEnglish)
        name += " ENG.DLL";
    else if (language == lumora::detail::kLanguageKorean)
        name += " KOR.DLL";
    GetLumoraApp().LoadLanguageLibrary(name, language);
}

int CLumoraManager::GetLanguage() { return GetLumoraApp().GetLanguage(); }

LUMORA_MESSAGE_HANDLER CLumoraManager::SetMessageHandler(LUMORA_MESSAGE_HANDLER handler) {
    return GetLumoraApp().SetMessageHandler(handler);
}

CLumoraManager& GetLumoraManager() {
    static CLumoraManager manager;
    return manager;
}
