// Running the fxhost command as a user runs it, in a work directory of its
// own per test.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "host/picture_io.h"
#include "host/test_card.h"

namespace fxhost_test {

namespace fs = std::filesystem;

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

    // Runs fxhost in the work directory. args go after the standard
    // redirections, so that a redirection among them wins.
    Outcome fxhost(const std::string& args) {
        const std::string command =
            "cd '" + dir_.string() + "' && '" FXHOST_FILE "' >stdout.txt 2>stderr.txt " + args;
        const int raw = std::system(command.c_str());
        Outcome run{WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, Slurp("stdout.txt"), Slurp("stderr.txt")};
        fs::remove(dir_ / "stdout.txt");
        fs::remove(dir_ / "stderr.txt");
        return run;
    }
    std::string Slurp(const std::string& name) {
        std::ifstream in(dir_ / name, std::ios::binary);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }
    void Write(const std::string& name, const std::string& bytes) {
        std::ofstream(dir_ / name, std::ios::binary) << bytes;
    }
    std::string Path(const std::string& name) const { return (dir_ / name).string(); }
    // The names in the work directory, sorted.
    std::vector<std::string> Listing() {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(dir_)) names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }
    // A small picture to render, as in.png, and what an identity render of
    // it gives back.
    fxhost::Image SmallInput() {
        const fxhost::Image card = fxhost::MakeTestCard(64, 48);
        fxhost::WritePng(Path("in.png"), card);
        return card;
    }

    fs::path dir_;
};

inline int Lines(const std::string& text) { return static_cast<int>(std::count(text.begin(), text.end(), '\n')); }

// Renders that leave the picture as it is.
constexpr const char* kIdentity = "render 'Brightness Contrast' --params 128,128";

}  // namespace fxhost_test
