// CVxArithmeticProcessing: in-place arithmetic with a constant or a second image.
#pragma once

#include <lumora/lumora_base.h>

// Results stay on an 8-bit scale (0..255) for every sample type, with
// one-sided clamps: ADD guards only the top, SUB only the bottom.
class LUMORA_API CVxArithmeticProcessing : public CVxLumoraBase {
public:
    CVxArithmeticProcessing();
    explicit CVxArithmeticProcessing(CVxImage* image);

    int ADD(int value, CRect rect = CRect(-1, -1, -1, -1));
    int ADD(float value, CRect rect = CRect(-1, -1, -1, -1));
    int SUB(int value, CRect rect = CRect(-1, -1, -1, -1));
    int SUB(float value, CRect rect = CRect(-1, -1, -1, -1));
    int MUL(int value, CRect rect = CRect(-1, -1, -1, -1));
    int MUL(float value, CRect rect = CRect(-1, -1, -1, -1));
    int DIV(CVxImage& operand, CRect rect = CRect(-1, -1, -1, -1));
    int OR(CVxImage& operand, CRect rect = CRect(-1, -1, -1, -1));

    // Inert: return TRUE and change nothing.
    int AND(CVxImage& operand, CRect rect = CRect(-1, -1, -1, -1));
    int NOT(CVxImage& operand, CRect rect = CRect(-1, -1, -1, -1));
    int XOR(CVxImage& operand, CRect rect = CRect(-1, -1, -1, -1));
    int DIV(int value, CRect rect = CRect(-1, -1, -1, -1));
    int DIV(float value, CRect rect = CRect(-1, -1, -1, -1));
};
