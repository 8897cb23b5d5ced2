// CVxDIBConvert: images to and from Windows device-independent bitmap blocks.
//
// A block is one contiguous array: a BITMAPINFOHEADER, an optional colour
// table or three colour masks, then the pixel rows, each padded to a multiple
// of four bytes. All fields are little-endian on every platform.
//
// ConvertTo writes a 40-byte header and either an 8-bit block (palette
// images, grey, one-bit), a 24-bit block (colour without alpha, and every
// colour space through an 8-bit RGB copy) or a 32-bit block (colour with
// alpha, grey with alpha), the image's bottom row first. ConvertFrom reads
// 1-, 4-, 8-, 16-, 24- and 32-bit blocks and copies their rows in block order,
// without reversal, so a block written by ConvertTo comes back upside down.
//
// Answers kept as they are: ConvertTo of a model it has no block for (grey,
// RGB or RGBA with float samples, LOGL, models 5 to 9 and 23 on) is TRUE with
// *block null; ConvertFrom of a block with another bit count (0, 2, 3, ...,
// anything over 32) is TRUE and leaves the target as it was. A 32-bit block's
// pixels are read at offset 40 whatever its header size, colour count or masks
// say.
//
// Cases the rules leave open, answered FALSE with *block null or the target
// untouched: a null argument, an image not created, a conversion through the
// colour routines that refuses the image, a negative width or height (a
// top-down block), a 16-bit block compressed other than BI_RGB or
// BI_BITFIELDS, a block whose image would exceed the image store's 2 GiB.
//
// Colour masks. A 16-bit BI_BITFIELDS block carries three masks (red, green,
// blue) directly behind its header. Each must be one non-empty run of set bits
// inside the low 16 bits, and no two may share a bit; each channel is then
// shifted into the top of its byte (a 5-bit field v becomes v << 3, a field
// wider than 8 bits keeps its top 8). Masks that break those rules - a zero
// mask is the usual case - cannot be interpreted: the message "These DWORD
// masks look strange!\n\nI'm going to substitute a halftone palette." is shown
// with the caption "Problem?" (information icon, no owner window) through the
// library's message handler (CLumoraManager::SetMessageHandler), and the
// pixels are read as 5-5-5 and drawn with the 6 x 6 x 6 halftone colour cube
// (levels 0, 51, ..., 255: each channel to the nearest level).
//
// Icons: ConvertTo(HICON&, CSize, DWORD) below, and lumora/icon.h.
#pragma once

#include <cstddef>

#include <lumora/icon.h>
#include <lumora/lumora_base.h>

class LUMORA_API CVxDIBConvert : public CVxLumoraBase {
public:
    CVxDIBConvert();
    explicit CVxDIBConvert(CVxImage* image);

    // Builds a block from the bound target and stores its address in *block;
    // the caller frees it with DeleteBitmapInfoHeaderMem.
    int ConvertTo(BITMAPINFOHEADER** block);

    // (Re)creates the bound target from a block the caller vouches for. The
    // colour table is not carried: an Index target gets a palette of the
    // block's colour count with every entry zero.
    int ConvertFrom(BITMAPINFOHEADER* block);

    // The same for a block of `bytes` bytes from outside. Every size, count
    // and offset is checked against `bytes` (a colour count of 0 meaning 2^bits
    // colours for 8 bits or fewer): a header shorter than 40 bytes or longer
    // than the block, colours or rows past its end, a negative width or height
    // give FALSE with the target untouched, and nothing past the end is read.
    // Every row is held to take at least 4 bytes of the block (the shortest
    // row of a width above 0), so a width of 0 cannot ask for more rows than
    // a quarter of the block's bytes.
    // What the one-argument form answers for a block that fits, this one
    // answers too (TRUE for other bit counts, the halftone message).
    int ConvertFrom(BITMAPINFOHEADER* block, size_t bytes);

    // Frees a block made by ConvertTo; null is accepted. TRUE.
    static int DeleteBitmapInfoHeaderMem(BITMAPINFOHEADER* block);

    // Renders the bound target into a new icon of size.cx x size.cy that the
    // caller releases with DestroyIcon (lumora/icon.h). The icon is filled
    // with `background` (a COLORREF, 0x00BBGGRR); an image narrower or lower
    // than the icon is drawn unscaled and centred, clipped where it
    // overhangs, any other is shrunk to the whole icon (Windows: GDI's
    // HALFTONE stretch; elsewhere each icon pixel is the rounded mean of the
    // image pixels its rectangle covers). The drawing reads the block's
    // header over the image's own top-down rows, so the icon shows the image
    // upside down. Every pixel of the background colour, the image's own
    // included, becomes transparent (and black).
    // TRUE also when a system call fails on the way (icon null then).
    // FALSE, with icon null and no system object made: no target, an image
    // ConvertTo(BITMAPINFOHEADER**) makes no block for, an image whose buffer
    // is shorter than the block's rows (8-bit grey with alpha under its
    // 32-bit header), a side outside 1 .. 4096.
    int ConvertTo(HICON& icon, CSize size, DWORD background);
};
