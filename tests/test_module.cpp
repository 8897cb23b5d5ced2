// Module frame: language selection, the message routine and the host
// information the library relies on.
#include <gtest/gtest.h>

#include <lumora/lumora.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "module/resources.h"

#if defined(_WIN32)
#include <lumora/framework/win32.h>
#else
#include <dlfcn.h>
#endif

namespace fs = std::filesystem;
using lumora::detail::kIdsCallSetCoefficientFirst;
using lumora::detail::LoadResourceString;
using lumora::detail::ShowLumoraMessage;

namespace {

const char* const kEnglishWarning = "You should call a SetCoefficient and CreateVectorTable function first.";
// The test programs run with UTF-8 as their code page on Windows, so
// LoadStringA gives these bytes there too.
const char* const kKoreanWarning = "먼저 SetCoefficient 함수와 CreateVectorTable 함수를 호출해야 합니다.";

// ---- loaded modules, the same way the library sees them --------------------

#if defined(_WIN32)
constexpr char kSeparator = '\\';
const char* const kLumoraFile = "lumora.dll";

HINSTANCE ModuleOf(const void* address) {
    HMODULE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       static_cast<LPCSTR>(address), &module);
    return module;
}
bool IsLoaded(const fs::path& file) { return GetModuleHandleW(fs::absolute(file).wstring().c_str()) != nullptr; }
fs::path ModuleFile(HINSTANCE module) {
    wchar_t buffer[MAX_PATH];
    return fs::path(std::wstring(buffer, GetModuleFileNameW(module, buffer, MAX_PATH)));
}
void* OpenModule(const fs::path& file) { return LoadLibraryW(file.wstring().c_str()); }
void* Symbol(void* module, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}
void CloseModule(void* module) { FreeLibrary(static_cast<HMODULE>(module)); }
#else
constexpr char kSeparator = '/';
const char* const kLumoraFile = "liblumora.so";

// A module's instance handle is its load base.
HINSTANCE ModuleOf(const void* address) {
    Dl_info info{};
    if (!dladdr(address, &info)) return nullptr;
    return static_cast<HINSTANCE>(info.dli_fbase);
}
bool IsLoaded(const fs::path& file) {
    void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle) dlclose(handle);
    return handle != nullptr;
}
fs::path ModuleFile(HINSTANCE) { return fs::read_symlink("/proc/self/exe"); }
void* OpenModule(const fs::path& file) { return dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL); }
void* Symbol(void* module, const char* name) { return dlsym(module, name); }
void CloseModule(void* module) { dlclose(module); }
#endif

// The same folder, however it is written (MinGW's fs::equivalent can't tell).
bool SameFolder(const fs::path& a, const fs::path& b) {
    const auto normal = [](const fs::path& p) { return (fs::absolute(p) / "").lexically_normal(); };
    return normal(a) == normal(b);
}

HINSTANCE LumoraInstance() { return ModuleOf(reinterpret_cast<const void*>(&GetLumoraManager)); }

// The language libraries are built beside the lumora library.
#if defined(_WIN32)
const fs::path kLanguageDir = ModuleFile(LumoraInstance()).parent_path();
#else
const fs::path kLanguageDir = LUMORA_TEST_LANGUAGE_DIR;
#endif
const fs::path kEnglishFile = kLanguageDir / "lumora ENG.DLL";
const fs::path kKoreanFile = kLanguageDir / "lumora KOR.DLL";

std::string UIPath(const CHostInfoKeeper& keeper) {
    char buffer[MAX_PATH];
    return keeper.GetUIPath(buffer), buffer;
}

std::string FileName(const CHostInfoKeeper& keeper) {
    char buffer[MAX_PATH];
    return keeper.GetFileName(buffer), buffer;
}

