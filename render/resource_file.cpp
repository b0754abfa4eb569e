#include "render/resource_file.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "shell/log.h"

namespace {

// The folder's four-character code, held as a number and written out in
// text order.
constexpr uint32_t kAsciiFolderCode = 0x41534349;  // 'ASCI'

void WriteCode(uint32_t code, char* out) {
    for (int i = 0; i < 4; ++i) out[i] = static_cast<char>(code >> (24 - 8 * i));
}

// The last "/" of the base may stand at most here: behind it come 31
// characters of folder and file name at most, and the terminator.
constexpr size_t kLastSlashLimit = kResourcePathSize - 32;

}  // namespace

int32_t FormatString(char* out, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int written = std::vsprintf(out, format, args);
    va_end(args);
    return written < 0 ? -1 : written;
}

int32_t BuildResourcePath(FrameParams* frame, uint32_t, int32_t number, char* out) {
    const char* base = frame ? frame->resourcePath : nullptr;
    if (!base || !out) return -1;
    out[0] = 0;
    const size_t length = std::strlen(base);
    if (length < kResourcePathSize) std::memcpy(out, base, length + 1);
    // The walk stops at index 0 whether or not a "/" stands there, so a base
    // without one keeps its first character. An empty base is not supported.
    size_t slash = length > 0 ? length - 1 : 0;
    while (slash > 0 && base[slash] != '/') --slash;
    if (slash > kLastSlashLimit) return -1;

    char name[32];
    if (FormatString(name, "gfx%d.dat", number) < 0) return -1;
    char* at = out + slash + 1;
    std::memcpy(at, "mixer_rsrc/", 11);
    WriteCode(kAsciiFolderCode, at + 11);
    at[15] = '/';
    // The longest number's name fits the room left behind a slash at the
    // limit only up to seven digits; a longer one is refused rather than
    // written beyond the buffer.
    const size_t room = out + kResourcePathSize - (at + 16);
    if (std::strlen(name) >= room) {
        out[0] = 0;
        return -1;
    }
    std::strcpy(at + 16, name);
    return 0;
}

uint8_t* LoadResourceFile(FrameParams* frame, uint32_t reserved, int32_t number, uint32_t* outSize) {
    *outSize = 0;
    char path[kResourcePathSize];
    if (BuildResourcePath(frame, reserved, number, path) != 0) return nullptr;
    LogToConsole("Loading datas from %s\n", path);
    FILE* file = std::fopen(path, "rb");
    if (!file) return nullptr;
    uint8_t* block = nullptr;
    // Every way out closes the stream. A short read leaves the tail of the
    // block cleared.
    if (std::fseek(file, 0, SEEK_END) == 0) {
        const long size = std::ftell(file);
        if (size > 0 && static_cast<unsigned long>(size) <= UINT32_MAX) {
            block = static_cast<uint8_t*>(std::calloc(static_cast<size_t>(size), 1));
            if (block) {
                *outSize = static_cast<uint32_t>(size);
                std::fseek(file, 0, SEEK_SET);
                [[maybe_unused]] const size_t read = std::fread(block, 1, static_cast<size_t>(size), file);
            }
        }
    }
    std::fclose(file);
    return block;
}
