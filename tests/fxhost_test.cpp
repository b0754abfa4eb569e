// The fxhost command as a user runs it: exit codes, messages and files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <thread>

#include "fxhost_fixture.h"
#include "host/picture_io.h"
#include "host/test_card.h"

namespace {

using namespace fxhost_test;

// ---- PNG files made chunk by chunk, for any header, colour type and depth ----

std::string BigEndian(uint32_t v) {
    return {char(v >> 24), char(v >> 16), char(v >> 8), char(v)};
}

std::string Chunk(const char* type, const std::string& data) {
    uLong crc = crc32(0, reinterpret_cast<const Bytef*>(type), 4);
    crc = crc32(crc, reinterpret_cast<const Bytef*>(data.data()), uInt(data.size()));
    return BigEndian(uint32_t(data.size())) + type + data + BigEndian(uint32_t(crc));
}

// rows: the filtered scanlines, each with its filter byte. extra: chunks
// between the header and the data (PLTE, tRNS).
std::string RawPng(uint32_t width, uint32_t height, int depth, int colourType, const std::string& rows,
                   const std::string& extra = "", int interlace = 0) {
    uLongf size = compressBound(uLong(rows.size()));
    std::string packed(size, '\0');
    compress(reinterpret_cast<Bytef*>(packed.data()), &size, reinterpret_cast<const Bytef*>(rows.data()),
             uLong(rows.size()));
    packed.resize(size);
    const std::string header =
        BigEndian(width) + BigEndian(height) + std::string{char(depth), char(colourType), 0, 0, char(interlace)};
    return std::string("\x89PNG\r\n\x1a\n", 8) + Chunk("IHDR", header) + extra + Chunk("IDAT", packed) +
           Chunk("IEND", "");
}

std::string Bytes(std::initializer_list<int> values) {
    std::string text;
    for (int v : values) text += char(v);
    return text;
}

// ---- Listing and rendering ----

TEST_F(Fxhost, ListsTheCatalogueAndTheFurtherNamesQuietly) {
    const Outcome run = fxhost("list");
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("28  Tinta Special FX Smooth"), std::string::npos);
    EXPECT_NE(run.out.find("Stroboscope                      Speed, Hue, Softness          52   0 255 255"),
              std::string::npos);
    for (const char* name : {"Cube3DConstant", "CONTRAST_BRIGHTNESS old", "Contrast_Bright_Invert old"})
        EXPECT_NE(run.out.find(name), std::string::npos) << name;
    // The module's own lines while refusing the ascii art give the reason.
    for (const char* name : {"29  AsciiArt1", "30  AsciiArt2"})
        EXPECT_NE(run.out.find(std::string("\n").append(name) +
                               "                         (refused by the module: Ascii art resource not found!)\n"),
                  std::string::npos)
            << run.out;
    EXPECT_EQ(Lines(run.out), 1 + 29 + 2 + 9);
    EXPECT_EQ(run.err, "");
    const Outcome names = fxhost("list --names");
    EXPECT_EQ(Lines(names.out), 36);
    EXPECT_EQ(names.out.find("Ascii"), std::string::npos);
    EXPECT_EQ(names.err, "");
}

TEST_F(Fxhost, VerboseShowsTheModuleLogWhereverItStands) {
    for (const char* args : {"--verbose list", "list --verbose"}) {
        SCOPED_TRACE(args);
        const Outcome run = fxhost(args);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(Lines(run.err), 29);  // a default-value line for each catalogue row
        EXPECT_EQ(run.err.rfind("Default values for effect ", 0), 0u) << run.err;
    }
    const Outcome render = fxhost("render RGBControl --verbose --out /dev/null");
    EXPECT_EQ(render.status, 0);
    EXPECT_EQ(render.err, "Default values for effect RGBControl : 255 : 255 : 255 : 255 \n");
    EXPECT_EQ(fxhost("render RGBControl --out /dev/null").err, "");
}

