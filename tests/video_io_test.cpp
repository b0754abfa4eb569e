// Frames, and video through the ffmpeg command: tiny clips made in a private
// directory, read and written back.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "host/ffmpeg_process.h"
#include "host/frame.h"
#include "host/host_error.h"
#include "host/picture_io.h"
#include "host/test_card.h"
#include "host/video_io.h"
#include "temp_dir_test.h"

namespace {

using namespace fxhost;

// A frame whose every pixel differs from its neighbours and from frame n+1.
Frame Pattern(int w, int h, int n, bool alpha) {
    Frame f;
    f.resize(w, h);
    f.alpha = alpha;
    for (size_t i = 0; i < f.pixels.size(); ++i) {
        const uint32_t v = uint32_t(i) * 2654435761u + uint32_t(n) * 40503u;
        f.pixels[i] = alpha ? v : (v | 0xFF000000u);
    }
    return f;
}

std::string Error(const std::function<void()>& action) {
    try {
        action();
    } catch (const HostError& e) {
        return e.what();
    }
    return "(no error)";
}

class Video : public TempDirTest {
protected:
    void SetUp() override {
        signal(SIGPIPE, SIG_IGN);  // as fxhost: a writer sees EPIPE when ffmpeg quits
        TempDirTest::SetUp();
    }
    // Runs ffmpeg's or ffprobe's command line in the directory; returns its standard output.
    std::string Run(const std::string& command) const {
        std::string out;
        std::vector<std::string> err;
        EXPECT_EQ(RunCommand({"sh", "-c", "cd " + dir_ + " && " + command}, out, err), 0) << command << LastError(err);
        return out;
    }
    std::string Streams(const std::string& name) const {
        return Run("ffprobe -v error -show_entries stream=codec_type,codec_name -of csv=p=0 " + name);
    }
    std::vector<Frame> ReadAll(const std::string& path, std::vector<int64_t>* times = nullptr, double fps = 25) {
        auto reader = OpenVideoReader(path, fps);
        std::vector<Frame> frames;
        Frame f;
        int64_t ms = -1;
        while (reader->read(f, ms)) {
            frames.push_back(f);
            if (times) times->push_back(ms);
        }
        return frames;
    }
    void Write(const std::string& path, const std::vector<Frame>& frames, WriterOptions options = {}) {
        auto writer = OpenVideoWriter(path, frames[0].width, frames[0].height, options);
        for (const Frame& f : frames) writer->write(f);
        writer->finish();
    }
};

// ---- Frames and surfaces ----

TEST(Frames, SurfacesMatchThePicturePathAtEveryFormat) {
    const Image card = MakeTestCard(37, 21);
    Frame frame = FrameFromImage(card);
    Frame alphaFrom = Pattern(37, 21, 0, true);
    for (int32_t format : {kFormatXrgb, kFormat565, kFormat555}) {
        SCOPED_TRACE(format);
        HostSurface viaImage(37, 21, format, format == kFormatXrgb ? 150 : 77);
        HostSurface viaFrame(37, 21, format, format == kFormatXrgb ? 150 : 77);
        viaFrame.fillPadding(0xA5);
        ImageToSurface(card, viaImage);
        FrameToSurface(frame, viaFrame);
        for (int y = 0; y < 21; ++y)
            for (int x = 0; x < 37; ++x) ASSERT_EQ(viaFrame.pixel(x, y), viaImage.pixel(x, y)) << x << "," << y;
        EXPECT_TRUE(viaFrame.paddingIs(0xA5));

        const Image back = SurfaceToImage(viaImage);
        Frame opaque;
        SurfaceToFrame(viaFrame, frame, opaque);
        EXPECT_FALSE(opaque.alpha);
        EXPECT_EQ(ImageFromFrame(opaque).rgb, back.rgb);
        EXPECT_EQ(opaque.pixels[0] >> 24, 0xFFu);
        Frame keyed;
        SurfaceToFrame(viaFrame, alphaFrom, keyed);
        ASSERT_TRUE(keyed.alpha);
        for (size_t i = 0; i < keyed.pixels.size(); ++i)
            ASSERT_EQ(keyed.pixels[i], (opaque.pixels[i] & 0xFFFFFFu) | (alphaFrom.pixels[i] & 0xFF000000u));
    }
    HostSurface wrong(36, 21, kFormatXrgb);
    EXPECT_THROW(FrameToSurface(frame, wrong), HostError);
}

TEST(Frames, ImagesKeepTheirAlpha) {
    Image image;
    image.width = 2;
    image.height = 1;
    image.rgb = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(FrameFromImage(image).pixels, (std::vector<uint32_t>{0xFF010203u, 0xFF040506u}));
    image.alpha = {0x80, 0};
    const Frame f = FrameFromImage(image);
    EXPECT_EQ(f.pixels, (std::vector<uint32_t>{0x80010203u, 0x00040506u}));
    const Image back = ImageFromFrame(f);
    EXPECT_EQ(back.rgb, image.rgb);
    EXPECT_EQ(back.alpha, image.alpha);
}

// ---- Raw frames ----

TEST(RawFrames, PipeRoundTripAndAShortLastFrame) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    const Frame a = Pattern(5, 3, 1, false), b = Pattern(5, 3, 2, true);
    auto writer = OpenRawWriter(fds[1], "the pipe");
    writer->write(a);
    writer->write(b);
    ASSERT_EQ(write(fds[1], b.bytes(), 7), 7);
    close(fds[1]);
    auto reader = OpenRawReader(fds[0], "standard input", 5, 3, 30);
    Frame f;
    int64_t ms = -1;
    ASSERT_TRUE(reader->read(f, ms));
    EXPECT_EQ(f.pixels, a.pixels);
    EXPECT_EQ(ms, 0);
    ASSERT_TRUE(reader->read(f, ms));
    EXPECT_EQ(f.pixels, b.pixels);
    EXPECT_EQ(ms, 33);
    EXPECT_EQ(Error([&] { reader->read(f, ms); }), "standard input ended inside frame 2: 7 of 60 bytes");
    close(fds[0]);

