// The application-framework and Win32 names used by the library's interface.
#pragma once

#include <lumora/framework/win32.h>
#include <lumora/framework/geometry.h>
#include <lumora/framework/cstring.h>
#include <lumora/framework/collections.h>