TEST_F(Fxhost, RendersTheTestCardByDefault) {
    const Outcome run = fxhost("render 'Brightness Contrast Inverse' --params 128,128");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "wrote Brightness_Contrast_Inverse.png\n");
    EXPECT_EQ(run.err, "");
    const fxhost::Image out = fxhost::ReadPng(Path("Brightness_Contrast_Inverse.png"));
    const fxhost::Image card = fxhost::MakeTestCard();
    ASSERT_EQ(out.width, card.width);
    ASSERT_EQ(out.height, card.height);
    for (size_t i = 0; i < card.rgb.size(); ++i) ASSERT_EQ(out.rgb[i], 255 - card.rgb[i]) << i;
}

TEST_F(Fxhost, RendersAGivenPictureAtSixteenBitsFrameByFrame) {
    fxhost::Image in{3, 2, {255, 0, 0, 0, 255, 0, 0, 0, 255, 10, 20, 30, 40, 50, 60, 255, 255, 255}, {}};
    fxhost::WritePng(Path("in.png"), in);
    Outcome run = fxhost("render 'Brightness Contrast' --in in.png --format 565 --frames 3 --fps 10 --out f%02d.png");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "wrote f00.png\nwrote f01.png\nwrote f02.png\n");
    // No 16-bit path: the picture passes through at 16 bits' precision.
    EXPECT_EQ(run.err.rfind("fxhost: note: \"Brightness Contrast\" draws nothing at 565 bits", 0), 0u) << run.err;
    EXPECT_EQ(fxhost::ReadPng(Path("f02.png")).rgb,
              (std::vector<uint8_t>{255, 0, 0, 0, 255, 0, 0, 0, 255, 8, 20, 24, 41, 48, 57, 255, 255, 255}));
    run = fxhost("render 'Brightness Contrast' --in in.png --params 128,128 --out same.png");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(fxhost::ReadPng(Path("same.png")).rgb, in.rgb);
}

TEST_F(Fxhost, OptionsTakeTheirValueAfterAnEqualsSign) {
    const fxhost::Image card = SmallInput();
    const fs::path module = fs::path(FXHOST_FILE).parent_path() / "libeffects.so";
    ASSERT_TRUE(fs::exists(module));
    const Outcome run = fxhost("--module=" + module.string() +
                               " render 'Brightness Contrast' --in=in.png --params=128,128 --frames=2 --fps=5"
                               " --time=7 --format=32 --out=eq.png");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "wrote eq.png\n");
    EXPECT_EQ(fxhost::ReadPng(Path("eq.png")).rgb, card.rgb);
}

// Each frame's picture is the input moved --scroll pixels left, wrapping.
TEST_F(Fxhost, ScrollMovesThePictureEachFrame) {
    const fxhost::Image card = SmallInput();
    const auto shifted = [&card](int left) {
        fxhost::Image moved = card;
        for (int y = 0; y < card.height; ++y)
            for (int x = 0; x < card.width; ++x)
                for (int c = 0; c < 3; ++c)
                    moved.rgb[(y * card.width + x) * 3 + c] =
                        card.rgb[(y * card.width + (x + left + card.width) % card.width) * 3 + c];
        return moved;
    };
    Outcome run = fxhost(std::string(kIdentity) + " --in in.png --frames 3 --scroll 5 --out left.png");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(fxhost::ReadPng(Path("left.png")).rgb, shifted(10).rgb);
    run = fxhost(std::string(kIdentity) + " --in in.png --frames 2 --scroll=-69 --out right.png");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(fxhost::ReadPng(Path("right.png")).rgb, shifted(-5).rgb);
}

TEST_F(Fxhost, HelpAnywherePrintsUsageAndSucceeds) {
    for (const char* args : {"--help", "-h", "help", "render --help", "render RGBControl --out --help",
                             "list -h", "--module x.so --help"}) {
        SCOPED_TRACE(args);
        const Outcome run = fxhost(args);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.out.rfind("usage: fxhost [--module FILE] [--verbose] [--quiet] list [--names] [--json]\n", 0), 0u) << run.out;
        EXPECT_EQ(run.err, "");
    }
    EXPECT_EQ(Listing(), std::vector<std::string>{});
}

// ---- Bad command lines ----

