// The host-information library: what the Lumora libraries know about the
// application that loaded them (its user-interface folder, file name and
// caption) and about their own module.
#pragma once

#include <lumora/export.h>
#include <lumora/framework.h>

// Describes one module of the process. Every text is kept in a MAX_PATH
// buffer; longer texts are cut to MAX_PATH - 1 characters.
//
// The instance handle identifies a loaded module the way Windows does: it is
// the address the module is loaded at. On Windows that is the HINSTANCE /
// HMODULE itself; elsewhere it is the load base that dladdr() reports for any
// address inside the module. A null handle stands for the running executable.
class LUMORA_HOSTINFO_API CHostInfoKeeper {
public:
    // Empty folder, file name and caption, null instance.
    CHostInfoKeeper();
    ~CHostInfoKeeper();

    void SetHInstance(HINSTANCE instance);
    HINSTANCE GetHInstance() const;

    // Fills in the defaults for the module of the instance handle:
    //   file name  - the module's file name without folder, extension and, for
    //                a shared library, its "lib" prefix ("liblumora.so.0" and
    //                "liblumora.dll" both give "lumora");
    //   UI folder  - the module's folder, with a trailing separator;
    //   caption    - the running executable's file name without folder and
    //                extension (the caption belongs to the host application,
    //                whichever module the keeper describes).
    // Returns FALSE, changing nothing, when the module can't be found.
    BOOL SetDefaultInfo();

    // Copy the text into `buffer` (MAX_PATH chars at most, terminator
    // included) and return its length; a null buffer receives nothing and 0
    // is returned.
    int GetUIPath(char* buffer) const;
    int GetFileName(char* buffer) const;
    CString GetCaption() const;

    // Null is taken as the empty text. A non-empty folder gets a trailing
    // separator when it lacks one.
    void SetUIPath(const char* path);
    void SetFileName(const char* name);
    void SetCaption(const char* caption);

private:
    HINSTANCE m_hInstance;
    char m_szUIPath[MAX_PATH];
    char m_szFileName[MAX_PATH];
    char m_szCaption[MAX_PATH];
};

// The host's shared keeper. Until the host sets them, its file name and caption
// are those of the running executable and its UI folder is the folder holding
// the Lumora libraries (where their language libraries are installed).
LUMORA_HOSTINFO_API CHostInfoKeeper& GetHostInfoKeeper();
