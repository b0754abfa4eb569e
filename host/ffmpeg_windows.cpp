// The Windows build runs no other programs: video and pictures other than
// PNG, which go through ffmpeg, are refused with a clear reason; PNG pictures,
// their numbered sequences and raw frames work as on Linux.
#include "host/ffmpeg_process.h"
#include "host/host_error.h"
#include "host/video_io.h"

namespace fxhost {

namespace {

constexpr const char* kNoFfmpeg = "the Windows build of fxhost does not run ffmpeg: "
                                  "it reads and writes PNG pictures and raw frames (-) only";

}  // namespace

int RunCommand(const std::vector<std::string>& argv, std::string& out, std::vector<std::string>& err) {
    out.clear();
    err.assign(1, "cannot run " + (argv.empty() ? std::string("a program") : argv[0]) + ": " + kNoFfmpeg);
    return 127;
}

std::unique_ptr<FrameReader> OpenVideoReader(const std::string& path, double) {
    throw HostError("cannot read '" + path + "': " + kNoFfmpeg);
}

void CheckVideoOutput(const std::string& path) { throw HostError("cannot write '" + path + "': " + kNoFfmpeg); }

std::unique_ptr<FrameWriter> OpenVideoWriter(const std::string& path, int, int, const WriterOptions&) {
    CheckVideoOutput(path);
    return nullptr;
}

}  // namespace fxhost
