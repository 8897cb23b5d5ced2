// CVxEdgeDetection: Prewitt, Sobel and Laplacian edge images.
#pragma once

#include <lumora/lumora_base.h>

enum PREWITT_FLAG { PREWITT_DIAGONAL = 0, PREWITT_HORIZONTAL = 1, PREWITT_VERTICAL = 2 };
enum SOBEL_FLAG { SOBEL_DIAGONAL = 0, SOBEL_HORIZONTAL = 1, SOBEL_VERTICAL = 2 };

class LUMORA_API CVxEdgeDetection : public CVxLumoraBase {
public:
    CVxEdgeDetection();
    explicit CVxEdgeDetection(CVxImage* image);

    int Prewitt(CVxImage& dest, PREWITT_FLAG flag);
    int Sobel3(CVxImage& dest, SOBEL_FLAG flag);
    int Laplacian3(CVxImage& dest);

    // Named detectors without an implementation: each returns FALSE at once.
    int FeiChen(CVxImage& dest);
    int Laplacian3Minus(CVxImage& dest);
    int Laplacian3Prewitt(CVxImage& dest);
    int Laplacian3_4(CVxImage& dest);
    int Laplacian5(CVxImage& dest);
    int Laplacian9(CVxImage& dest);
    int MedianSquare2x2(CVxImage& dest);
    int PixelDifference(CVxImage& dest);
    int Roberts2(CVxImage& dest);
    int SeperatedPixelDifference(CVxImage& dest);
    int ShadowMask(CVxImage& dest);
};
