// Module frame: language selection, the message routine and the host
// information the library relies on.
#include <gtest/gtest.h>

#include <lumora/lumora.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "module/resources.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#include <unistd.h>
#endif

namespace fs = std::filesystem;
using lumora::detail::kIdsCallSetCoefficientFirst;
using lumora::detail::LoadResourceString;
using lumora::detail::ShowLumoraMessage;

namespace {

const char* const kEnglishWarning = "You should call a SetCoefficient and CreateVectorTable function first.";
const char* const kKoreanWarning = "먼저 SetCoefficient 함수와 CreateVectorTable 함수를 호출해야 합니다.";

// Texts as the library hands them out: LoadStringA on Windows gives the ANSI
// code page, the lookup elsewhere gives the UTF-8 it holds.
std::string Native(const char* utf8) {
#if defined(_WIN32)
    const int wide = MultiByteToWideChar(CP_UTF8, 0, utf8, -1, nullptr, 0);
    std::wstring w(static_cast<size_t>(wide), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8, -1, w.data(), wide);
    const int narrow = WideCharToMultiByte(CP_ACP, 0, w.c_str(), -1, nullptr, 0, nullptr, nullptr);
    std::string n(static_cast<size_t>(narrow), '\0');
    WideCharToMultiByte(CP_ACP, 0, w.c_str(), -1, n.data(), narrow, nullptr, nullptr);
    n.resize(std::strlen(n.c_str()));
    return n;
#else
    return utf8;
#endif
}

const fs::path kLanguageDir = LUMORA_TEST_LANGUAGE_DIR;
const fs::path kEnglishFile = kLanguageDir / "lumora ENG.DLL";
const fs::path kKoreanFile = kLanguageDir / "lumora KOR.DLL";

// ---- loaded modules, the same way the library sees them --------------------

#if defined(_WIN32)
HINSTANCE ModuleOf(const void* address) {
    HMODULE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       static_cast<LPCSTR>(address), &module);
    return module;
}
bool IsLoaded(const fs::path& file) { return GetModuleHandleA(file.string().c_str()) != nullptr; }
#else
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
#endif

HINSTANCE LumoraInstance() { return ModuleOf(reinterpret_cast<const void*>(&GetLumoraManager)); }

std::string UIPath(const CHostInfoKeeper& keeper) {
    char buffer[MAX_PATH];
    keeper.GetUIPath(buffer);
    return buffer;
}

std::string FileName(const CHostInfoKeeper& keeper) {
    char buffer[MAX_PATH];
    keeper.GetFileName(buffer);
    return buffer;
}

// Puts the shared keeper back as it was, whatever a test did to it.
class SharedKeeperGuard {
public:
    SharedKeeperGuard()
        : m_path(UIPath(GetHostInfoKeeper())),
          m_name(FileName(GetHostInfoKeeper())),
          m_caption(GetHostInfoKeeper().GetCaption().str()) {}
    ~SharedKeeperGuard() {
        GetHostInfoKeeper().SetUIPath(m_path.c_str());
        GetHostInfoKeeper().SetFileName(m_name.c_str());
        GetHostInfoKeeper().SetCaption(m_caption.c_str());
    }

private:
    std::string m_path, m_name, m_caption;
};

// A scratch folder of this process, removed at the end.
class ScratchFolder {
public:
    ScratchFolder() {
        m_root = fs::temp_directory_path() /
#if defined(_WIN32)
                 ("lumora_module_test_" + std::to_string(GetCurrentProcessId()));
#else
                 ("lumora_module_test_" + std::to_string(getpid()));
#endif
        fs::remove_all(m_root);
        fs::create_directories(m_root);
    }
    ~ScratchFolder() {
        std::error_code ignored;
        fs::remove_all(m_root, ignored);
    }
    // A sub-folder per step: a file name once loaded is never reused.
    fs::path Folder(const std::string& name) const {
        fs::create_directories(m_root / name);
        return m_root / name;
    }

private:
    fs::path m_root;
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

class HandlerGuard {
public:
    HandlerGuard() : m_previous(GetLumoraManager().SetMessageHandler(nullptr)) { g_shown = Shown(); }
    ~HandlerGuard() { GetLumoraManager().SetMessageHandler(m_previous); }

private:
    LUMORA_MESSAGE_HANDLER m_previous;
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
    ExpectLanguage(18, Native(kKoreanWarning));

