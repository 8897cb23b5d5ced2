// Icons made by CVxDIBConvert::ConvertTo(HICON&, CSize, DWORD).
//
// On Windows HICON is the system's icon handle: the caller releases it with
// the system's DestroyIcon, and the functions below read it through
// GetIconInfo and GetDIBits.
//
// Elsewhere HICON points to an icon the library owns: width x height pixels
// of 32 bits (blue, green, red, alpha) and a transparency mask. The library
// exports DestroyIcon for it, in the global namespace and with the Win32
// signature, so that code releasing icons reads the same on both systems.
//
// Either way an icon's transparent pixels are black in its colour pixels, as
// the Windows image list leaves them, with alpha 0; the others have alpha 255.
#pragma once

#include <lumora/export.h>
#include <lumora/framework/win32.h>

#if !defined(_WIN32)
// Frees an icon made by the library. FALSE for null, TRUE otherwise.
LUMORA_API BOOL DestroyIcon(HICON icon);
#endif

// The icon's size in pixels; FALSE (nothing written) for a null icon or one
// the system cannot describe.
LUMORA_API int GetLumoraIconSize(HICON icon, int* width, int* height);

// Copies the icon's pixels, top row first: 4 bytes a pixel (blue, green, red,
// alpha) into `bgra` and 1 byte a pixel (1 transparent, 0 opaque) into
// `mask`, each sized for the icon (GetLumoraIconSize). Either may be null.
LUMORA_API int GetLumoraIconPixels(HICON icon, unsigned char* bgra, unsigned char* mask);

// Writes the icon as a .ico file holding one 32-bit image with its AND mask.
// Sides above 256 are stored with 0 in the directory, as for 256; readers
// take the size from the image's own header. FALSE when the file cannot be
// written.
LUMORA_API int SaveLumoraIconFile(HICON icon, const char* path);
