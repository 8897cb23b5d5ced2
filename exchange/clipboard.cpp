// The target image on the clipboard, as its DIB block.
//
// Windows: CF_DIB in a GMEM_SHARE global block, which the clipboard owns once
// SetClipboardData takes it (and which is freed here when it does not). A
// clipboard that cannot be opened is not reported: the answer is TRUE.
//
// Elsewhere the desktop clipboard holds files, not DIB blocks: the block goes
// behind a BMP file header, the form image/bmp has, and a clipboard tool
// serves it (wl-copy under Wayland, xclip under X11; both stay behind in the
// background to answer paste requests). The tool reads the file from an
// unlinked temporary file, and its output goes to /dev/null, so nothing of
// the caller's - a pipe a test runner waits on, say - stays open in it.
#include <lumora/misc_processing.h>

#include <cstring>

#if defined(_WIN32)
#else
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;
#endif

#include "shell_rules.h"

using namespace lumora::detail;

namespace {

#if defined(_WIN32)

constexpr UINT kShareFlag = 0x2000;  // GMEM_SHARE

void PutOnClipboard(const BITMAPINFOHEADER* block, size_t bytes) {
    HGLOBAL memory = GlobalAlloc(kShareFlag, bytes);
    if (!memory) return;
    void* locked = GlobalLock(memory);
    if (locked) {
        std::memcpy(locked, block, bytes);
        GlobalUnlock(memory);
    }
    if (!locked || !SetClipboardData(CF_DIB, memory)) GlobalFree(memory);
}

#else

constexpr std::uint32_t kBmpFileHeaderBytes = 14;

// Runs argv with `input` as standard input and waits for it (the clipboard
// tools fork their server and return). True when it exits with 0.
bool RunWithInput(const char* const* argv, int input) {
    posix_spawn_file_actions_t actions;
    if (posix_spawn_file_actions_init(&actions) != 0) return false;
    posix_spawn_file_actions_adddup2(&actions, input, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
#if defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 34))
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);
#endif
    pid_t pid = 0;
    const int spawned = posix_spawnp(&pid, argv[0], &actions, nullptr, const_cast<char* const*>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) return false;
    int status = 0;
    pid_t waited;
    do waited = waitpid(pid, &status, 0);
    while (waited < 0 && errno == EINTR);
    return waited == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool HasVariable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0';
}

void PutOnDesktopClipboard(const BITMAPINFOHEADER* block, size_t bytes) {
    const bool wayland = HasVariable("WAYLAND_DISPLAY"), x11 = HasVariable("DISPLAY");
    if (!wayland && !x11) return;
    const DibHeader h = HeaderOf(block);
    std::vector<std::uint8_t> file(kBmpFileHeaderBytes + bytes);
    file[0] = 'B';
    file[1] = 'M';
    StoreLittle(file.data() + 2, static_cast<std::uint32_t>(file.size()));
    StoreLittle(file.data() + 10, kBmpFileHeaderBytes + kDibHeaderBytes + h.clrUsed * 4);
    std::memcpy(file.data() + kBmpFileHeaderBytes, block, bytes);

    std::FILE* temporary = std::tmpfile();
    if (!temporary) return;
    const int fd = fileno(temporary);
    if (std::fwrite(file.data(), 1, file.size(), temporary) == file.size() && std::fflush(temporary) == 0) {
        static const char* const wlCopy[] = {"wl-copy", "--type", "image/bmp", nullptr};
        static const char* const xclip[] = {"xclip", "-selection", "clipboard", "-t", "image/bmp", "-i", nullptr};
        bool served = false;
        if (wayland && lseek(fd, 0, SEEK_SET) == 0) served = RunWithInput(wlCopy, fd);
        if (!served && x11 && lseek(fd, 0, SEEK_SET) == 0) RunWithInput(xclip, fd);
    }
    std::fclose(temporary);
}

#endif

}  // namespace

int CVxMiscProcessing::CopyToClipboard(HWND owner) {
    const DibBlockPtr block = ExportBlock(m_pImage);
    if (!block) return FALSE;
    const auto bytes = static_cast<size_t>(ClipboardBytes(HeaderOf(block.get())));
#if defined(_WIN32)
    if (!OpenClipboard(owner)) return TRUE;
    EmptyClipboard();
    PutOnClipboard(block.get(), bytes);
    CloseClipboard();
#else
    (void)owner;
    PutOnDesktopClipboard(block.get(), bytes);
#endif
    return TRUE;
}

int CVxMiscProcessing::PasteFromClipboard(HWND /*owner*/) { return TRUE; }
