// Pixel records: two to four samples of one pixel, in the channel order of
// the image (blue, green, red, alpha for RGB and RGBA), packed without gaps so
// that an image row can be read as an array of them.
#pragma once

#include <lumora/framework/win32.h>

#pragma pack(push, 1)
struct tagVXG2 { BYTE v[2]; };
struct tagVXG3 { BYTE v[3]; };
struct tagVXG4 { BYTE v[4]; };
struct tagVXGW2 { WORD v[2]; };
struct tagVXGW3 { WORD v[3]; };
struct tagVXGW4 { WORD v[4]; };
struct tagVXGF2 { float v[2]; };
struct tagVXGF3 { float v[3]; };
struct tagVXGF4 { float v[4]; };
#pragma pack(pop)

static_assert(sizeof(tagVXG2) == 2 && sizeof(tagVXG3) == 3 && sizeof(tagVXG4) == 4);
static_assert(sizeof(tagVXGW2) == 4 && sizeof(tagVXGW3) == 6 && sizeof(tagVXGW4) == 8);
static_assert(sizeof(tagVXGF2) == 8 && sizeof(tagVXGF3) == 12 && sizeof(tagVXGF4) == 16);
