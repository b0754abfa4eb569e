// Writes the built-in test card at a given size as raw BGRA frames on
// standard output, the same picture every frame, for hosts that read raw
// video. Usage: frei0r_hosts_card WIDTH HEIGHT [FRAMES]
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>

#include "host/frame.h"
#include "host/test_card.h"

namespace {

int Number(const char* text, int low, int high) {
    char* end = nullptr;
    const long value = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || value < low || value > high) {
        std::fprintf(stderr, "frei0r_hosts_card: \"%s\" is not a number from %d to %d\n", text, low, high);
        std::exit(2);
    }
    return static_cast<int>(value);
}

bool WriteAll(const unsigned char* bytes, size_t size) {
    while (size > 0) {
        const ssize_t done = ::write(STDOUT_FILENO, bytes, size);
        if (done <= 0) return false;
        bytes += done;
        size -= static_cast<size_t>(done);
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3 || argc > 4) {
        std::fprintf(stderr, "usage: frei0r_hosts_card WIDTH HEIGHT [FRAMES]\n");
        return 2;
    }
    const int width = Number(argv[1], 1, 8192);
    const int height = Number(argv[2], 1, 8192);
    const int frames = argc == 4 ? Number(argv[3], 1, 100000) : 1;
    try {
        // Words 0xAARRGGBB, stored little-endian: bytes B, G, R, A.
        const fxhost::Frame card = fxhost::FrameFromImage(fxhost::MakeTestCard(width, height));
        for (int i = 0; i < frames; ++i) {
            if (!WriteAll(card.bytes(), card.byteCount())) {
                std::perror("frei0r_hosts_card: standard output");
                return 1;
            }
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "frei0r_hosts_card: %s\n", e.what());
        return 1;
    }
    return 0;
}
