// Palettes of indexed images.
#pragma once

#include <lumora/export.h>
#include <lumora/framework/win32.h>

// One palette entry, in the memory order of a Windows colour table.
struct tagRGBA {
    BYTE blue;
    BYTE green;
    BYTE red;
    BYTE alpha;
};
static_assert(sizeof(tagRGBA) == 4, "tagRGBA is four bytes");

class LUMORA_IMAGESTORE_API CVxPalette {
public:
    explicit CVxPalette(int n = 0);
    CVxPalette(const CVxPalette& other);
    CVxPalette(CVxPalette&& other) noexcept;
    virtual ~CVxPalette();

    CVxPalette& operator=(const CVxPalette& other);
    CVxPalette& operator=(CVxPalette&& other) noexcept;

    tagRGBA* GetPalette() { return m_pEntries; }
    const tagRGBA* GetPalette() const { return m_pEntries; }
    // Null for an index outside the palette.
    tagRGBA* GetPaletteItem(int index);
    int GetPaletteNum() const { return m_nEntries; }

    // Entry i becomes (i, i, i) scaled over the palette's length; alpha 0.
    void SetGrayPalette();
    // Reallocates to n entries, all zero.
    void SetPaletteNum(int n);

private:
    int m_nEntries = 0;
    tagRGBA* m_pEntries = nullptr;
};
