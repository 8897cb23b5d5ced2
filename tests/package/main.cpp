// Uses the installed headers and library: value counts of a tiny image.
#include <lumora/lumora.h>

#include <cstdio>

int main() {
    CVxImage image(CM_GRAY, 8, 4, 1, 0, nullptr, 255);
    for (unsigned char x = 0; x < 4; ++x) image.SetPixel(x, 0, x);
    CVxPointProcessing counts(&image);
    const bool ok = counts.CalLookupTable() && counts.GetLookupTableCount() == 1 &&
                    counts.GetLookupTable(0).nSize == 256 && counts.GetLookupTable(0).pTable[3] == 1;
    std::puts(ok ? "lumora package works" : "unexpected counts");
    return ok ? 0 : 1;
}
