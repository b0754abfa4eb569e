// Values over the frames of a render: ramps, keys and their refusals.
#include <gtest/gtest.h>

#include "tools/param_track.h"
#include "tools/render_options.h"

namespace {

using fxtool::ParamTrack;

std::string Refusal(void (ParamTrack::*set)(const std::string&), const std::string& text) {
    ParamTrack track;
    try {
        (track.*set)(text);
    } catch (const fxtool::UsageError& error) {
        return error.message;
    }
    return "";
}

TEST(ParamTrack, RampsRunFromTheFirstFrameToTheLastRoundingToNearest) {
    ParamTrack track;
    track.base = {1, 2, 3, 4};
    track.setRamp("1=0:255");
    track.setRamp("3=200:100");
    EXPECT_TRUE(track.ramped());
    const std::array<int32_t, 4> expected[] = {
        {1, 0, 3, 200}, {1, 64, 3, 175}, {1, 128, 3, 150}, {1, 191, 3, 125}, {1, 255, 3, 100}};
    for (int frame = 0; frame < 5; ++frame) EXPECT_EQ(track.at(frame, 5, 12345), expected[frame]) << frame;
    // One frame, or frames past the count the ramp was made for.
    EXPECT_EQ(track.at(0, 1, 0), (std::array<int32_t, 4>{1, 0, 3, 200}));
    EXPECT_EQ(track.at(9, 5, 0), (std::array<int32_t, 4>{1, 255, 3, 100}));
}

TEST(ParamTrack, KeysInterpolateBetweenTheirTimesAndHoldOutside) {
    ParamTrack track;
    track.setKeys("0=1000:0,2000:100,4000:50");
    EXPECT_FALSE(track.ramped());
    const struct {
        int64_t time;
        int32_t value;
    } cases[] = {{0, 0}, {1000, 0}, {1005, 1}, {1500, 50}, {2000, 100}, {3000, 75}, {3999, 50}, {4000, 50},
                 {99999, 50}};
    for (const auto& c : cases) EXPECT_EQ(track.at(0, 1, c.time)[0], c.value) << c.time;
    EXPECT_EQ(track.at(0, 1, 1500)[1], 128);  // the others keep their base
    ParamTrack single;
    single.setKeys("2=500:7");
    EXPECT_EQ(single.at(0, 1, 0)[2], 7);
    EXPECT_EQ(single.at(0, 1, 900)[2], 7);
}

TEST(ParamTrack, BadRampsAndKeysAreRefusedWithOneLine) {
    const auto ramp = &ParamTrack::setRamp;
    const auto keys = &ParamTrack::setKeys;
    EXPECT_EQ(Refusal(ramp, "0:255"), "--ramp takes INDEX=V0:V1, not \"0:255\"");
    EXPECT_EQ(Refusal(ramp, "4=0:255"), "--ramp's value index must be a whole number from 0 to 3, not \"4\"");
    EXPECT_EQ(Refusal(ramp, "0=0:256"), "--ramp values must be a whole number from 0 to 255, not \"256\"");
    EXPECT_EQ(Refusal(ramp, "0=-1:5"), "--ramp values must be a whole number from 0 to 255, not \"-1\"");
    EXPECT_EQ(Refusal(ramp, "0=12"), "--ramp needs two numbers joined by ':', not \"12\"");
    EXPECT_EQ(Refusal(keys, "1=0:5,0:6"), "--keys times must rise from key to key, not \"0:5,0:6\"");
    EXPECT_EQ(Refusal(keys, "1=0:300"), "--keys values must be a whole number from 0 to 255, not \"300\"");
    EXPECT_EQ(Refusal(keys, "1=x:3"), "--keys times must be a whole number from 0 to 4294967295, not \"x\"");
    EXPECT_EQ(Refusal(keys, "1=0:3,"), "--keys needs two numbers joined by ':', not \"\"");
    ParamTrack both;
    both.setRamp("2=0:1");
    try {
        both.setKeys("2=0:1");
        ADD_FAILURE() << "a value took a ramp and keys";
    } catch (const fxtool::UsageError& error) {
        EXPECT_EQ(error.message, "value 2 is given more than one --ramp or --keys");
    }
}

}  // namespace
