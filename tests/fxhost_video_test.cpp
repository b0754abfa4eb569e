// fxhost with clips, sequences, raw frames in pipes, chains and values over
// time, through ffmpeg as users run it.
#include <gtest/gtest.h>

#include "fxhost_fixture.h"
#include "host/frame.h"

namespace {

using namespace fxhost_test;

class FxhostVideo : public Fxhost {
protected:
    // Runs a shell command in the work directory; its exit status.
    int Sh(const std::string& command) {
        const int raw = std::system(("cd '" + dir_.string() + "' && " + command + " >/dev/null 2>&1").c_str());
        return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    }
    // Six frames of a moving picture as in00.png ... in05.png, and the same
    // frames losslessly in clip.mkv at 25 a second.
    void MakeClip(const std::string& size = "96x54") {
        ASSERT_EQ(Sh("ffmpeg -nostdin -f lavfi -i testsrc=size=" + size +
                     ":rate=25 -frames:v 6 -start_number 0 in%02d.png"),
                  0);
        ASSERT_EQ(Sh("ffmpeg -nostdin -framerate 25 -i in%02d.png -c:v ffv1 -pix_fmt bgr0 clip.mkv"), 0);
    }
    // The pictures of a file ffmpeg reads, frame by frame.
    std::vector<fxhost::Image> Decode(const std::string& file) {
        fs::create_directories(dir_ / "decoded");
        EXPECT_EQ(Sh("ffmpeg -nostdin -i " + file + " -fps_mode passthrough -start_number 0 decoded/%03d.png"), 0);
        std::vector<fxhost::Image> frames;
        for (int n = 0; fs::exists(dir_ / "decoded" / Numbered(n)); ++n)
            frames.push_back(fxhost::ReadPng((dir_ / "decoded" / Numbered(n)).string()));
        fs::remove_all(dir_ / "decoded");
        return frames;
    }
    static std::string Numbered(int n) {
        char name[16];
        std::snprintf(name, sizeof name, "%03d.png", n);
        return name;
    }
    std::vector<fxhost::Image> Pngs(const std::string& prefix, int count) {
        std::vector<fxhost::Image> frames;
        for (int n = 0; n < count; ++n) frames.push_back(fxhost::ReadPng(Path(prefix + (n < 10 ? "0" : "") + std::to_string(n) + ".png")));
        return frames;
    }
};

void ExpectSamePictures(const std::vector<fxhost::Image>& a, const std::vector<fxhost::Image>& b) {
    ASSERT_EQ(a.size(), b.size());
    for (size_t i = 0; i < a.size(); ++i) {
        EXPECT_EQ(a[i].width, b[i].width);
        EXPECT_EQ(a[i].rgb == b[i].rgb, true) << "frame " << i;
    }
}

// A clip through an effect that moves with time gives, frame for frame, what
// its frames as PNG pictures give at the clip's times.
TEST_F(FxhostVideo, ClipsRoundTripLosslesslyLikeTheirFramesAsPictures) {
    MakeClip();
    for (const char* format : {"32", "565"}) {
        SCOPED_TRACE(format);
        const std::string effect = std::string("render 'Hexagon Kaleido Cyclic' --format ") + format;
        Outcome run = fxhost(effect + " --in clip.mkv --out out.mkv --encode '-c:v ffv1'");
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.out, "wrote out.mkv\n");
        EXPECT_EQ(run.err.rfind("fxhost: 6 frames in ", 0), 0u) << run.err;
        run = fxhost(effect + " --in in%02d.png --out ref%02d.png --quiet");
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.out + run.err, "");
        ExpectSamePictures(Decode("out.mkv"), Pngs("ref", 6));
    }
    // Frames differ from each other: time did move the effect.
    const std::vector<fxhost::Image> frames = Pngs("ref", 6);
    EXPECT_NE(frames[0].rgb, frames[5].rgb);
}

TEST_F(FxhostVideo, RawFramesPassThroughAPipe) {
    MakeClip();
    ASSERT_EQ(Sh("ffmpeg -nostdin -i clip.mkv -f rawvideo -pix_fmt bgra in.raw"), 0);
    ASSERT_EQ(fs::file_size(dir_ / "in.raw"), 6u * 96 * 54 * 4);
    Outcome run = fxhost("render Posterize --params 100 --in - --size 96x54 --out - <in.raw >out.raw --quiet");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    run = fxhost("render Posterize --params 100 --in in%02d.png --out ref%02d.png");
    ASSERT_EQ(run.status, 0) << run.err;
    const std::string raw = Slurp("out.raw");
    ASSERT_EQ(raw.size(), 6u * 96 * 54 * 4);
    const std::vector<fxhost::Image> ref = Pngs("ref", 6);
    for (size_t f = 0; f < 6; ++f)
        for (size_t p = 0; p < 96 * 54; ++p) {
            const auto* px = reinterpret_cast<const uint8_t*>(raw.data()) + (f * 96 * 54 + p) * 4;
            const uint8_t* rgb = &ref[f].rgb[p * 3];
            ASSERT_TRUE(px[0] == rgb[2] && px[1] == rgb[1] && px[2] == rgb[0] && px[3] == 255) << f << " " << p;
        }
    // Through real ffmpeg pipes on both sides.
    ASSERT_EQ(Sh("ffmpeg -nostdin -i clip.mkv -f rawvideo -pix_fmt bgra - | '" FXHOST_FILE
                 "' render Posterize --params 100 --in - --size 96x54 --out - | ffmpeg -f rawvideo -pix_fmt bgra "
                 "-s 96x54 -i - -c:v ffv1 piped.mkv"),
              0);
    ExpectSamePictures(Decode("piped.mkv"), ref);
    // A last frame cut short.
    Write("short.raw", raw.substr(0, 96 * 54 * 4 + 100));
    run = fxhost("render Posterize --in - --size 96x54 --out - <short.raw >o.raw");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("standard input"), std::string::npos) << run.err;
    EXPECT_EQ(Lines(run.err), 1) << run.err;
}

