#include <lumora/color_processing.h>
