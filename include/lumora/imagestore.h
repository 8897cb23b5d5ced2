// Everything of the image store: images, palettes, collections, pixel records.
#pragma once

#include <lumora/vximage.h>
#include <lumora/vximagearray.h>
#include <lumora/vxpalette.h>
#include <lumora/vxpixel.h>
