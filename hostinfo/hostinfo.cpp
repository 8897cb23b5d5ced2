#include <lumora/hostinfo.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

#if defined(_WIN32)
#include <vector>
#else
#include <dlfcn.h>
#include <link.h>
#include <unistd.h>
#endif

namespace {

#if defined(_WIN32)
constexpr char kSeparator = '\\';
#else
constexpr char kSeparator = '/';
#endif

bool IsSeparator(char c) {
#if defined(_WIN32)
    return c == '\\' || c == '/';
#else
    return c == '/';
#endif
}

// Copies at most MAX_PATH - 1 characters and always terminates.
void StoreText(char (&target)[MAX_PATH], const char* text) {
    const size_t length = text ? std::strlen(text) : 0;
    const size_t kept = length < MAX_PATH - 1 ? length : MAX_PATH - 1;
    if (kept) std::memcpy(target, text, kept);
    target[kept] = '\0';
}

int CopyOut(const char (&source)[MAX_PATH], char* buffer) {
    if (!buffer) return 0;
    // The source is already within MAX_PATH, so the copy is too.
    const size_t length = std::strlen(source);
    std::memcpy(buffer, source, length + 1);
    return static_cast<int>(length);
}

#if defined(_WIN32)

std::optional<std::string> ModulePath(HINSTANCE instance) {
    // Paths may be longer than MAX_PATH; grow until the name fits.
    std::vector<char> buffer(MAX_PATH);
    for (;;) {
        const DWORD n = GetModuleFileNameA(instance, buffer.data(), static_cast<DWORD>(buffer.size()));
        if (n == 0) return std::nullopt;
        if (n < buffer.size()) return std::string(buffer.data(), n);
        if (buffer.size() >= 32768) return std::nullopt;
        buffer.resize(buffer.size() * 2);
    }
}

HINSTANCE InstanceOf(const void* address) {
    HMODULE module = nullptr;
    if (!GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            static_cast<LPCSTR>(address), &module))
        return nullptr;
    return module;
}

#else

std::optional<std::string> ExecutablePath() {
    std::string buffer(256, '\0');
    for (;;) {
        const ssize_t n = readlink("/proc/self/exe", buffer.data(), buffer.size());
        if (n < 0) return std::nullopt;
        if (static_cast<size_t>(n) < buffer.size()) {
            buffer.resize(static_cast<size_t>(n));
            return buffer;
        }
        if (buffer.size() >= 65536) return std::nullopt;
        buffer.resize(buffer.size() * 2);
    }
}

struct ModuleSearch {
    uintptr_t base = 0;
    bool found = false;
    bool isExecutable = false;
    std::string path;
};

// The load base is where the module's lowest segment is mapped: the address
// dladdr() reports as dli_fbase for every address inside the module.
int MatchModule(dl_phdr_info* info, size_t, void* data) {
    auto* search = static_cast<ModuleSearch*>(data);
    const uintptr_t pageMask = ~static_cast<uintptr_t>(sysconf(_SC_PAGESIZE) - 1);
    bool any = false;
    uintptr_t lowest = 0;
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const ElfW(Phdr)& header = info->dlpi_phdr[i];
        if (header.p_type != PT_LOAD) continue;
        const uintptr_t start = (static_cast<uintptr_t>(info->dlpi_addr) + header.p_vaddr) & pageMask;
        if (!any || start < lowest) lowest = start;
        any = true;
    }
    if (!any || lowest != search->base) return 0;
    search->found = true;
    // The executable is the one object the loader lists without a name.
    search->isExecutable = !info->dlpi_name || !info->dlpi_name[0];
    if (!search->isExecutable) search->path = info->dlpi_name;
    return 1;
}

std::optional<std::string> ModulePath(HINSTANCE instance) {
    if (!instance) return ExecutablePath();
    ModuleSearch search;
    search.base = reinterpret_cast<uintptr_t>(instance);
    dl_iterate_phdr(MatchModule, &search);
    if (!search.found) return std::nullopt;
    if (search.isExecutable) return ExecutablePath();
    return search.path;
}

HINSTANCE InstanceOf(const void* address) {
    Dl_info info{};
    if (!dladdr(address, &info)) return nullptr;
    return static_cast<HINSTANCE>(info.dli_fbase);
}

