// The library singleton: language selection and the message routine.
#pragma once

#include <lumora/export.h>
#include <lumora/framework.h>

// Shows a message to the user and returns the box's answer (IDOK and the like).
typedef int (*LUMORA_MESSAGE_HANDLER)(const char* text, const char* caption, UINT style);

class LUMORA_API CLumoraManager {
public:
    CLumoraManager();
    CLumoraManager& operator=(const CLumoraManager&);

    // Loads the language library "<UI folder><library file name> ENG.DLL" (9)
    // or "... KOR.DLL" (18); on failure everything stays as it was.
    void UpdateLanguage(int language);
    // The language code of the resources in use (9 until a switch succeeds).
    int GetLanguage();
    // Replaces the routine that shows the library's messages and returns the
    // previous one; null restores the default.
    LUMORA_MESSAGE_HANDLER SetMessageHandler(LUMORA_MESSAGE_HANDLER handler);
};

LUMORA_API CLumoraManager& GetLumoraManager();