TEST_F(Fxhost, BadCommandLinesGetOneLineAndNoFile) {
    const struct {
        const char* args;
        const char* line;
    } cases[] = {
        {"", "missing command: list, describe, render or gallery"},
        {"--module", "--module needs a value"},
        {"--module=x.so", "missing command: list, describe, render or gallery"},
        {"--module ''", "--module needs a file name, not an empty string"},
        {"--module a.so --module b.so list", "--module given twice"},
        {"--verbose=yes list", "--verbose takes no value"},
        {"--frobnicate list", "unknown option --frobnicate"},
        {"frobnicate", "unknown command \"frobnicate\""},
        {"--frames 2 render RGBControl", "--frames goes after the command"},
        {"list extra", "list takes no arguments but --names and --json"},
        {"list --frames 2", "list takes no arguments but --names and --json"},
        {"list --names --names", "--names given twice"},
        {"render", "render needs an effect name"},
        {"render ''", "render needs an effect name, not an empty string"},
        {"render RGBControl Inverse", "unexpected argument \"Inverse\" (quote names with spaces)"},
        {"render RGBControl --bogus 1", "unknown option --bogus"},
        {"render RGBControl -x", "unknown option -x"},
        {"render RGBControl --out", "--out needs a value"},
        {"render RGBControl --out --frames 2", "--out needs a value"},
        {"render RGBControl --out a.png --out b.png", "--out given twice"},
        {"render RGBControl --in-place --in-place", "--in-place given twice"},
        {"render RGBControl --in-place=1", "--in-place takes no value"},
        {"render RGBControl --scroll 32768", "--scroll must be a whole number from -32767 to 32767, not \"32768\""},
        {"render RGBControl --in ''", "--in needs a file name, not an empty string"},
        {"render RGBControl --in=", "--in needs a file name, not an empty string"},
        {"render RGBControl --out ''", "--out needs a file name, not an empty string"},
        {"render RGBControl --params -1", "--params values must be whole numbers from 0 to 255, not \"-1\""},
        {"render RGBControl --params 1,256", "--params values must be whole numbers from 0 to 255, not \"256\""},
        {"render RGBControl --params 1000", "--params values must be whole numbers from 0 to 255, not \"1000\""},
        {"render RGBControl --params 1,two", "--params values must be whole numbers from 0 to 255, not \"two\""},
        {"render RGBControl --params 1,,2", "--params values must be whole numbers from 0 to 255, not \"\""},
        {"render RGBControl --params 1,2,3,4,5", "--params takes at most four values, not \"1,2,3,4,5\""},
        {"render RGBControl --time -1", "--time must be a whole number from 0 to 4294967295, not \"-1\""},
        {"render RGBControl --time 4294967296",
         "--time must be a whole number from 0 to 4294967295, not \"4294967296\""},
        {"render RGBControl --time 1.5", "--time must be a whole number from 0 to 4294967295, not \"1.5\""},
        {"render RGBControl --frames 0", "--frames must be a whole number from 1 to 100000, not \"0\""},
        {"render RGBControl --frames -3", "--frames must be a whole number from 1 to 100000, not \"-3\""},
        {"render RGBControl --frames 100001", "--frames must be a whole number from 1 to 100000, not \"100001\""},
        {"render RGBControl --frames 99999999999999999999",
         "--frames must be a whole number from 1 to 100000, not \"99999999999999999999\""},
        {"render RGBControl --fps 0", "--fps must be a number from 0.001 to 1000, not \"0\""},
        {"render RGBControl --fps -25", "--fps must be a number from 0.001 to 1000, not \"-25\""},
        {"render RGBControl --fps nan", "--fps must be a number from 0.001 to 1000, not \"nan\""},
        {"render RGBControl --fps inf", "--fps must be a number from 0.001 to 1000, not \"inf\""},
        {"render RGBControl --fps 1e999", "--fps must be a number from 0.001 to 1000, not \"1e999\""},
        {"render RGBControl --fps 0.0009", "--fps must be a number from 0.001 to 1000, not \"0.0009\""},
        {"render RGBControl --fps 25fps", "--fps must be a number from 0.001 to 1000, not \"25fps\""},
        {"render RGBControl --format 24", "--format must be 32, 565 or 555, not \"24\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        const Outcome run = fxhost(c.args);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.err, std::string("fxhost: ") + c.line + " (fxhost --help for usage)\n");
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(Listing(), std::vector<std::string>{});
    }
}

TEST_F(Fxhost, FramePatternsTakeOneNumberAndDoubledPercents) {
    Outcome run = fxhost("render RGBControl --frames 2 --out 'f%%%03d.png'");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "wrote f%000.png\nwrote f%001.png\n");
    run = fxhost("render RGBControl --frames 12 --out 'g%2d.png'");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out.substr(0, 24), "wrote g 0.png\nwrote g 1.");
    EXPECT_NE(run.out.find("wrote g11.png\n"), std::string::npos);
    run = fxhost("render RGBControl --frames 2 --out '100%%.png'");  // no number: the last frame only
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "wrote 100%.png\n");
    EXPECT_TRUE(fs::exists(dir_ / "100%.png"));

    for (const char* pattern : {"a%s.png", "%d%d.png", "50%.png", "f%123d.png", "f%-3d.png", "f%"}) {
        SCOPED_TRACE(pattern);
        run = fxhost(std::string("render RGBControl --out '") + pattern + "'");
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.err, std::string("fxhost: --out may hold one frame number (%d, %4d or %04d) and %% for a "
                                       "literal %, not \"") +
                               pattern + "\" (fxhost --help for usage)\n");
    }
}