#endif

std::string FolderOf(const std::string& path) {
    size_t cut = path.size();
    while (cut > 0 && !IsSeparator(path[cut - 1])) --cut;
    return path.substr(0, cut);
}

bool EndsWithNoCase(const std::string& text, const char* suffix) {
    const size_t n = std::strlen(suffix);
    if (text.size() < n) return false;
    for (size_t i = 0; i < n; ++i) {
        const char a = text[text.size() - n + i];
        const char b = suffix[i];
        if ((a >= 'A' && a <= 'Z' ? a - 'A' + 'a' : a) != b) return false;
    }
    return true;
}

// "liblumora.so.0.1.0" -> "lumora", "liblumora.dll" -> "lumora",
// "lumora_tests" -> "lumora_tests", "host.exe" -> "host".
std::string BaseNameOf(const std::string& path) {
    std::string name = path.substr(FolderOf(path).size());
    bool sharedLibrary = false;
#if !defined(_WIN32)
    // Shared objects carry their version after ".so", so that is where the
    // extension starts, not at the last dot.
    for (size_t at = name.find(".so"); at != std::string::npos; at = name.find(".so", at + 1)) {
        if (at + 3 == name.size() || name[at + 3] == '.') {
            name.resize(at);
            sharedLibrary = true;
            break;
        }
    }
#endif
    if (!sharedLibrary) {
        sharedLibrary = EndsWithNoCase(name, ".dll");
        const size_t dot = name.rfind('.');
        if (dot != std::string::npos && dot > 0) name.resize(dot);
    }
    // Toolchains outside Microsoft's name libraries "lib<name>"; the module's
    // own name is the part after it.
    if (sharedLibrary && name.size() > 3 && name.compare(0, 3, "lib") == 0) name.erase(0, 3);
    return name;
}

}  // namespace

CHostInfoKeeper::CHostInfoKeeper() : m_hInstance(nullptr) {
    m_szUIPath[0] = '\0';
    m_szFileName[0] = '\0';
    m_szCaption[0] = '\0';
}

CHostInfoKeeper::~CHostInfoKeeper() = default;

void CHostInfoKeeper::SetHInstance(HINSTANCE instance) { m_hInstance = instance; }

HINSTANCE CHostInfoKeeper::GetHInstance() const { return m_hInstance; }

BOOL CHostInfoKeeper::SetDefaultInfo() {
    const std::optional<std::string> module = ModulePath(m_hInstance);
    if (!module) return FALSE;
    const std::optional<std::string> executable = m_hInstance ? ModulePath(nullptr) : module;
    SetFileName(BaseNameOf(*module).c_str());
    SetUIPath(FolderOf(*module).c_str());
    SetCaption(executable ? BaseNameOf(*executable).c_str() : "");
    return TRUE;
}

int CHostInfoKeeper::GetUIPath(char* buffer) const { return CopyOut(m_szUIPath, buffer); }

int CHostInfoKeeper::GetFileName(char* buffer) const { return CopyOut(m_szFileName, buffer); }

CString CHostInfoKeeper::GetCaption() const { return CString(m_szCaption); }

void CHostInfoKeeper::SetUIPath(const char* path) {
    std::string folder = path ? path : "";
    if (!folder.empty() && !IsSeparator(folder.back())) folder += kSeparator;
    StoreText(m_szUIPath, folder.c_str());
}

void CHostInfoKeeper::SetFileName(const char* name) { StoreText(m_szFileName, name); }

void CHostInfoKeeper::SetCaption(const char* caption) { StoreText(m_szCaption, caption); }

CHostInfoKeeper& GetHostInfoKeeper() {
    static CHostInfoKeeper keeper = [] {
        CHostInfoKeeper host;
        // The executable gives the name and the caption ...
        host.SetDefaultInfo();
        // ... and the folder holding these libraries is where their language
        // libraries are installed, so that is where a host looks by default.
        CHostInfoKeeper self;
        self.SetHInstance(InstanceOf(reinterpret_cast<const void*>(&GetHostInfoKeeper)));
        if (self.SetDefaultInfo()) {
            char folder[MAX_PATH];
            self.GetUIPath(folder);
            host.SetUIPath(folder);
        }
        return host;
    }();
    return keeper;
}
