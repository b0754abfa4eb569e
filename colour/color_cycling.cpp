#include "colour/color_cycling.h"

#include "colour/channel_tables.h"
#include "shell/numeric.h"

namespace {

bool EmptyBehindHeader(const ColorCyclingParams& record) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(&record);
    for (size_t i = offsetof(ColorCyclingParams, secondsRed); i <= offsetof(ColorCyclingParams, flags); ++i)
        if (bytes[i]) return false;
    return true;
}

CycleStyle StyleOf(uint8_t flags) {
    const bool scale = flags & kCycleFlagScale, bounce = flags & kCycleFlagBounce;
    if (scale == bounce) return kCycleWrap;
    return scale ? kCycleScale : kCycleBounce;
}

// Source pixels a destination pixel in 16.16; 0 for an empty destination.
int32_t SampleStep(int32_t sourceSize, int32_t destinationSize) {
    if (destinationSize <= 0 || sourceSize <= 0) return 0;
    return static_cast<int32_t>((static_cast<uint32_t>(sourceSize) << 16) / static_cast<uint32_t>(destinationSize));
}

}  // namespace

ColorCycling::ColorCycling(const ColorCyclingParams* params) {
    style = kCycleWrap;
    ready = 0;
    if (!valid || !source) return;
    if (EmptyBehindHeader(*params)) {
        periodRed = 1000, periodGreen = 2000, periodBlue = 4000;
        parameterRed = parameterGreen = parameterBlue = -1;
    } else {
        const uint8_t flags = params->flags;
        style = StyleOf(flags);
        auto period = [flags](float seconds, int32_t useTime) {
            const int32_t ms = TruncToInt32(static_cast<float>(seconds * 1000.0f));
            return (flags & kCycleFlagTime) && useTime ? ms : 0;
        };
        auto parameter = [flags](uint16_t index, uint8_t channelBit) {
            return (flags & kCycleFlagParams) && (flags & channelBit) ? int32_t{index} : -1;
        };
        periodRed = period(params->secondsRed, params->useTimeRed);
        periodGreen = period(params->secondsGreen, params->useTimeGreen);
        periodBlue = period(params->secondsBlue, params->useTimeBlue);
        parameterRed = parameter(params->parameterIndexRed, kCycleFlagRed);
        parameterGreen = parameter(params->parameterIndexGreen, kCycleFlagGreen);
        parameterBlue = parameter(params->parameterIndexBlue, kCycleFlagBlue);
    }
    stepX = SampleStep(srcWidth, dstWidth);
    stepY = SampleStep(srcHeight, dstHeight);
    ready = 1;
}

bool ColorCycling::IsReady() { return ready; }

// A host cannot know that an instance is not ready, so one that is not draws
// nothing.
void ColorCycling::Render() {
    if (!ready) return;
    UpdateChannels();
    ProcessFrame();
}

void ColorCycling::UpdateChannels() {
    const uint32_t elapsed = frame->time - startTime;
    valueRed = CycleChannelValue(style, parameterRed, periodRed, elapsed, frame->params);
    valueGreen = CycleChannelValue(style, parameterGreen, periodGreen, elapsed, frame->params);
    valueBlue = CycleChannelValue(style, parameterBlue, periodBlue, elapsed, frame->params);
}

void ColorCycling::ProcessFrame() {
    const int32_t depth = destination->depth;
    if (depth == 32) {
        uint8_t red[256], green[256], blue[256];
        BuildCycleTable8(style, valueRed, red);
        BuildCycleTable8(style, valueGreen, green);
        BuildCycleTable8(style, valueBlue, blue);
        CycleRows(4, red, green, blue);
    } else if (depth == 16) {
        uint8_t red[32], green[32], blue[32];
        BuildCycleTable5(style, valueRed, red);
        BuildCycleTable5(style, valueGreen, green);
        BuildCycleTable5(style, valueBlue, blue);
        CycleRows(2, red, green, blue);
    }
}

// The destination is written in pairs of pixels: with an odd width the last
// pixel of each row is left alone and every row starts one pixel before the
// place of the one above it. Source rows and columns are sampled by the 16.16
// steps, with no averaging. The steps follow the source of this frame: they
// are those of construction for the source given then, and keep the reads of
// a source of another size, given at render time, within that source.
void ColorCycling::CycleRows(int32_t wordBytes, const uint8_t* red, const uint8_t* green, const uint8_t* blue) {
    if (source->depth != destination->depth || !source->pixels || !destination->pixels) return;
    const int32_t pairWidth = dstWidth & ~1;
    if (dstHeight <= 0 || pairWidth <= 0) return;
    stepX = SampleStep(SurfaceWidth(*source), dstWidth);
    stepY = SampleStep(SurfaceHeight(*source), dstHeight);
    if (stepX == 0 || stepY == 0) return;
    const int32_t format = pixelFormat == kFormat565 ? kFormat565 : kFormat555;
    auto apply = [&](const PixelRows& rows) {
        if (wordBytes == 4)
            ApplyChannelTables(rows, red, green, blue, 0);
        else
            MapChannels16(rows, red, green, blue, format);
    };
    PixelRows rows{source->pixels, source->rowBytes, destination->pixels, dstRowBytes - (dstWidth & 1) * wordBytes,
                   dstHeight, pairWidth};
    if (stepX == 0x10000 && stepY == 0x10000) return apply(rows);

    if (stepX != 0x10000) sampledRow.resize(static_cast<size_t>(pairWidth) * wordBytes);
    for (int32_t y = 0, yAcc = 0; y < dstHeight; ++y, yAcc += stepY) {
        const uint8_t* from = source->pixels + static_cast<intptr_t>(yAcc >> 16) * source->rowBytes;
        if (stepX != 0x10000) {
            uint8_t* to = sampledRow.data();
            for (int32_t x = 0, xAcc = 0; x < pairWidth; ++x, xAcc += stepX)
                std::memcpy(to + x * wordBytes, from + (xAcc >> 16) * wordBytes, wordBytes);
            from = to;
        }
        PixelRows one = rows;
        one.src = from;
        one.dst = rows.dst + static_cast<intptr_t>(y) * rows.dstStep;
        one.rows = 1;
        apply(one);
    }
}