TEST_F(Fxhost, FrameTimesWrapAtTwoToTheThirtyTwo) {
    // The cycling effects run on the time since their first frame, so a run
    // across the wrap must match one from 0.
    Outcome run = fxhost("render 'RGB Cycling Slow' --time 4294967000 --frames 3 --fps 2 --out wrapped.png");
    ASSERT_EQ(run.status, 0) << run.err;
    run = fxhost("render 'RGB Cycling Slow' --frames 3 --fps 2 --out plain.png");
    ASSERT_EQ(run.status, 0) << run.err;
    run = fxhost("render 'RGB Cycling Slow' --out first.png");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(Slurp("wrapped.png"), Slurp("plain.png"));
    EXPECT_NE(Slurp("wrapped.png"), Slurp("first.png"));  // the time did move

    run = fxhost("render RGBControl --time 4294967295 --frames 2 --fps 0.001 --out last.png");
    EXPECT_EQ(run.status, 0) << run.err;
}

// ---- Pictures read ----

TEST_F(Fxhost, ReadsEveryKindOfPng) {
    const std::string palette = Chunk("PLTE", Bytes({1, 2, 3, 40, 50, 60, 250, 0, 7}));
    const struct {
        const char* name;
        std::string png;
        std::vector<uint8_t> rgb;
    } cases[] = {
        {"grey1", RawPng(8, 1, 1, 0, Bytes({0, 0xB0})), {255, 255, 255, 0,   0,   0,   255, 255, 255, 255, 255, 255,
                                                            0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0}},
        {"grey16", RawPng(2, 1, 16, 0, Bytes({0, 0x12, 0x12, 0xFF, 0xFF})), {0x12, 0x12, 0x12, 255, 255, 255}},
        {"greyalpha16", RawPng(1, 1, 16, 4, Bytes({0, 0x40, 0x40, 0, 0})), {0x40, 0x40, 0x40}},
        {"palette4trns", RawPng(3, 1, 4, 3, Bytes({0, 0x20, 0x10}), palette + Chunk("tRNS", Bytes({0, 128}))),
         {250, 0, 7, 1, 2, 3, 40, 50, 60}},
        {"rgb16", RawPng(1, 1, 16, 2, Bytes({0, 0xAB, 0xAB, 0x01, 0x01, 0xFF, 0xFF})), {0xAB, 0x01, 0xFF}},
        {"rgba8", RawPng(1, 1, 8, 6, Bytes({0, 9, 8, 7, 0})), {9, 8, 7}},
        // Adam7 on 2x2: pass 1 holds (0,0), pass 6 (1,0), pass 7 the second row.
        {"interlaced",
         RawPng(2, 2, 8, 2, Bytes({0, 1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 10, 11, 12}), "", 1),
         {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Write("in.png", c.png);
        const Outcome run = fxhost(std::string(kIdentity) + " --in in.png --out out.png");
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(fxhost::ReadPng(Path("out.png")).rgb, c.rgb);
    }
}

TEST_F(Fxhost, BadPicturesAreNamed) {
    const fxhost::Image card = fxhost::MakeTestCard(64, 48);
    fxhost::WritePng(Path("whole.png"), card);
    const std::string whole = Slurp("whole.png");
    Write("cut.png", whole.substr(0, whole.size() / 2));
    Write("text.png", "not a picture");
    Write("empty.png", "");
    fs::create_directory(dir_ / "folder.png");
    const std::string rows(1, '\0');
    Write("wide.png", RawPng(32768, 1, 8, 2, rows));
    Write("tall.png", RawPng(1, 40000, 1, 0, rows));
    Write("many.png", RawPng(8193, 8192, 1, 0, rows));
    Write("huge.png", RawPng(0x7FFFFFFF, 0x7FFFFFFF, 8, 2, rows));
    Write("edge.png", RawPng(32767, 1, 8, 2, rows));  // within the limits, but its data is short

    const std::string tooLarge = " pixels is too large (at most 32767 a side and 67108864 in all)\n";
    const struct {
        const char* file;
        std::string line;
    } cases[] = {
        {"missing.png", "No such file or directory\n"},
        {"folder.png", "Is a directory\n"},
        {"text.png", "not a PNG file\n"},
        {"empty.png", "the file is empty\n"},
        {"cut.png", "damaged or truncated PNG data ("},
        {"edge.png", "damaged or truncated PNG data ("},
        {"wide.png", "32768x1" + tooLarge},
        {"tall.png", "1x40000" + tooLarge},
        {"many.png", "8193x8192" + tooLarge},
        {"huge.png", "2147483647x2147483647" + tooLarge},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        const Outcome run = fxhost(std::string("render RGBControl --in ") + c.file + " --out out.png");
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.err.rfind(std::string("fxhost: cannot read picture '") + c.file + "': " + c.line, 0), 0u)
            << run.err;
        EXPECT_EQ(Lines(run.err), 1) << run.err;
        EXPECT_FALSE(fs::exists(dir_ / "out.png"));
    }
}

// ---- Where pictures go ----

TEST_F(Fxhost, SymbolicLinksAreFollowedAndTheirTargetReplaced) {
    const fxhost::Image card = SmallInput();
    Write("real.png", "old contents");
    fs::permissions(dir_ / "real.png", fs::perms::owner_read | fs::perms::owner_write);
    fs::create_symlink("real.png", dir_ / "link.png");
    fs::create_symlink("new.png", dir_ / "dangling.png");

    Outcome run = fxhost(std::string(kIdentity) + " --in in.png --out link.png");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "wrote link.png\n");
    EXPECT_TRUE(fs::is_symlink(dir_ / "link.png"));
    EXPECT_EQ(fxhost::ReadPng(Path("real.png")).rgb, card.rgb);
    EXPECT_EQ(fs::status(dir_ / "real.png").permissions(), fs::perms::owner_read | fs::perms::owner_write);

    run = fxhost(std::string(kIdentity) + " --in in.png --out dangling.png");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(fs::is_symlink(dir_ / "dangling.png"));
    EXPECT_EQ(fxhost::ReadPng(Path("new.png")).rgb, card.rgb);
    EXPECT_EQ(Listing(), (std::vector<std::string>{"dangling.png", "in.png", "link.png", "new.png", "real.png"}));

    fs::create_symlink("loop2.png", dir_ / "loop1.png");
    fs::create_symlink("loop1.png", dir_ / "loop2.png");
    run = fxhost("render RGBControl --out loop1.png");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "fxhost: cannot write picture 'loop1.png': Too many levels of symbolic links\n");
}

