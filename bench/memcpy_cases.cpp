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

size_t FrameBytes(int bytesPerPixel) {
    return static_cast<size_t>(kFrameWidth) * kFrameHeight * static_cast<size_t>(bytesPerPixel);
}

void CopyFrame(CopyBuffers& buffers) {
    std::memcpy(buffers.destination.data(), buffers.source.data(), buffers.source.size());
    benchmark::ClobberMemory();
}

void RunMemcpy(benchmark::State& state, const std::string& caseName, int bytesPerPixel) {
    auto& buffers = StateFor<CopyBuffers>(
        caseName, [&] { return std::make_unique<CopyBuffers>(FrameBytes(bytesPerPixel)); });
    benchmark::DoNotOptimize(buffers.destination.data());
    for ([[maybe_unused]] auto _ : state) CopyFrame(buffers);
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(buffers.source.size()));
}

}  // namespace

void RegisterMemcpyCases() {
    for (int bytesPerPixel : {4, 2}) {
        const std::string name = MemcpyCaseName(bytesPerPixel);
        benchmark::RegisterBenchmark(name.c_str(), [name, bytesPerPixel](benchmark::State& state) {
            RunMemcpy(state, name, bytesPerPixel);
        })->Unit(benchmark::kMillisecond);
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