    // English absent: Korean stays.
    GetLumoraManager().UpdateLanguage(9);
    ExpectLanguage(18, Native(kKoreanWarning));

    // Files of the right name that are no language library change nothing.
    const fs::path text = scratch.Folder("not_a_library");
    std::ofstream(text / "lumora ENG.DLL") << "not a library\n";
    Switch(text, 9);
    ExpectLanguage(18, Native(kKoreanWarning));
#if !defined(_WIN32)
    // A shared object without the string lookup is not a language library here.
    const fs::path plain = scratch.Folder("plain_module");
    fs::copy_file(LUMORA_TEST_PLAIN_MODULE, plain / "lumora ENG.DLL");
    Switch(plain, 9);
    ExpectLanguage(18, Native(kKoreanWarning));
    EXPECT_FALSE(IsLoaded(plain / "lumora ENG.DLL"));
#endif

    // English present: it replaces Korean, which is freed.
    const fs::path english = scratch.Folder("english");
    fs::copy_file(kEnglishFile, english / "lumora ENG.DLL");
    ASSERT_TRUE(IsLoaded(koreanOnly / "lumora KOR.DLL"));
    Switch(english, 9);
    ExpectLanguage(9, kEnglishWarning);
    EXPECT_FALSE(IsLoaded(koreanOnly / "lumora KOR.DLL"));
    EXPECT_TRUE(IsLoaded(english / "lumora ENG.DLL"));

    // Codes without a suffix load the bare name; here it holds Korean texts.
    const fs::path bare = scratch.Folder("bare");
    fs::copy_file(kKoreanFile, bare / "lumora");
    Switch(bare, 7);
    ExpectLanguage(7, Native(kKoreanWarning));
    EXPECT_FALSE(IsLoaded(english / "lumora ENG.DLL"));

    // Nothing of that name: nothing changes, whatever the code.
    for (int language : {9, 18, 7, 0, -1, 12}) Switch(scratch.Folder("empty"), language);
    ExpectLanguage(7, Native(kKoreanWarning));

    // Leave the process in English, from the build's own language library.
    Switch(kLanguageDir, 9);
    ExpectLanguage(9, kEnglishWarning);
    EXPECT_FALSE(IsLoaded(bare / "lumora"));
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
class LanguageLibraryLookup : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        m_library = dlopen((kLanguageDir / GetParam()).c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(m_library, nullptr) << dlerror();
        m_lookup = reinterpret_cast<int (*)(unsigned, char*, int)>(dlsym(m_library, "LumoraLoadString"));
        ASSERT_NE(m_lookup, nullptr);
    }
    void TearDown() override {
        if (m_library) dlclose(m_library);
    }
    std::string Expected() const {
        return std::string(GetParam()) == "lumora KOR.DLL" ? kKoreanWarning : kEnglishWarning;
    }