TEST_F(Fxhost, DevicesAndStandardOutputAreWrittenThrough) {
    const fxhost::Image card = SmallInput();
    Outcome run = fxhost(std::string(kIdentity) + " --in in.png --out /dev/null");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "wrote /dev/null\n");
    struct stat st;
    ASSERT_EQ(stat("/dev/null", &st), 0);
    EXPECT_TRUE(S_ISCHR(st.st_mode));

    // The picture is all standard output holds: no "wrote" line in it.
    run = fxhost(std::string(kIdentity) + " --in in.png --out /dev/stdout");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    Write("stdout.png", run.out);
    EXPECT_EQ(fxhost::ReadPng(Path("stdout.png")).rgb, card.rgb);
    // Likewise a file named and redirected to at once.
    run = fxhost(std::string(kIdentity) + " --in in.png --out both.png >both.png");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(fxhost::ReadPng(Path("both.png")).rgb, card.rgb);

    run = fxhost("render RGBControl --out /dev/full");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "fxhost: cannot write picture '/dev/full': No space left on device\n");
    EXPECT_EQ(Listing(), (std::vector<std::string>{"both.png", "in.png", "stdout.png"}));
}

TEST_F(Fxhost, FifosAreWrittenThrough) {
    const fxhost::Image card = SmallInput();
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    std::string received;
    std::thread reader([&] {
        std::ifstream in(Path("pipe"), std::ios::binary);
        std::stringstream bytes;
        bytes << in.rdbuf();
        received = bytes.str();
    });
    const Outcome run = fxhost(std::string(kIdentity) + " --in in.png --out pipe");
    // Should fxhost not have opened the FIFO, a writer of our own lets the
    // reader finish.
    const int unblock = open(Path("pipe").c_str(), O_WRONLY | O_NONBLOCK);
    if (unblock >= 0) close(unblock);
    reader.join();
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "wrote pipe\n");
    Write("received.png", received);
    EXPECT_EQ(fxhost::ReadPng(Path("received.png")).rgb, card.rgb);
    EXPECT_EQ(fs::status(dir_ / "pipe").type(), fs::file_type::fifo);
}

