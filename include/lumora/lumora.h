// Every public name of the library.
#pragma once

#include <lumora/export.h>
#include <lumora/framework.h>
#include <lumora/imagestore.h>
#include <lumora/lumora_base.h>
#include <lumora/point_processing.h>
