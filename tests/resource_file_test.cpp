// The resource-file loader: the paths it builds and their bounds, whole files
// read from a folder beside a base path, the console line, and the empty
// answers; the ascii art's stored sheets through it, found or not.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "effect_fixture.h"
#include "render/resource_file.h"
#include "temp_dir_test.h"
#include "temporal/ascii_art.h"

namespace {

namespace fs = std::filesystem;

std::string Build(const char* base, int32_t number, int32_t* result) {
    FrameParams frame{};
    frame.resourcePath = base;
    char out[kResourcePathSize];
    std::fill(std::begin(out), std::end(out), '#');
    *result = BuildResourcePath(&frame, 0xDEADBEEF, number, out);
    return *result == 0 ? std::string(out) : std::string();
}

TEST(ResourcePath, BuiltBesideTheBase) {
    const std::string slash224 = std::string(224, 'd') + "/f", slash225 = std::string(225, 'd') + "/f";
    const std::string prefix224 = slash224.substr(0, 225);
    struct Case {
        std::string base;
        int32_t number, result;
        std::string path;
    };
    const Case cases[] = {
        {"/a/b/c.bin", 3, 0, "/a/b/mixer_rsrc/ASCI/gfx3.dat"},
        {"c.bin", 0, 0, "cmixer_rsrc/ASCI/gfx0.dat"},  // index 0 counts as found
        {"/a/b/", 12, 0, "/a/b/mixer_rsrc/ASCI/gfx12.dat"},
        {"/x", -5, 0, "/mixer_rsrc/ASCI/gfx-5.dat"},
        {"a\\b\\c", 1, 0, "amixer_rsrc/ASCI/gfx1.dat"},  // only "/" separates
        {slash224, 128, 0, prefix224 + "mixer_rsrc/ASCI/gfx128.dat"},
        {slash224, 1234567, 0, prefix224 + "mixer_rsrc/ASCI/gfx1234567.dat"},  // 255 characters
        {slash224, 12345678, -1, ""},                                           // would not fit
        {slash224, INT32_MIN, -1, ""},
        {slash225, 0, -1, ""},
    };
    for (const Case& c : cases) {
        int32_t result = 7;
        const std::string path = Build(c.base.c_str(), c.number, &result);
        EXPECT_EQ(result, c.result) << c.base << " " << c.number;
        EXPECT_EQ(path, c.path) << c.number;
        EXPECT_LT(path.size(), size_t(kResourcePathSize));
    }
}

TEST(ResourcePath, RefusesMissingPiecesAndKeepsLongBasesOut) {
    FrameParams frame{};
    char out[kResourcePathSize] = "unchanged";
    EXPECT_EQ(BuildResourcePath(nullptr, 0, 1, out), -1);
    EXPECT_EQ(BuildResourcePath(&frame, 0, 1, out), -1);  // no base
    EXPECT_STREQ(out, "unchanged");
    frame.resourcePath = "/a/b";
    EXPECT_EQ(BuildResourcePath(&frame, 0, 1, nullptr), -1);
    // 300 characters after a "/" at index 0: not copied, so out reads empty,
    // the names follow the slash's place.
    const std::string longBase = "/" + std::string(300, 'z');
    frame.resourcePath = longBase.c_str();
    EXPECT_EQ(BuildResourcePath(&frame, 0, 9, out), 0);
    EXPECT_EQ(out[0], 0);
    EXPECT_STREQ(out + 1, "mixer_rsrc/ASCI/gfx9.dat");
}

TEST(ResourcePath, FormatStringCountsWhatItWrites) {
    char out[64];
    EXPECT_EQ(FormatString(out, "gfx%d.dat", -42), 10);
    EXPECT_STREQ(out, "gfx-42.dat");
}

// A folder with mixer_rsrc/ASCI inside; g_frame.resourcePath is null again
// after each test.
class ResourceFile : public EffectTest {
protected:
    void SetUp() override {
        EffectTest::SetUp();
        const std::string made = NewTempDir(testing::TempDir(), "rsrc");
        ASSERT_FALSE(made.empty());
        dir_ = made;
        fs::create_directories(dir_ / "mixer_rsrc" / "ASCI");
        // Only "/" separates in the module's paths: Windows takes it too.
        base_ = (dir_ / "base.bin").generic_string();
        frame_.resourcePath = base_.c_str();
    }
    void TearDown() override {
        g_frame.resourcePath = nullptr;
        fs::remove_all(dir_);
        EffectTest::TearDown();
    }
    std::string FilePath(int32_t number) const {
        return (dir_ / "mixer_rsrc" / "ASCI" / ("gfx" + std::to_string(number) + ".dat")).generic_string();
    }
    void Write(int32_t number, const std::vector<uint8_t>& bytes) const {
        std::ofstream(FilePath(number), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    }
    // Loads number, returning the bytes (or nothing) and the console text.
    std::vector<uint8_t> Load(FrameParams* frame, int32_t number, bool* found, std::string* console) {
        uint32_t size = 12345;
        testing::internal::CaptureStdout();
        uint8_t* block = LoadResourceFile(frame, 0, number, &size);
        *console = testing::internal::GetCapturedStdout();
        *found = block != nullptr;
        std::vector<uint8_t> bytes(block, block + (block ? size : 0));
        if (!block) {
            EXPECT_EQ(size, 0u);
        }
        std::free(block);
        return bytes;
    }

    fs::path dir_;
    std::string base_;
    FrameParams frame_{};
};

TEST_F(ResourceFile, ReadsWholeFilesAndLogsThePath) {
    std::vector<uint8_t> bytes(70001);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = uint8_t(i * 31 + (i >> 9));
    Write(5, bytes);
    Write(-5, {1, 2, 3});
    Write(6, {});
    struct Case {
        int32_t number;
        bool found;
        std::vector<uint8_t> bytes;
    };
    for (const Case& c : {Case{5, true, bytes}, Case{-5, true, {1, 2, 3}}, Case{6, false, {}}, Case{7, false, {}}}) {
        bool found = false;
        std::string console;
        EXPECT_EQ(Load(&frame_, c.number, &found, &console), c.bytes) << c.number;
        EXPECT_EQ(found, c.found) << c.number;
        EXPECT_EQ(console, "Loading datas from " + FilePath(c.number) + "\n");
    }
}

TEST_F(ResourceFile, WithoutABasePathNothingIsLogged) {
    for (FrameParams* frame : {&g_frame, static_cast<FrameParams*>(nullptr)}) {
        bool found = true;
        std::string console;
        EXPECT_TRUE(Load(frame, 3, &found, &console).empty());
        EXPECT_FALSE(found);
        EXPECT_EQ(console, "");
    }
    // A base whose last "/" stands too far: refused before the log line.
    const std::string deep = std::string(230, 'q') + "/x";
    frame_.resourcePath = deep.c_str();
    bool found = true;
    std::string console;
    Load(&frame_, 3, &found, &console);
    EXPECT_FALSE(found);
    EXPECT_EQ(console, "");
}

// The factory rows fail with their console lines whether or not the stored
// sheet exists: a found one is not decoded.
TEST_F(ResourceFile, StoredSheetsNeverMakeAnInstance) {
    HostSurface src(64, 48, kFormatXrgb), dst(64, 48, kFormatXrgb);
    const std::string lost = "Ascii art loading resource!\nAscii art resource not found!\n";
    for (const char* name : {"AsciiArt1", "AsciiArt2"}) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(entry::CreateEffect(name, src.get(), dst.get()), nullptr) << name;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), lost) << name;
    }
    Write(128, {9, 9, 9});  // "AsciiArt1": the default sheet, by brightness
    g_frame.resourcePath = base_.c_str();
    struct Case {
        const char* name;
        int32_t resource;
        std::string tail;
    };
    for (const Case& c : {Case{"AsciiArt1", 128, ""}, Case{"AsciiArt2", 135, "Ascii art resource not found!\n"}}) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(entry::CreateEffect(c.name, src.get(), dst.get()), nullptr);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Ascii art loading resource!\nLoading datas from " + FilePath(c.resource) + "\n" + c.tail);
    }
}

}  // namespace
