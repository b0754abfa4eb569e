// A test with a fresh directory of its own, removed afterwards.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

// Makes a new directory in parent, named stem and six random letters; its
// path, or "" when no new name could be made.
inline std::string NewTempDir(const std::filesystem::path& parent, const std::string& stem) {
    static std::mt19937 random{std::random_device{}()};
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::string name = stem;
        for (int i = 0; i < 6; ++i) name += static_cast<char>('a' + random() % 26);
        std::error_code error;
        if (std::filesystem::create_directory(parent / name, error)) return (parent / name).string();
    }
    return "";
}

class TempDirTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = NewTempDir(std::filesystem::temp_directory_path(), "effects_test_");
        ASSERT_FALSE(dir_.empty());
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }
    std::string Path(const std::string& name) const { return dir_ + "/" + name; }
    // The names in the directory, sorted.
    std::vector<std::string> Listing() const {
        std::vector<std::string> names;
        for (const auto& e : std::filesystem::directory_iterator(dir_)) names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    std::string dir_;
};
