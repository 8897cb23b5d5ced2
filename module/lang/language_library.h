// The contract between the library and its language libraries on systems
// without string resources. There a language library is a shared object that
// exports one C function with LoadStringA's contract:
//
//   int LumoraLoadString(unsigned id, char* buffer, int size);
//
// It copies string `id` into `buffer` (at most size - 1 bytes, never splitting
// a UTF-8 character, always terminated when size > 0) and returns the number
// of bytes copied; 0 for an unknown id, a null buffer or size <= 0.
// On Windows the language libraries are resource DLLs with a STRINGTABLE
// instead, read with LoadStringA.
#pragma once

namespace lumora::detail {

using LanguageLoadString = int (*)(unsigned id, char* buffer, int size);
inline constexpr char kLanguageLoadStringSymbol[] = "LumoraLoadString";

}  // namespace lumora::detail