    ASSERT_EQ(pipe(fds), 0);
    close(fds[0]);
    signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(Error([&] { OpenRawWriter(fds[1], "standard output")->write(a); }), "standard output was closed");
    close(fds[1]);
}

// ---- Through ffmpeg ----

TEST_F(Video, LosslessRoundTripsAtAnOddSize) {
    ASSERT_TRUE(FfmpegAvailable());
    const std::vector<Frame> frames = {Pattern(35, 19, 0, false), Pattern(35, 19, 1, false), Pattern(35, 19, 2, false)};
    WriterOptions options;
    options.fps = 10;
    options.encodeArgs = {"-c:v", "ffv1"};
    Write(Path("clip.mkv"), frames, options);
    EXPECT_EQ(Listing(), std::vector<std::string>{"clip.mkv"});
    auto reader = OpenVideoReader(Path("clip.mkv"), 25);
    EXPECT_EQ(reader->info().width, 35);
    EXPECT_EQ(reader->info().height, 19);
    EXPECT_EQ(reader->info().fps, 10);
    EXPECT_FALSE(reader->info().alpha);
    EXPECT_FALSE(reader->info().audio);
    EXPECT_FALSE(reader->info().still);
    reader.reset();
    std::vector<int64_t> times;
    const std::vector<Frame> back = ReadAll(Path("clip.mkv"), &times);
    ASSERT_EQ(back.size(), 3u);
    for (size_t i = 0; i < 3; ++i) EXPECT_EQ(back[i].pixels, frames[i].pixels) << i;
    EXPECT_EQ(times, (std::vector<int64_t>{0, 100, 200}));

    // Stopping early ends ffmpeg without trouble.
    Frame f;
    int64_t ms;
    EXPECT_TRUE(OpenVideoReader(Path("clip.mkv"), 25)->read(f, ms));
}

TEST_F(Video, SequencesWithAlphaBothPaddings) {
    const std::vector<Frame> frames = {Pattern(6, 4, 0, true), Pattern(6, 4, 1, true)};
    WriterOptions options;
    options.alpha = true;
    Write(Path("z%03d.png"), frames, options);
    Write(Path("s%3d.png"), frames, options);
    EXPECT_EQ(Listing(), (std::vector<std::string>{"s  0.png", "s  1.png", "z000.png", "z001.png"}));
    for (const char* name : {"z%03d.png", "s%3d.png"}) {
        SCOPED_TRACE(name);
        std::vector<int64_t> times;
        const std::vector<Frame> back = ReadAll(Path(name), &times, 4);
        ASSERT_EQ(back.size(), 2u);
        EXPECT_TRUE(back[1].alpha);
        EXPECT_EQ(back[0].pixels, frames[0].pixels);
        EXPECT_EQ(back[1].pixels, frames[1].pixels);
        EXPECT_EQ(times, (std::vector<int64_t>{0, 250}));
    }
    auto still = OpenVideoReader(Path("z001.png"), 25);
    EXPECT_TRUE(still->info().still);
    EXPECT_EQ(still->info().frames, 1);
}

TEST_F(Video, VariableFrameRateTimes) {
    Run("ffmpeg -v error -f lavfi -i testsrc2=size=16x8:rate=10 -frames:v 4 -vf settb=1/1000,setpts=N*N*13 "
        "-fps_mode passthrough -enc_time_base 1:1000 -c:v ffv1 vfr.mkv");
    std::vector<int64_t> times;
    EXPECT_EQ(ReadAll(Path("vfr.mkv"), &times).size(), 4u);
    EXPECT_EQ(times, (std::vector<int64_t>{0, 13, 52, 117}));
}