TEST_F(Fxhost, UnwritableOutputsAreRefusedBeforeRendering) {
    Write("readonly.png", "keep me");
    fs::permissions(dir_ / "readonly.png", fs::perms::owner_read | fs::perms::group_read);
    fs::create_directory(dir_ / "folder");
    fs::create_directory(dir_ / "folder.png");
    const struct {
        const char* out;
        const char* line;
    } cases[] = {
        {"readonly.png", "fxhost: cannot write picture 'readonly.png': the file is read-only\n"},
        {"folder", "fxhost: cannot write picture 'folder': Is a directory\n"},
        {"folder.png", "fxhost: cannot write picture 'folder.png': Is a directory\n"},
        {"nodir/x.png", "fxhost: cannot write picture 'nodir/x.png': No such file or directory\n"},
        {"readonly.png/x.png", "fxhost: cannot write picture 'readonly.png/x.png': Not a directory\n"},
        {"'f%d/x.png'", "fxhost: cannot write picture 'f0/x.png': No such file or directory\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.out);
        // 100000 frames would take minutes: the refusal must come first.
        const Outcome run = fxhost(std::string("render RGBControl --frames 100000 --out ") + c.out);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.err, c.line);
        EXPECT_EQ(run.out, "");
    }
    EXPECT_EQ(Slurp("readonly.png"), "keep me");
    EXPECT_EQ(Listing(), (std::vector<std::string>{"folder", "folder.png", "readonly.png"}));
}

TEST_F(Fxhost, PngNamesOfAnyCaseAndLengthAreTaken) {
    Outcome run = fxhost("render RGBControl --out SHOUT.PNG");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "wrote SHOUT.PNG\n");
    // The longest name a directory takes leaves no room for a ".tmp-" suffix.
    const std::string longest = std::string(251, 'n') + ".png";
    run = fxhost("render RGBControl --out " + longest);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(Listing(), (std::vector<std::string>{"SHOUT.PNG", longest}));
}

