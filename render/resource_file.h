// Numbered data files in a folder beside a base path: for a base of
// "/a/b/c.bin" and number 3 the file is "/a/b/mixer_rsrc/ASCI/gfx3.dat".
// The base is frame->resourcePath, the path of a file; all behind its last
// "/" is cut off. The module itself never sets it.
#pragma once

#include <cstdint>

#include "shell/frame_params.h"

// Room, terminator included, of a path that BuildResourcePath writes.
constexpr int kResourcePathSize = 256;

// Formatted print into out without a bound; -1 when formatting fails.
int32_t FormatString(char* out, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Writes the path of file number into out (kResourcePathSize bytes): 0 on
// success, -1 without a base path or out, and when the base's last "/"
// stands beyond index 224. A base without any "/" keeps its first character
// in front of the folder name. A base of 256 characters or more is not
// copied: out then reads as an empty text. The second argument is not read.
int32_t BuildResourcePath(FrameParams* frame, uint32_t reserved, int32_t number, char* out);

// Reads file number whole into a block that the caller releases with
// std::free, and its size into *outSize; null and size 0 when the path
// cannot be built, the file cannot be opened, is empty, or memory runs out.
// Logs "Loading datas from <path>" to the console before opening.
uint8_t* LoadResourceFile(FrameParams* frame, uint32_t reserved, int32_t number, uint32_t* outSize);
