// CVxMiscProcessing: crop, copy out of and paste into the target image, and
// copy it to the clipboard.
#pragma once

#include <lumora/lumora_base.h>

// Rectangles are inclusive: the whole image is (0, 0, width - 1, height - 1);
// (-1, -1, -1, -1) has no special meaning here.
class LUMORA_API CVxMiscProcessing : public CVxLumoraBase {
public:
    CVxMiscProcessing();
    explicit CVxMiscProcessing(CVxImage* image);

    // Replaces the target by its part inside the normalised, clipped rect.
    int Crop(CRect rect);
    // dest(0, 0) receives target(rect.left, rect.top). dest must exist with
    // the target's pixel size and cover the copied part.
    int CopyTo(CVxImage& dest, CRect rect);
    // source(0, 0) lands on target(rect.left, rect.top); with a mask only
    // where its byte at the source position is non-zero. Rectangles one
    // pixel wide or high are refused (Windows intersection rule).
    int PasteFrom(CVxImage& source, CRect rect);
    int PasteFrom(CVxImage& source, CRect rect, CVxImage& mask);

    // Puts the target's DIB block (CVxDIBConvert::ConvertTo) on the clipboard:
    // header, colour table and rows, biSizeImage + biClrUsed x 4 + 40 bytes.
    // Windows: as CF_DIB, `owner` opening the clipboard; a clipboard another
    // window holds open is left unchanged and the answer is still TRUE.
    // Elsewhere `owner` is not used: the block, behind a 14-byte BMP file
    // header, goes to the desktop clipboard as image/bmp through wl-copy
    // (Wayland) or xclip (X11) when one is installed and its display is set;
    // TRUE whether or not one took it.
    // FALSE, before the clipboard is touched, for an image ConvertTo makes no
    // block for.
    int CopyToClipboard(HWND owner);
    // Does nothing and answers TRUE: declared without an implementation.
    int PasteFromClipboard(HWND owner);
};
