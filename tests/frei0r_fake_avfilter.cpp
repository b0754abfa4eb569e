// Stands in for ffmpeg's filter library in the time unit test: it exports
// avfilter_version, and its filter calls a plugin's f0r_update itself.
#include <cstdint>

using UpdateFn = void (*)(void* instance, double time, const uint32_t* in, uint32_t* out);

extern "C" __attribute__((visibility("default"))) unsigned avfilter_version() { return 0; }

extern "C" __attribute__((visibility("default"), noinline)) void fake_filter_frame(UpdateFn update, void* instance,
                                                                                 double ms, const uint32_t* in,
                                                                                 uint32_t* out) {
    update(instance, ms, in, out);
    // Keeps the call above from becoming a jump, which would leave this
    // library off the plugin's return address.
    asm volatile("" ::: "memory");
}