// Puts the shared keeper back as it was, whatever a test did to it.
struct SharedKeeperGuard {
    const std::string path = UIPath(GetHostInfoKeeper()), name = FileName(GetHostInfoKeeper()),
                      caption = GetHostInfoKeeper().GetCaption().str();
    ~SharedKeeperGuard() {
        GetHostInfoKeeper().SetUIPath(path.c_str());
        GetHostInfoKeeper().SetFileName(name.c_str());
        GetHostInfoKeeper().SetCaption(caption.c_str());
    }
};

// A scratch folder of this test, removed at the end; a sub-folder per step,
// since a file name once loaded is never reused.
struct ScratchFolder {
    const fs::path root = fs::path(testing::TempDir()) / ("lumora_module_" + std::to_string(std::random_device{}()));
    ~ScratchFolder() { fs::remove_all(root); }
    fs::path Folder(const std::string& name) const { return fs::create_directories(root / name), root / name; }
};

std::string WarningText() { return LoadResourceString(kIdsCallSetCoefficientFirst).str(); }

void ExpectLanguage(int language, const std::string& warning) {
    EXPECT_EQ(GetLumoraManager().GetLanguage(), language);
    EXPECT_EQ(WarningText(), warning);
}

void Switch(const fs::path& folder, int language) {
    GetHostInfoKeeper().SetUIPath(folder.string().c_str());
    GetLumoraManager().UpdateLanguage(language);
}

// ---- message handlers that record what they were given --------------------

struct Shown {
    int calls = 0;
    std::string text, caption;
    UINT style = 0;
} g_shown;

int RecordMessage(const char* text, const char* caption, UINT style) {
    g_shown = {g_shown.calls + 1, text, caption, style};
    return 42;
}

std::string Seen() {
    return std::to_string(g_shown.calls) + "|" + g_shown.text + "|" + g_shown.caption + "|" + std::to_string(g_shown.style);
}

int OtherHandler(const char*, const char*, UINT) { return 7; }

struct HandlerGuard {
    const LUMORA_MESSAGE_HANDLER previous = (g_shown = Shown(), GetLumoraManager().SetMessageHandler(nullptr));
    ~HandlerGuard() { GetLumoraManager().SetMessageHandler(previous); }
};

}  // namespace

// ---- language selection -----------------------------------------------------

// The language record is process-wide and can't return to the built-in texts,
// so the whole life of it is one sequence of steps.
TEST(LanguageSelection, SwitchesOnlyWhenALanguageLibraryLoads) {
    SharedKeeperGuard keeper;
    ScratchFolder scratch;
    ASSERT_TRUE(fs::exists(kEnglishFile)) << kEnglishFile;
    ASSERT_TRUE(fs::exists(kKoreanFile)) << kKoreanFile;

    // Fresh process: English from the library itself.
    ExpectLanguage(9, kEnglishWarning);

    // Korean present: it becomes the source of the texts.
    const fs::path koreanOnly = scratch.Folder("korean_only");
    fs::copy_file(kKoreanFile, koreanOnly / "lumora KOR.DLL");
    Switch(koreanOnly, 18);
    ExpectLanguage(18, kKoreanWarning);

    // English absent: Korean stays.
    GetLumoraManager().UpdateLanguage(9);
    ExpectLanguage(18, kKoreanWarning);

    // Files of the right name that are no language library change nothing.
    const fs::path text = scratch.Folder("not_a_library");
    std::ofstream(text / "lumora ENG.DLL") << "not a library\n";
    Switch(text, 9);
    ExpectLanguage(18, kKoreanWarning);
    const fs::path plain = scratch.Folder("plain_module");
    fs::copy_file(LUMORA_TEST_PLAIN_MODULE, plain / "lumora ENG.DLL");
    Switch(plain, 9);
#if defined(_WIN32)
    // Any DLL that loads becomes the resource module, strings or not.
    ExpectLanguage(9, "");
    EXPECT_FALSE(IsLoaded(koreanOnly / "lumora KOR.DLL"));
    Switch(koreanOnly, 18);
    ExpectLanguage(18, kKoreanWarning);
#else
    // A shared object without the string lookup is not a language library here.
    ExpectLanguage(18, kKoreanWarning);
#endif
    EXPECT_FALSE(IsLoaded(plain / "lumora ENG.DLL"));

    // English present: it replaces Korean, which is freed.
    const fs::path english = scratch.Folder("english");
    fs::copy_file(kEnglishFile, english / "lumora ENG.DLL");
    ASSERT_TRUE(IsLoaded(koreanOnly / "lumora KOR.DLL"));
    Switch(english, 9);
    ExpectLanguage(9, kEnglishWarning);
    EXPECT_FALSE(IsLoaded(koreanOnly / "lumora KOR.DLL"));
    EXPECT_TRUE(IsLoaded(english / "lumora ENG.DLL"));

    // Codes without a suffix load the bare name; here it holds Korean texts.
    // (LoadLibraryA adds ".dll" to a name without extension.)
#if defined(_WIN32)
    const char* const bareName = "lumora.dll";
#else
    const char* const bareName = "lumora";
#endif
    const fs::path bare = scratch.Folder("bare");
    fs::copy_file(kKoreanFile, bare / bareName);
    Switch(bare, 7);
    ExpectLanguage(7, kKoreanWarning);
    EXPECT_FALSE(IsLoaded(english / "lumora ENG.DLL"));

    // Nothing of that name: nothing changes, whatever the code.
    for (int language : {9, 18, 7, 0, -1, 12}) Switch(scratch.Folder("empty"), language);
    ExpectLanguage(7, kKoreanWarning);

    // Leave the process in English, from the build's own language library.
    Switch(kLanguageDir, 9);
    ExpectLanguage(9, kEnglishWarning);
    EXPECT_FALSE(IsLoaded(bare / bareName));
}