    void* m_library = nullptr;
    int (*m_lookup)(unsigned, char*, int) = nullptr;
};

TEST_P(LanguageLibraryLookup, CopiesWholeText) {
    char buffer[256];
    const int length = m_lookup(7000, buffer, sizeof buffer);
    EXPECT_EQ(std::string(buffer), Expected());
    EXPECT_EQ(length, static_cast<int>(Expected().size()));
}

TEST_P(LanguageLibraryLookup, CutsWithinTheBufferAndKeepsCharactersWhole) {
    const std::string expected = Expected();
    for (int size = 1; size <= static_cast<int>(expected.size()) + 2; ++size) {
        std::vector<char> buffer(static_cast<size_t>(size) + 8, '#');
        const int length = m_lookup(7000, buffer.data(), size);
        ASSERT_GE(length, 0);
        ASSERT_LT(length, size) << "size " << size;
        EXPECT_EQ(buffer[static_cast<size_t>(length)], '\0');
        // A prefix of the text, ending on a character boundary, as long as fits.
        EXPECT_EQ(expected.compare(0, static_cast<size_t>(length), buffer.data()), 0);
        const size_t next = static_cast<size_t>(length);
        if (next < expected.size()) {
            EXPECT_NE(static_cast<unsigned char>(expected[next]) & 0xC0, 0x80) << "size " << size;
            EXPECT_GE(length, size - 4);
        }
        for (size_t i = static_cast<size_t>(size); i < buffer.size(); ++i)
            ASSERT_EQ(buffer[i], '#') << "wrote past size " << size;
    }
}

TEST_P(LanguageLibraryLookup, RefusesUnknownIdsAndEmptyBuffers) {
    char buffer[16] = "untouched";
    EXPECT_EQ(m_lookup(7001, buffer, sizeof buffer), 0);
    EXPECT_EQ(buffer[0], '\0');
    buffer[0] = 'x';
    EXPECT_EQ(m_lookup(7000, buffer, 0), 0);
    EXPECT_EQ(buffer[0], 'x');
    EXPECT_EQ(m_lookup(7000, nullptr, 16), 0);
    EXPECT_EQ(m_lookup(7000, buffer, -5), 0);
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

TEST(MessageRoutine, WarningReachesTheHandlerWithTheHostCaption) {
    HandlerGuard restore;
    SharedKeeperGuard keeper;
    GetHostInfoKeeper().SetCaption("Lumora Test Host");
    GetLumoraManager().SetMessageHandler(RecordMessage);

    // What contrast and gamma show when their table is missing.
    const CString warning = LoadResourceString(kIdsCallSetCoefficientFirst);
    EXPECT_EQ(ShowLumoraMessage(warning, MB_OK | MB_ICONEXCLAMATION), 42);
    EXPECT_EQ(Seen(), std::string("1|") + kEnglishWarning + "|Lumora Test Host|48");

    // The caption is read at each message, not kept.
    GetHostInfoKeeper().SetCaption("");
    ShowLumoraMessage(nullptr, 0);
    EXPECT_EQ(Seen(), "2|||0");
}

#if !defined(_WIN32)
TEST(MessageRoutine, DefaultWritesOneLineToStandardError) {
    HandlerGuard restore;
    SharedKeeperGuard keeper;
    GetHostInfoKeeper().SetCaption("Host");
    testing::internal::CaptureStderr();
    const int answer = ShowLumoraMessage("Something to say.", MB_OK | MB_ICONEXCLAMATION);
    GetHostInfoKeeper().SetCaption("");
    ShowLumoraMessage("No caption.", MB_OK);
    const std::string written = testing::internal::GetCapturedStderr();
    EXPECT_EQ(answer, 1);  // IDOK
    EXPECT_EQ(written, "Host: Something to say.\nNo caption.\n");
}
#endif

// ---- host information ----------------------------------------------------------

TEST(HostInfoKeeper, StartsEmpty) {
    CHostInfoKeeper keeper;
    char path[MAX_PATH] = "junk", name[MAX_PATH] = "junk";
    EXPECT_EQ(keeper.GetUIPath(path) + keeper.GetFileName(name) + keeper.GetUIPath(nullptr) + keeper.GetFileName(nullptr), 0);
    EXPECT_EQ(std::string(path) + name + keeper.GetCaption().str(), "");
    EXPECT_EQ(keeper.GetHInstance(), nullptr);
}

TEST(HostInfoKeeper, DefaultsForTheLibraryItself) {
    CHostInfoKeeper keeper;
    keeper.SetHInstance(LumoraInstance());
    ASSERT_TRUE(keeper.SetDefaultInfo());
    EXPECT_EQ(FileName(keeper), "lumora");
    const std::string folder = UIPath(keeper);
    ASSERT_FALSE(folder.empty());
    EXPECT_TRUE(folder.back() == '/' || folder.back() == '\\');
    EXPECT_TRUE(fs::equivalent(folder, kLanguageDir)) << folder;
    // The caption is the host's, not the library's.
    EXPECT_EQ(keeper.GetCaption(), "lumora_tests");
}

TEST(HostInfoKeeper, DefaultsForTheExecutable) {
    CHostInfoKeeper keeper;
    ASSERT_TRUE(keeper.SetDefaultInfo());
    EXPECT_EQ(FileName(keeper), "lumora_tests");
    EXPECT_EQ(keeper.GetCaption(), "lumora_tests");
    const std::string folder = UIPath(keeper);
    ASSERT_FALSE(folder.empty());
#if !defined(_WIN32)
    EXPECT_TRUE(fs::equivalent(folder, fs::read_symlink("/proc/self/exe").parent_path()));
#endif
}

#if !defined(_WIN32)
// Names without folder, extension and the "lib" of shared libraries.
TEST(HostInfoKeeper, NamesOfLoadedModules) {
    const struct { fs::path file; const char* symbol; const char* name; } cases[] = {
        {LUMORA_TEST_PLAIN_MODULE, "LumoraTestPlainModule", "lumora_test_plain"},
        {kKoreanFile, "LumoraLoadString", "lumora KOR"},
    };
    for (const auto& c : cases) {
        void* library = dlopen(c.file.c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        CHostInfoKeeper keeper;
        keeper.SetHInstance(ModuleOf(dlsym(library, c.symbol)));
        EXPECT_TRUE(keeper.SetDefaultInfo());
        EXPECT_EQ(FileName(keeper), c.name) << c.file;
        EXPECT_TRUE(fs::equivalent(UIPath(keeper), c.file.parent_path())) << c.file;
        dlclose(library);
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
#endif

TEST(HostInfoKeeper, FoldersEndWithASeparator) {
    CHostInfoKeeper keeper;
#if defined(_WIN32)
    const char separator = '\\';
#else
    const char separator = '/';
#endif
    keeper.SetUIPath("ui");
    EXPECT_EQ(UIPath(keeper), std::string("ui") + separator);
    keeper.SetUIPath("ui/");
    EXPECT_EQ(UIPath(keeper), "ui/");
    keeper.SetUIPath("");
    EXPECT_EQ(UIPath(keeper), "");
    keeper.SetUIPath(nullptr);
    EXPECT_EQ(UIPath(keeper), "");
}

// Every text fits a MAX_PATH buffer: longer ones are cut, nothing is written
// beyond the terminator.
class KeeperTruncation : public testing::TestWithParam<size_t> {};

TEST_P(KeeperTruncation, TextsFitAPathBuffer) {
    const size_t length = GetParam();
    const std::string text(length, 'a');
    const size_t kept = std::min<size_t>(length, MAX_PATH - 1);
    CHostInfoKeeper keeper;
    keeper.SetFileName(text.c_str());
    keeper.SetCaption(text.c_str());
    keeper.SetUIPath((text + "/").c_str());

    std::vector<char> buffer(MAX_PATH + 64, '#');
    EXPECT_EQ(keeper.GetFileName(buffer.data()), static_cast<int>(kept));
    EXPECT_EQ(std::string(buffer.data()), text.substr(0, kept));
    for (size_t i = kept + 1; i < buffer.size(); ++i) ASSERT_EQ(buffer[i], '#') << i;

    std::fill(buffer.begin(), buffer.end(), '#');
    const int pathLength = keeper.GetUIPath(buffer.data());
    EXPECT_EQ(pathLength, static_cast<int>(std::min<size_t>(length + 1, MAX_PATH - 1)));
    for (size_t i = static_cast<size_t>(pathLength) + 1; i < buffer.size(); ++i) ASSERT_EQ(buffer[i], '#') << i;

    EXPECT_EQ(keeper.GetCaption().GetLength(), static_cast<int>(kept));
}

INSTANTIATE_TEST_SUITE_P(Lengths, KeeperTruncation, testing::Values(0u, 1u, 258u, 259u, 260u, 261u, 1000u),
                         [](const testing::TestParamInfo<size_t>& info) { return "chars" + std::to_string(info.param); });

TEST(HostInfoKeeper, SharedKeeperDescribesTheHost) {
    EXPECT_EQ(&GetHostInfoKeeper(), &GetHostInfoKeeper());
    // Checked on a fresh keeper's view of the executable, since other steps may
    // have pointed the shared folder elsewhere and put it back.
    CHostInfoKeeper executable;
    ASSERT_TRUE(executable.SetDefaultInfo());
    EXPECT_EQ(GetHostInfoKeeper().GetCaption(), executable.GetCaption());
    EXPECT_EQ(FileName(GetHostInfoKeeper()), "lumora_tests");
    // By default the UI folder is where the libraries and their language
    // libraries are.
    EXPECT_TRUE(fs::equivalent(UIPath(GetHostInfoKeeper()), kLanguageDir));
}
