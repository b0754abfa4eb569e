// A test with a fresh directory of its own, removed afterwards.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

class TempDirTest : public ::testing::Test {
protected:
    void SetUp() override {
        char dir[] = "/tmp/effects_test_XXXXXX";
        ASSERT_NE(mkdtemp(dir), nullptr);
        dir_ = dir;
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }
    std::string Path(const std::string& name) const { return dir_ + "/" + name; }
    // The names in the directory, sorted.
    std::vector<std::string> Listing() const {
        std::vector<std::string> names;
        for (const auto& e : std::filesystem::directory_iterator(dir_)) names.push_back(e.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }
    std::string dir_;
};