TEST_F(FxhostVideo, BadInputsGetOneLineAndLeaveNoOutput) {
    MakeClip("35x19");
    Write("notes.txt", "not a picture\n");
    const std::string clip = Slurp("clip.mkv");
    Write("cut.mkv", clip.substr(0, clip.size() / 3));
    ASSERT_EQ(Sh("ffmpeg -nostdin -framerate 25 -i in%02d.png -c:v libx264 -pix_fmt yuv444p whole.mp4"), 0);
    const std::string mp4 = Slurp("whole.mp4");
    Write("cut.mp4", mp4.substr(0, mp4.size() / 2));
    const std::vector<std::string> before = Listing();
    const struct {
        const char* args;
        const char* says;  // in the one line on standard error
    } cases[] = {
        {"render Posterize --in missing.mkv --out o.mkv", "missing.mkv"},
        {"render Posterize --in notes.txt --out o.mkv", "notes.txt"},
        {"render Posterize --in cut.mp4 --out o.mkv", "cut.mp4"},
        {"render Posterize --in cut.mkv --out o.mkv", "cut.mkv"},
        {"render Posterize --in clip.mkv --out o.nosuchformat", "o.nosuchformat"},
        {"render Posterize --in clip.mkv --out o.mp4 --encode '-c:v libx264 -pix_fmt yuv420p'", "o.mp4"},
        {"render Posterize --in clip.mkv --out nodir/o.mkv", "nodir"},
        {"render Posterize --in clip.mkv --out o.mkv --encode '-c:v nosuchcodec'", "nosuchcodec"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        const Outcome run = fxhost(c.args);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(Lines(run.err), 1) << run.err;
        EXPECT_EQ(run.err.rfind("fxhost: ", 0), 0u) << run.err;
        EXPECT_NE(run.err.find(c.says), std::string::npos) << run.err;
        EXPECT_EQ(Listing(), before);
    }
    // Without ffmpeg on the path: clips cannot be read, PNG pictures still can.
    Outcome run = fxhost("render Posterize --in clip.mkv --out o.mkv; PATH=/nonexistent '" FXHOST_FILE
                         "' render Posterize --in clip.mkv --out o.mkv 2>err.txt; echo $? >status.txt");
    EXPECT_EQ(Slurp("status.txt"), "1\n");
    EXPECT_NE(Slurp("err.txt").find("ffmpeg"), std::string::npos) << Slurp("err.txt");
    EXPECT_EQ(Lines(Slurp("err.txt")), 1);
}

// Frames at 0, 100, ... 500 and 800 ms: written at a constant 10 a second,
// the frame at 500 ms fills the slots up to the next one's time.
TEST_F(FxhostVideo, OddSizesVariableRatesAndSoundAreKept) {
    ASSERT_EQ(Sh("ffmpeg -nostdin -f lavfi -i testsrc=size=35x19:rate=10 -f lavfi -i sine=sample_rate=8000 -t 1 "
                 "-vf \"setpts='if(lt(N,6),N*0.1,0.8+(N-6)*0.3)/TB'\" -fps_mode passthrough -c:v ffv1 -c:a flac av.mkv"),
              0);
    ASSERT_EQ(Sh("ffmpeg -nostdin -i av.mkv -fps_mode passthrough -start_number 0 in%02d.png"), 0);
    const Outcome run = fxhost("render 'Square Kaleido Cyclic' --in av.mkv --out o.mkv --encode '-c:v ffv1'");
    ASSERT_EQ(run.status, 0) << run.err;
    const std::vector<fxhost::Image> frames = Decode("o.mkv");
    ASSERT_EQ(frames.size(), 9u);
    EXPECT_EQ(frames[0].width, 35);
    EXPECT_EQ(frames[0].height, 19);
    EXPECT_EQ(Sh("ffprobe -v error -select_streams a -show_entries stream=codec_type -of csv=p=0 o.mkv | grep -q audio"),
              0);
    // The effect saw the clip's own times, 100 ms apart (a sequence of
    // pictures would be 40 ms apart).
    for (int i = 0; i < 6; ++i) {
        SCOPED_TRACE(i);
        ASSERT_EQ(fxhost("render 'Square Kaleido Cyclic' --quiet --in in0" + std::to_string(i) +
                         ".png --out f.png --time " + std::to_string(i * 100))
                      .status,
                  0);
        EXPECT_EQ(fxhost::ReadPng(Path("f.png")).rgb, frames[i].rgb);
    }
    EXPECT_EQ(frames[6].rgb, frames[5].rgb);
    EXPECT_EQ(frames[7].rgb, frames[5].rgb);
    EXPECT_NE(frames[8].rgb, frames[5].rgb);
}

TEST_F(FxhostVideo, ChainsTakeNamesAsPeopleTypeThem) {
    Outcome run = fxhost("render 'posterize_hue,SQUARE KALEIDO' --out a.png");
    ASSERT_EQ(run.status, 0) << run.err;
    run = fxhost("render --fx 'Posterize Hue' --fx 11 --out b.png");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(Slurp("a.png"), Slurp("b.png"));
    run = fxhost("render 'Posterize Hue' --out c.png");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(fxhost::ReadPng(Path("a.png")).rgb, fxhost::ReadPng(Path("c.png")).rgb);
    // Each effect has its own values.
    run = fxhost("render --fx Posterize --params 10 --fx RGBControl --params 0,255,255 --out d.png");
    ASSERT_EQ(run.status, 0) << run.err;
    const fxhost::Image d = fxhost::ReadPng(Path("d.png"));
    for (size_t i = 0; i < d.rgb.size(); i += 3) ASSERT_EQ(d.rgb[i], 0) << i;
    run = fxhost("render Posterize,RGBControl --params 10");
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err,
              "fxhost: values belong to one effect: in a chain, name each effect with --fx NAME and give its "
              "--params, --ramp and --keys after it (fxhost --help for usage)\n");
    run = fxhost("render 'Posterise Hue'");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err.rfind("fxhost: unknown effect \"Posterise Hue\"; closest: \"Posterize Hue\"", 0), 0u) << run.err;
}

