// The Win32 names the library's interface is written in. On Windows they come
// from <windows.h> itself, so values cross the boundary unchanged; elsewhere
// these stand-ins have the same sizes, signedness and field names.
#pragma once

#include <cstdint>

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#else

typedef int BOOL;
typedef unsigned char BYTE;
typedef unsigned short WORD;
typedef std::uint32_t DWORD;
typedef std::int32_t LONG;
typedef unsigned int UINT;
typedef DWORD COLORREF;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

// Opaque handles: distinct pointer types, as with STRICT on Windows.
struct HWND__;
struct HICON__;
struct HINSTANCE__;
typedef HWND__* HWND;
typedef HICON__* HICON;
typedef HINSTANCE__* HINSTANCE;
typedef HINSTANCE HMODULE;

#pragma pack(push, 2)
typedef struct tagBITMAPINFOHEADER {
    DWORD biSize;
    LONG biWidth;
    LONG biHeight;
    WORD biPlanes;
    WORD biBitCount;
    DWORD biCompression;
    DWORD biSizeImage;
    LONG biXPelsPerMeter;
    LONG biYPelsPerMeter;
    DWORD biClrUsed;
    DWORD biClrImportant;
} BITMAPINFOHEADER;
#pragma pack(pop)

typedef struct tagRGBQUAD {
    BYTE rgbBlue;
    BYTE rgbGreen;
    BYTE rgbRed;
    BYTE rgbReserved;
} RGBQUAD;

#ifndef MB_OK
#define MB_OK 0x00000000L
#endif
#ifndef MB_ICONEXCLAMATION
#define MB_ICONEXCLAMATION 0x00000030L
#endif
#ifndef MB_ICONINFORMATION
#define MB_ICONINFORMATION 0x00000040L
#endif
#ifndef BI_RGB
#define BI_RGB 0L
#endif
#ifndef BI_BITFIELDS
#define BI_BITFIELDS 3L
#endif
#ifndef MAX_PATH
#define MAX_PATH 260
#endif

#endif  // _WIN32

static_assert(sizeof(BITMAPINFOHEADER) == 40, "BITMAPINFOHEADER must be 40 bytes");
static_assert(sizeof(RGBQUAD) == 4, "RGBQUAD must be 4 bytes");
static_assert(sizeof(LONG) == 4 && sizeof(DWORD) == 4, "LONG and DWORD are 32-bit");