TEST(LanguageSelection, UnknownStringsAreEmptyAndEveryManagerSpeaksForTheModule) {
    EXPECT_EQ(LoadResourceString(0).str() + LoadResourceString(7001).str(), "");
    EXPECT_EQ(&GetLumoraManager(), &GetLumoraManager());
    CLumoraManager local;
    local = GetLumoraManager();
    EXPECT_EQ(local.GetLanguage(), GetLumoraManager().GetLanguage());
}

#if !defined(_WIN32)
// The lookup each language library exports, with LoadStringA's contract.
class LanguageLibraryLookup : public testing::TestWithParam<const char*> {};

TEST_P(LanguageLibraryLookup, CutsWithinTheBufferAndKeepsCharactersWhole) {
    void* library = dlopen((kLanguageDir / GetParam()).c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto lookup = reinterpret_cast<int (*)(unsigned, char*, int)>(dlsym(library, "LumoraLoadString"));
    ASSERT_NE(lookup, nullptr);
    const std::string expected = std::string(GetParam()) == "lumora KOR.DLL" ? kKoreanWarning : kEnglishWarning;
    for (int size = 1; size <= static_cast<int>(expected.size()) + 2; ++size) {
        std::vector<char> buffer(static_cast<size_t>(size) + 8, '#');
        const int length = lookup(7000, buffer.data(), size);
        ASSERT_TRUE(length >= 0 && length < size) << "size " << size;
        // A prefix of the text, ending on a character boundary, as long as fits.
        EXPECT_EQ(std::string(buffer.data()), expected.substr(0, static_cast<size_t>(length)));
        if (static_cast<size_t>(length) < expected.size()) {
            EXPECT_NE(static_cast<unsigned char>(expected[static_cast<size_t>(length)]) & 0xC0, 0x80) << "size " << size;
            EXPECT_GE(length, size - 4);
        }
        EXPECT_EQ(std::string(buffer.begin() + size, buffer.end()), "########") << "wrote past size " << size;
    }
    // Unknown ids give the empty text; empty buffers are not written.
    char buffer[16] = "untouched";
    EXPECT_EQ(lookup(7001, buffer, sizeof buffer), 0);
    EXPECT_EQ(buffer[0], '\0');
    buffer[0] = 'x';
    EXPECT_EQ(lookup(7000, buffer, 0) + lookup(7000, nullptr, 16) + lookup(7000, buffer, -5), 0);
    EXPECT_EQ(buffer[0], 'x');
    dlclose(library);
}

INSTANTIATE_TEST_SUITE_P(BothLanguages, LanguageLibraryLookup, testing::Values("lumora ENG.DLL", "lumora KOR.DLL"),
                         [](const testing::TestParamInfo<const char*>& info) {
                             return std::string(info.param).substr(7, 3);
                         });
#endif

// ---- message routine -----------------------------------------------------------

TEST(MessageRoutine, SetterReturnsThePreviousHandlerAndNullRestoresTheDefault) {
    HandlerGuard restore;
    const LUMORA_MESSAGE_HANDLER standard = GetLumoraManager().SetMessageHandler(RecordMessage);
    ASSERT_NE(standard, nullptr);
    EXPECT_NE(standard, &RecordMessage);
    EXPECT_EQ(GetLumoraManager().SetMessageHandler(OtherHandler), &RecordMessage);
    EXPECT_EQ(ShowLumoraMessage("x", 0), 7);
    EXPECT_EQ(GetLumoraManager().SetMessageHandler(nullptr), &OtherHandler);
    EXPECT_EQ(GetLumoraManager().SetMessageHandler(RecordMessage), standard);
    EXPECT_EQ(GetLumoraManager().SetMessageHandler(nullptr), &RecordMessage);
    EXPECT_EQ(GetLumoraManager().SetMessageHandler(nullptr), standard);
}

// The handler, or by default one line on standard error (a message box on
// Windows, not opened here), gets the host's caption as it is at each message.
TEST(MessageRoutine, MessagesCarryTheHostCaption) {
    HandlerGuard restore;
    SharedKeeperGuard keeper;
#if !defined(_WIN32)
    GetHostInfoKeeper().SetCaption("Host");
    testing::internal::CaptureStderr();
    EXPECT_EQ(ShowLumoraMessage("Something to say.", MB_OK | MB_ICONEXCLAMATION), 1);  // IDOK
    GetHostInfoKeeper().SetCaption("");
    ShowLumoraMessage("No caption.", MB_OK);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Host: Something to say.\nNo caption.\n");
#endif
    GetHostInfoKeeper().SetCaption("");
    GetLumoraManager().SetMessageHandler(RecordMessage);
    EXPECT_EQ(ShowLumoraMessage(LoadResourceString(kIdsCallSetCoefficientFirst), MB_OK | MB_ICONEXCLAMATION), 42);
    EXPECT_EQ(Seen(), std::string("1|") + kEnglishWarning + "||48");
    GetHostInfoKeeper().SetCaption("Lumora Test Host");
    ShowLumoraMessage(nullptr, 0);
    EXPECT_EQ(Seen(), "2||Lumora Test Host|0");
}

// ---- host information ----------------------------------------------------------

TEST(HostInfoKeeper, StartsEmpty) {
    CHostInfoKeeper keeper;
    char path[MAX_PATH] = "junk", name[MAX_PATH] = "junk";
    EXPECT_EQ(keeper.GetUIPath(path) + keeper.GetFileName(name) + keeper.GetUIPath(nullptr) + keeper.GetFileName(nullptr), 0);
    EXPECT_EQ(std::string(path) + name + keeper.GetCaption().str(), "");
    EXPECT_EQ(keeper.GetHInstance(), nullptr);
}

// The defaults name the module, without folder, extension and the "lib" of
// shared libraries, and its folder; the caption is the host's.
TEST(HostInfoKeeper, DefaultsNameTheModuleAndItsFolder) {
    const struct { fs::path file; const char* symbol; const char* name; } cases[] = {
        {"", nullptr, "lumora_tests"}, {kLanguageDir / kLumoraFile, nullptr, "lumora"},
        {LUMORA_TEST_PLAIN_MODULE, "LumoraTestPlainModule", "lumora_test_plain"},
#if !defined(_WIN32)
        {kKoreanFile, "LumoraLoadString", "lumora KOR"},
#endif
    };
    for (const auto& c : cases) {
        void* library = c.symbol ? OpenModule(c.file) : nullptr;
        CHostInfoKeeper keeper;
        if (!c.file.empty()) keeper.SetHInstance(library ? ModuleOf(Symbol(library, c.symbol)) : LumoraInstance());
        EXPECT_TRUE(keeper.SetDefaultInfo());
        EXPECT_EQ(FileName(keeper), c.name);
        EXPECT_EQ(keeper.GetCaption(), "lumora_tests");
        const fs::path folder = c.file.empty() ? ModuleFile(nullptr).parent_path() : c.file.parent_path();
        EXPECT_TRUE(UIPath(keeper).back() == kSeparator && SameFolder(UIPath(keeper), folder)) << c.name;
        if (library) CloseModule(library);
    }
}

TEST(HostInfoKeeper, UnknownInstanceChangesNothing) {
    CHostInfoKeeper keeper;
    keeper.SetFileName("kept");
    // An address inside the library, but not where it starts.
    keeper.SetHInstance(reinterpret_cast<HINSTANCE>(reinterpret_cast<char*>(LumoraInstance()) + 4096));
    EXPECT_FALSE(keeper.SetDefaultInfo());
    EXPECT_EQ(FileName(keeper), "kept");
}

TEST(HostInfoKeeper, FoldersEndWithASeparator) {
    CHostInfoKeeper keeper;
    const std::string sep(1, kSeparator);
    for (auto [in, out] : {std::pair<const char*, std::string>{"ui", "ui" + sep}, {"ui/", "ui/"}, {"", ""}, {nullptr, ""}}) {
        keeper.SetUIPath(in);
        EXPECT_EQ(UIPath(keeper), out);
    }
}

// Every text fits a MAX_PATH buffer: longer ones are cut, nothing is written
// beyond the terminator.
class KeeperTruncation : public testing::TestWithParam<size_t> {};

TEST_P(KeeperTruncation, TextsFitAPathBuffer) {
    const std::string text(GetParam(), 'a');
    const size_t kept = std::min<size_t>(GetParam(), MAX_PATH - 1), pathKept = std::min<size_t>(GetParam() + 1, MAX_PATH - 1);
    CHostInfoKeeper keeper;
    keeper.SetFileName(text.c_str());
    keeper.SetCaption(text.c_str());
    keeper.SetUIPath((text + "/").c_str());
    std::vector<char> name(MAX_PATH + 64, '#'), path(MAX_PATH + 64, '#');
    EXPECT_EQ(keeper.GetFileName(name.data()), static_cast<int>(kept));
    EXPECT_EQ(keeper.GetUIPath(path.data()), static_cast<int>(pathKept));
    EXPECT_EQ(std::string(name.data()) + "|" + std::string(name.begin() + kept + 1, name.end()),
              text.substr(0, kept) + "|" + std::string(MAX_PATH + 63 - kept, '#'));
    EXPECT_EQ(std::string(path.begin() + pathKept + 1, path.end()), std::string(MAX_PATH + 63 - pathKept, '#'));
    EXPECT_EQ(keeper.GetCaption().GetLength(), static_cast<int>(kept));
}

INSTANTIATE_TEST_SUITE_P(Lengths, KeeperTruncation, testing::Values(0u, 1u, 258u, 259u, 260u, 261u, 1000u),
                         [](const testing::TestParamInfo<size_t>& info) { return "chars" + std::to_string(info.param); });

// The shared keeper names the host, with the libraries' folder for the UI.
TEST(HostInfoKeeper, SharedKeeperDescribesTheHost) {
    EXPECT_EQ(&GetHostInfoKeeper(), &GetHostInfoKeeper());
    EXPECT_EQ(FileName(GetHostInfoKeeper()) + "|" + GetHostInfoKeeper().GetCaption().str(), "lumora_tests|lumora_tests");
    EXPECT_TRUE(SameFolder(UIPath(GetHostInfoKeeper()), kLanguageDir));
}

