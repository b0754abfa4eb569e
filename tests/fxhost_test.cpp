// The fxhost command as a user runs it: exit codes, messages and files.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "host/picture_io.h"
#include "host/test_card.h"

namespace fs = std::filesystem;

namespace {

struct Outcome {
    int status;
    std::string out, err;
};

class Fxhost : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() / ("fxhost-test-" + std::to_string(getpid()) + "-" +
                                            ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }

    Outcome fxhost(const std::string& args) {
        const std::string command = "cd '" + dir_.string() + "' && '" FXHOST_FILE "' " + args +
                                    " >stdout.txt 2>stderr.txt";
        const int raw = std::system(command.c_str());
        Outcome run{WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, Slurp("stdout.txt"), Slurp("stderr.txt")};
        fs::remove(dir_ / "stdout.txt");
        fs::remove(dir_ / "stderr.txt");
        return run;
    }
    std::string Slurp(const std::string& name) {
        std::ifstream in(dir_ / name);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }
    // Files in the work directory.
    size_t FileCount() { return std::distance(fs::directory_iterator(dir_), fs::directory_iterator()); }

    fs::path dir_;
};

int Lines(const std::string& text) { return static_cast<int>(std::count(text.begin(), text.end(), '\n')); }

TEST_F(Fxhost, ListsTheCatalogueAndTheFurtherNames) {
    const Outcome run = fxhost("list");
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("28  Tinta Special FX Smooth"), std::string::npos);
    EXPECT_NE(run.out.find("Stroboscope                      Speed, Hue, Softness          52   0 255 255"),
              std::string::npos);
    for (const char* name : {"AsciiArt1", "Cube3DConstant", "CONTRAST_BRIGHTNESS old", "Contrast_Bright_Invert old"})
        EXPECT_NE(run.out.find(name), std::string::npos) << name;
    EXPECT_EQ(Lines(run.out), 1 + 29 + 2 + 9);
    EXPECT_EQ(Lines(run.err), 29);  // the module's default-value lines
}

TEST_F(Fxhost, RendersTheTestCardByDefault) {
    const Outcome run = fxhost("render 'RGBControl Inverse' --params 256,256,256");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "wrote RGBControl_Inverse.png\n");
    const fxhost::Image out = fxhost::ReadPng((dir_ / "RGBControl_Inverse.png").string());
    const fxhost::Image card = fxhost::MakeTestCard();
    ASSERT_EQ(out.width, card.width);
    ASSERT_EQ(out.height, card.height);
    for (size_t i = 0; i < card.rgb.size(); ++i) ASSERT_EQ(out.rgb[i], 255 - card.rgb[i]) << i;
}

TEST_F(Fxhost, RendersAGivenPictureAtSixteenBitsFrameByFrame) {
    fxhost::Image in{3, 2, {255, 0, 0, 0, 255, 0, 0, 0, 255, 10, 20, 30, 40, 50, 60, 255, 255, 255}};
    fxhost::WritePng((dir_ / "in.png").string(), in);
    Outcome run = fxhost("render 'Brightness Contrast' --in in.png --format 565 --frames 3 --fps 10 --out f%02d.png");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "wrote f00.png\nwrote f01.png\nwrote f02.png\n");
    // No 16-bit path: the destination stays black.
    EXPECT_EQ(fxhost::ReadPng((dir_ / "f02.png").string()).rgb, std::vector<uint8_t>(18, 0));
    run = fxhost("render 'Brightness Contrast' --in in.png --params 128,128 --out same.png");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(fxhost::ReadPng((dir_ / "same.png").string()).rgb, in.rgb);
}

TEST_F(Fxhost, BadInputGetsOneLineAndNoFile) {
    std::ofstream(dir_ / "text.png") << "not a picture";
    const struct {
        const char* args;
        const char* message;
    } cases[] = {
        {"render Stroboscop", "unknown effect \"Stroboscop\"; closest: \"Stroboscope\""},
        {"render rgbcontrol", "closest: \"RGBControl\""},
        {"render RGBControl --params 1,two", "--params expects a number, not \"two\""},
        {"render RGBControl --in missing.png", "missing.png"},
        {"render RGBControl --in text.png", "not a PNG"},
        {"render AsciiArt1", "the module made no instance of \"AsciiArt1\""},
        {"render RGBControl --out nodir/x.png", "nodir/x.png"},
        {"render RGBControl --format 24", "--format must be 32, 565 or 555"},
        {"render RGBControl --out a%s.png", "--out may hold one %d"},
        {"render", "render needs an effect name"},
        {"frobnicate", "unknown command \"frobnicate\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        const Outcome run = fxhost(c.args);
        EXPECT_NE(run.status, 0);
        EXPECT_NE(run.err.find(c.message), std::string::npos) << run.err;
        // One line of our own; the module may add its default-value line first.
        EXPECT_EQ(Lines(run.err.substr(run.err.find("fxhost:"))), 1) << run.err;
        EXPECT_EQ(FileCount(), 1u);  // text.png alone
    }
}

TEST_F(Fxhost, UnusableModuleIsNamed) {
    std::ofstream(dir_ / "fake.so") << "nothing";
    const Outcome run = fxhost("--module ./fake.so list");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("cannot load module ./fake.so"), std::string::npos) << run.err;
    EXPECT_EQ(Lines(run.err), 1);
}

}  // namespace
