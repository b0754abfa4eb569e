// The baseline: one frame copied with memcpy, the same buffers every time so
// that the copy runs as hot as the caches allow.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>
#include <vector>

#include "bench/case_state.h"
#include "bench/cases.h"
#include "bench/frames.h"

namespace bench {

namespace {

struct CopyBuffers : CaseState {
    explicit CopyBuffers(size_t bytes) : source(bytes), destination(bytes) {
        for (size_t i = 0; i < bytes; ++i) source[i] = static_cast<uint8_t>(i * 7 + (i >> 12));
    }
    std::vector<uint8_t> source;
    std::vector<uint8_t> destination;
};

size_t FrameBytes(int bytesPerPixel, FrameSize size = kFrameSize) {
    return static_cast<size_t>(size.width) * static_cast<size_t>(size.height) * static_cast<size_t>(bytesPerPixel);
}

void CopyFrame(CopyBuffers& buffers) {
    std::memcpy(buffers.destination.data(), buffers.source.data(), buffers.source.size());
    benchmark::ClobberMemory();
}

void RunMemcpy(benchmark::State& state, const std::string& caseName, int bytesPerPixel, FrameSize size) {
    auto& buffers = StateFor<CopyBuffers>(
        caseName, [&] { return std::make_unique<CopyBuffers>(FrameBytes(bytesPerPixel, size)); });
    benchmark::DoNotOptimize(buffers.destination.data());
    for ([[maybe_unused]] auto _ : state) CopyFrame(buffers);
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(buffers.source.size()));
}

void RegisterMemcpyCase(const std::string& name, int bytesPerPixel, FrameSize size) {
    benchmark::RegisterBenchmark(name.c_str(), [name, bytesPerPixel, size](benchmark::State& state) {
        RunMemcpy(state, name, bytesPerPixel, size);
    })->Unit(benchmark::kMillisecond);
}

}  // namespace

void RegisterMemcpyCases() {
    for (int bytesPerPixel : {4, 2}) RegisterMemcpyCase(MemcpyCaseName(bytesPerPixel), bytesPerPixel, kFrameSize);
}

void RegisterMemcpySizeCases() {
    for (int bytesPerPixel : {4, 2}) {
        for (FrameSize size : kSweepSizes)
            RegisterMemcpyCase(MemcpyCaseName(bytesPerPixel, size), bytesPerPixel, size);
        RegisterMemcpyCase(MemcpyCaseName(bytesPerPixel, kFixedCostSize), bytesPerPixel, kFixedCostSize);
    }
}

double MeasureMemcpyMs(int bytesPerPixel) {
    using Clock = std::chrono::steady_clock;
    CopyBuffers buffers(FrameBytes(bytesPerPixel));
    benchmark::DoNotOptimize(buffers.destination.data());
    for (int i = 0; i < 3; ++i) CopyFrame(buffers);  // warm up
    const auto start = Clock::now();
    int copies = 0;
    std::chrono::duration<double, std::milli> elapsed{};
    do {
        CopyFrame(buffers);
        ++copies;
        elapsed = Clock::now() - start;
    } while (elapsed.count() < 100.0);
    return elapsed.count() / copies;
}

}  // namespace bench