TEST_F(FxhostVideo, RampsAndKeysMoveValuesOverFrames) {
    const Outcome run = fxhost("render RGBControl --ramp 0=0:255 --keys 1=0:255,80:0 --frames 3 --out r%d.png --quiet");
    ASSERT_EQ(run.status, 0) << run.err;
    ASSERT_EQ(fxhost("render RGBControl --params 0,255,255 --out a.png").status, 0);
    ASSERT_EQ(fxhost("render RGBControl --params 255,0,255 --out b.png").status, 0);
    ASSERT_EQ(fxhost("render RGBControl --params 128,128,255 --out c.png").status, 0);
    EXPECT_EQ(Slurp("r0.png"), Slurp("a.png"));
    EXPECT_EQ(Slurp("r1.png"), Slurp("c.png"));  // 127.5 and 127.5 round up
    EXPECT_EQ(Slurp("r2.png"), Slurp("b.png"));
    EXPECT_EQ(fxhost("render RGBControl --ramp 0=0:256").err,
              "fxhost: --ramp values must be a whole number from 0 to 255, not \"256\" (fxhost --help for usage)\n");
}

TEST_F(FxhostVideo, SixteenBitRendersOfEffectsThatDoNotDrawThereShowTheirSource) {
    SmallInput();
    Outcome run = fxhost("render RGBControl --in in.png --format 565 --out o.png");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "fxhost: note: \"RGBControl\" draws nothing at 565 bits; its picture passes through\n");
    run = fxhost(std::string(kIdentity) + " --in in.png --format 565 --out same.png --quiet");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(Slurp("o.png"), Slurp("same.png"));
    EXPECT_EQ(fxhost("render RGBControl --format 565 --out /dev/null --quiet").err, "");
}

TEST_F(FxhostVideo, AlphaOfTheInputIsKept) {
    fxhost::Image in{2, 2, {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120}, {0, 85, 170, 255}};
    fxhost::WritePng(Path("a.png"), in);
    ASSERT_EQ(fxhost(std::string(kIdentity) + " --in a.png --out o.png").status, 0);
    const fxhost::Image out = fxhost::ReadPng(Path("o.png"));
    EXPECT_EQ(out.rgb, in.rgb);
    EXPECT_EQ(out.alpha, in.alpha);
}

TEST_F(FxhostVideo, ListAndDescribeSpeakJsonToo) {
    Outcome run = fxhost("list --json");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out.front(), '[');
    size_t names = 0;
    for (size_t at = 0; (at = run.out.find("\"name\":", at)) != std::string::npos; ++at) ++names;
    EXPECT_EQ(names, 38u);
    run = fxhost("describe 21");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("Posterize"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("Intensity"), std::string::npos) << run.out;
    run = fxhost("describe motionblur --json");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("\"name\":\"MotionBlur\""), std::string::npos) << run.out;
    run = fxhost("list");
    EXPECT_NE(run.out.find("\n37  Contrast_Bright_Invert old"), std::string::npos) << run.out;
}

}  // namespace
