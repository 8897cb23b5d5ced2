// Every public name of the library.
#pragma once

#include <lumora/export.h>
#include <lumora/framework.h>
#include <lumora/hostinfo.h>
#include <lumora/imagestore.h>

#include <lumora/lumora_base.h>
#include <lumora/lumora_manager.h>
#include <lumora/threading.h>

#include <lumora/arithmetic_processing.h>
#include <lumora/brightness_processing.h>
#include <lumora/contrast_processing.h>
#include <lumora/gamma_processing.h>
#include <lumora/point_processing.h>
#include <lumora/threshold_processing.h>

#include <lumora/color_processing.h>

#include <lumora/convolution.h>
#include <lumora/edge_detection.h>
#include <lumora/filter.h>
#include <lumora/morphologic_processing.h>

#include <lumora/drawing.h>
#include <lumora/geometry_processing.h>
#include <lumora/misc_processing.h>

#include <lumora/histogram.h>
#include <lumora/histogram_density.h>
#include <lumora/histogram_processing.h>
#include <lumora/hough_image.h>
#include <lumora/hough_transform.h>

#include <lumora/averaging.h>
#include <lumora/shading_correct.h>

#include <lumora/dib_convert.h>
#include <lumora/icon.h>