TEST_F(Fxhost, StandardOutputFailuresAreReported) {
    Outcome run = fxhost("list >/dev/full");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "fxhost: cannot write standard output: No space left on device\n");
    run = fxhost("list >&-");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "fxhost: cannot write standard output: Bad file descriptor\n");
    // With standard output closed, the picture still goes where it is sent.
    run = fxhost("render RGBControl --out closed.png >&-");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "fxhost: cannot write standard output: Bad file descriptor\n");
    EXPECT_EQ(fxhost::ReadPng(Path("closed.png")).width, fxhost::kTestCardWidth);
    EXPECT_EQ(fxhost("render RGBControl --out /dev/null >&-").err,
              "fxhost: cannot write standard output: Bad file descriptor\n");
}

// ---- Interruptions ----

// Starts fxhost in dir with stdout and stderr to /dev/null; the default
// action for the signals whatever the test runner ignores.
pid_t Start(const fs::path& dir, const std::vector<std::string>& args) {
    std::vector<char*> argv{const_cast<char*>(FXHOST_FILE)};
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    const pid_t pid = fork();
    if (pid != 0) return pid;
    if (chdir(dir.c_str()) != 0) _exit(126);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    dup2(null, 2);
    signal(SIGINT, SIG_DFL);
    signal(SIGTERM, SIG_DFL);
    execv(FXHOST_FILE, argv.data());
    _exit(127);
}

bool HasTemporary(const fs::path& dir) {
    std::error_code error;
    for (fs::directory_iterator it(dir, error), end; !error && it != end; it.increment(error))
        if (it->path().filename().string().find(".tmp-") != std::string::npos) return true;
    return false;
}

TEST_F(Fxhost, SignalsLeaveNoTemporaryFiles) {
    // A noisy picture compresses slowly, so that a temporary file is there
    // most of the time.
    fxhost::Image noise{512, 512, std::vector<uint8_t>(512 * 512 * 3), {}};
    std::mt19937 random(7);
    for (uint8_t& v : noise.rgb) v = uint8_t(random());
    fxhost::WritePng(Path("noise.png"), noise);

    for (int sig : {SIGTERM, SIGINT}) {
        SCOPED_TRACE(sig);
        const pid_t pid =
            Start(dir_, {"render", "Brightness Contrast", "--params", "128,128", "--in", "noise.png", "--frames",
                         "100000", "--out", "f%05d.png"});
        ASSERT_GT(pid, 0);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!HasTemporary(dir_) && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        EXPECT_TRUE(HasTemporary(dir_)) << "no temporary file seen";
        kill(pid, sig);
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == sig) << status;
        EXPECT_FALSE(HasTemporary(dir_));
        // The frames written before the signal are whole.
        for (const std::string& name : Listing()) {
            if (name == "noise.png" || name.find(".tmp-") != std::string::npos) continue;
            EXPECT_EQ(fxhost::ReadPng(Path(name)).rgb, noise.rgb) << name;
        }
    }
}

// ---- The module ----

TEST_F(Fxhost, ModuleFaultsAreNamed) {
    std::ofstream(dir_ / "fake.so") << "nothing";
    Outcome run = fxhost("--module ./fake.so list");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err.rfind("fxhost: cannot load module ./fake.so", 0), 0u) << run.err;
    EXPECT_EQ(Lines(run.err), 1);

    run = fxhost("render Stroboscop");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "fxhost: unknown effect \"Stroboscop\"; closest: \"Stroboscope\", \"RGBControl\", \"Solarize\"\n");
    // A refusal carries the module's last console line; --verbose shows all
    // it printed, on standard error even when the picture goes to standard
    // output, and a closed standard output changes nothing.
    const std::string refused = "fxhost: the module refused \"AsciiArt1\": Ascii art resource not found!\n";
    for (const char* args : {"render AsciiArt1", "render AsciiArt1 >&-"}) {
        run = fxhost(args);
        EXPECT_EQ(run.status, 1) << args;
        EXPECT_EQ(run.out + run.err, refused) << args;
    }
    run = fxhost("--verbose render AsciiArt1 --out /dev/stdout");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "!! -> No Default values for effect AsciiArt1\n"
                       "Ascii art loading resource!\nAscii art resource not found!\n" + refused);
    EXPECT_EQ(Listing(), std::vector<std::string>{"fake.so"});
}

}  // namespace