TEST_F(Video, SoundIsKeptInClipsOnly) {
    Run("ffmpeg -v error -f lavfi -i testsrc2=size=16x8:rate=10 -f lavfi -i sine=duration=1 -frames:v 10 "
        "-c:v ffv1 -c:a flac in.mkv");
    EXPECT_TRUE(OpenVideoReader(Path("in.mkv"), 25)->info().audio);
    std::vector<Frame> frames = ReadAll(Path("in.mkv"));
    WriterOptions options;
    options.audioFrom = Path("in.mkv");
    options.fps = 10;
    options.encodeArgs = {"-c:v", "ffv1"};
    Write(Path("same.mkv"), frames, options);
    EXPECT_EQ(Streams("same.mkv"), "ffv1,video\nflac,audio\n");
    options.encodeArgs = {"-c:v", "mpeg4"};
    Write(Path("other.avi"), frames, options);
    EXPECT_EQ(Streams("other.avi"), "mpeg4,video\nmp3,audio\n");
    options.encodeArgs = {};
    Write(Path("anim.gif"), frames, options);
    EXPECT_EQ(Streams("anim.gif"), "gif,video\n");
}

TEST_F(Video, TruncatedClipDeliversFramesThenFails) {
    Run("ffmpeg -v error -f lavfi -i testsrc2=size=34x18:rate=10 -vf noise=alls=40:allf=t -frames:v 20 -c:v ffv1 "
        "whole.mkv && head -c $(( $(stat -c %s whole.mkv) / 2 )) whole.mkv > cut.mkv");
    auto reader = OpenVideoReader(Path("cut.mkv"), 25);
    Frame f;
    int64_t ms = 0;
    int frames = 0;
    const std::string error = Error([&] {
        while (reader->read(f, ms)) ++frames;
    });
    EXPECT_GT(frames, 0);
    EXPECT_LT(frames, 20);
    EXPECT_EQ(error, "'" + Path("cut.mkv") + "' is damaged or truncated after " + std::to_string(frames) +
                         " frames: File ended prematurely");
    EXPECT_FALSE(reader->read(f, ms));
}

TEST_F(Video, InputsThatAreNotVideo) {
    EXPECT_EQ(Error([&] { OpenVideoReader(Path("missing.mp4"), 25); }),
              "cannot read '" + Path("missing.mp4") + "': No such file or directory");
    std::ofstream(Path("text.mp4")) << "not a clip\n";
    EXPECT_EQ(Error([&] { OpenVideoReader(Path("text.mp4"), 25); }),
              "cannot read '" + Path("text.mp4") + "': Invalid data found when processing input");
    Run("ffmpeg -v error -f lavfi -i sine=duration=0.1 sound.wav");
    EXPECT_EQ(Error([&] { OpenVideoReader(Path("sound.wav"), 25); }),
              "cannot read '" + Path("sound.wav") + "': it holds no video stream");
}

TEST_F(Video, OutputsRefusedOrFailingLeaveNothing) {
    EXPECT_NO_THROW(CheckVideoOutput(Path("ok.webm")));
    EXPECT_EQ(Error([&] { CheckVideoOutput(Path("x.notavideo")); }),
              "cannot write '" + Path("x.notavideo") + "': ffmpeg knows no format for the extension .notavideo");
    EXPECT_THROW(CheckVideoOutput(Path("nowhere/x.mp4")), HostError);

    WriterOptions options;
    options.encodeArgs = {"-c:v", "libx264", "-pix_fmt", "yuv420p"};
    const std::string error = Error([&] { Write(Path("odd.mp4"), {Pattern(35, 19, 0, false)}, options); });
    EXPECT_EQ(error, "ffmpeg could not write '" + Path("odd.mp4") + "': width not divisible by 2 (35x19)");
    options.encodeArgs = {"-c:v", "nosuchcodec"};
    EXPECT_THROW(Write(Path("f%d.png"), {Pattern(4, 4, 0, false)}, options), HostError);
    OpenVideoWriter(Path("abandoned.mkv"), 4, 4, {})->write(Pattern(4, 4, 0, false));
    EXPECT_TRUE(Listing().empty());
}

TEST_F(Video, SignalsRemoveTheTemporaryOutput) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        RemoveTemporaryFilesOnSignals();
        auto writer = OpenVideoWriter(Path("out.mkv"), 4, 4, {});
        writer->write(Pattern(4, 4, 0, false));
        raise(SIGTERM);
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    EXPECT_TRUE(Listing().empty());
}

}  // namespace
