// Drives the module through plugin_main and the reference host, as a host
// would, with every choice a host may make taken from the input: effect names
// (known and made up), surface depths, formats, sizes and row padding, source
// and destination apart or the same, parameter words over the whole 32-bit
// range, frame times that step, jump, go back and wrap, null sources at
// render time, and several instances alive at once. The host keeps its side
// of the contract: every surface is well formed and stays alive until the
// input ends, and each pixel buffer is an allocation of its own, so that the
// sanitizers see any access outside it.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "host/environment.h"
#include "host/module_loader.h"

namespace {

// Reads the input front to back; past its end every read is 0.
class Input {
public:
    Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    bool empty() const { return at_ >= size_; }
    uint8_t byte() { return at_ < size_ ? data_[at_++] : 0; }
    // Low part first, in separate statements: the order in which the operands
    // of one expression are evaluated differs between compilers, and the
    // replay under g++ must read an input as the fuzzer under clang did.
    uint16_t u16() {
        const uint16_t low = byte();
        return static_cast<uint16_t>(low | byte() << 8);
    }
    uint32_t u32() {
        const uint32_t low = u16();
        return low | static_cast<uint32_t>(u16()) << 16;
    }
    std::string text(size_t length) {
        std::string s;
        while (s.size() < length && !empty()) s.push_back(static_cast<char>(byte()));
        return s;
    }

private:
    const uint8_t* data_;
    size_t size_;
    size_t at_ = 0;
};

// One copy of the module for each cap on vector instructions, so that every
// kernel variant is reached on one machine.
struct Modules {
    std::vector<std::unique_ptr<fxhost::EffectModule>> copies;
    std::vector<std::string> names;
};

Modules& Loaded() {
    static Modules modules = [] {
        fxhost::SetLogSink([](const std::string&) {});
        Modules m;
        for (const char* cap : {"avx512", "avx2", "sse2", "scalar"}) {
            fxhost::SetEnvironment("EFFECTS_SIMD", cap);
            m.copies.push_back(fxhost::LoadModuleCopy());
        }
        fxhost::UnsetEnvironment("EFFECTS_SIMD");
        m.names = fxhost::EffectNames(*m.copies[0]);
        return m;
    }();
    return modules;
}

struct FuzzSurface {
    Surface record{};
    std::unique_ptr<uint8_t[]> pixels;
};

constexpr int kMaxSurfaces = 24;
constexpr int kMaxOperations = 64;
constexpr int kSlots = 4;

// What one input does to the module it picked.
class Session {
public:
    Session(fxhost::EffectModule& module, const std::vector<std::string>& names, Input& in)
        : module_(module), api_(module.api()), names_(names), in_(in) {}
    ~Session() {
        for (CRenderInterface*& effect : slots_) Destroy(effect);
    }

    void Run() {
        for (int op = 0; op < kMaxOperations && !in_.empty(); ++op) {
            switch (in_.byte() % 8) {
            case 0:
            case 1: Create(); break;
            case 2:
            case 3:
            case 4: Render(); break;
            case 5: Destroy(slots_[in_.byte() % kSlots]); break;
            case 6: Catalogue(); break;
            default: MoveTime(); break;
            }
        }
    }

private:
    // Depth and format: mostly the three the module draws, sometimes 8 or 24
    // bits, which a host could pass.
    Surface* NewSurface() {
        if (surfaces_.size() >= kMaxSurfaces) return &surfaces_[in_.byte() % surfaces_.size()]->record;
        static const int32_t kKinds[][2] = {{32, kFormatXrgb}, {32, kFormatXrgb}, {32, kFormatXrgb},
                                            {16, kFormat565},  {16, kFormat565},  {16, kFormat555},
                                            {16, kFormat555},  {8, 0},            {24, 0}};
        const auto& kind = kKinds[in_.byte() % std::size(kKinds)];
        const int32_t depth = kind[0];
        auto s = std::make_unique<FuzzSurface>();
        const uint8_t shape = in_.byte();
        int width, height;
        if ((shape & 0x90) == 0x90) {  // now and then a large one
            width = 1 + in_.u16() % 320;
            height = 1 + in_.u16() % 240;
        } else {
            width = 1 + in_.byte() % 40;
            height = 1 + in_.byte() % 24;
        }
        const int pad = shape & 0x40 ? in_.byte() % 48 : 0;
        const int bytes = (depth + 7) / 8;
        const int16_t top = shape & 0x20 ? in_.byte() % 8 : 0;
        const int16_t left = shape & 0x20 ? in_.byte() % 8 : 0;
        s->record.depth = depth;
        s->record.pixelFormat = kind[1];
        s->record.bounds = SurfaceRect{top, left, static_cast<int16_t>(top + height),
                                       static_cast<int16_t>(left + width)};
        s->record.rowBytes = width * bytes + pad;
        const size_t size = static_cast<size_t>(s->record.rowBytes) * height;
        s->pixels.reset(new uint8_t[size]);
        uint32_t v = in_.u32();
        for (size_t i = 0; i < size; i += 4) {
            v = v * 1664525u + 1013904223u;
            std::memcpy(&s->pixels[i], &v, std::min<size_t>(4, size - i));
        }
        s->record.pixels = s->pixels.get();
        surfaces_.push_back(std::move(s));
        return &surfaces_.back()->record;
    }

    // A surface for render time: null, one already made, or a new one.
    Surface* AnySurface() {
        const uint8_t choice = in_.byte() % 4;
        if (choice == 0 || (choice == 1 && surfaces_.empty())) return nullptr;
        if (choice == 1) return &surfaces_[in_.byte() % surfaces_.size()]->record;
        return NewSurface();
    }

    std::string Name() {
        const uint8_t choice = in_.byte();
        if (choice < 6 * names_.size()) return names_[choice % names_.size()];
        if (choice < 240) {  // a known name with one byte changed
            std::string name = names_[in_.byte() % names_.size()];
            name[in_.byte() % name.size()] = static_cast<char>(in_.byte());
            return name;
        }
        return in_.text(in_.byte() % 24);
    }

    void Create() {
        CRenderInterface*& slot = slots_[in_.byte() % kSlots];
        Destroy(slot);
        const std::string name = Name();
        const uint8_t layout = in_.byte() % 6;
        Surface* source = layout == 5 ? nullptr : NewSurface();
        Surface* destination = layout == 0 ? nullptr : layout == 1 ? source : NewSurface();
        slot = api_.CreateEffect(name.c_str(), source, destination);
    }

    void Params(int32_t out[4]) {
        static const int32_t kEdges[] = {0, 1, 127, 128, 255, 256, -1, 32767, 32768, 65535, 65536,
                                         INT32_MIN, INT32_MAX};
        switch (in_.byte() % 4) {
        case 0: api_.GetEffectDefaults(Name().c_str(), out); break;
        case 1:
            for (int i = 0; i < 4; ++i) out[i] = in_.byte();
            break;
        case 2:
            for (int i = 0; i < 4; ++i) out[i] = static_cast<int32_t>(in_.u32());
            break;
        default:
            for (int i = 0; i < 4; ++i) out[i] = kEdges[in_.byte() % std::size(kEdges)];
        }
    }

    void Render() {
        CRenderInterface* effect = slots_[in_.byte() % kSlots];
        int32_t params[4] = {128, 128, 128, 128};
        Params(params);
        Surface* source = AnySurface();
        const int frames = 1 + in_.byte() % 4;
        for (int f = 0; f < frames; ++f) {
            api_.RenderEffect(effect, params, f == 0 ? source : nullptr, time_);
            time_ += 40;
        }
    }

    void MoveTime() {
        switch (in_.byte() % 5) {
        case 0: time_ += in_.byte(); break;
        case 1: time_ += in_.u16() * 16u; break;        // a jump
        case 2: time_ -= in_.u16(); break;              // backwards
        case 3: time_ = 0xFFFFFFFFu - in_.byte(); break;  // about to wrap
        default: time_ = in_.u32();
        }
    }

    // The catalogue, the colour helpers and plugin_main's own codes.
    void Catalogue() {
        switch (in_.byte() % 6) {
        case 0: {
            EffectInfo info{};
            api_.GetEffectInfo(static_cast<int32_t>(in_.u32() % 64 - 16), &info);
            break;
        }
        case 1: {
            int32_t out[4];
            api_.GetEffectDefaults(Name().c_str(), out);
            break;
        }
        case 2: {
            uint32_t r, g, b;
            api_.HueToRGB(in_.u32(), &r, &g, &b);
            break;
        }
        case 3: {
            const uint32_t bits = in_.u32();
            float value;
            std::memcpy(&value, &bits, sizeof value);
            api_.LevelCurve(static_cast<int32_t>(in_.u32()), value);
            break;
        }
        case 4: api_.GetEffectCount(); break;
        default: module_.call(in_.byte() % 12);  // open again, close, and codes nobody knows
        }
    }

    void Destroy(CRenderInterface*& effect) {
        api_.DestroyEffect(effect);
        effect = nullptr;
    }

    fxhost::EffectModule& module_;
    const EffectApi& api_;
    const std::vector<std::string>& names_;
    Input& in_;
    uint32_t time_ = 0;
    CRenderInterface* slots_[kSlots] = {};
    std::vector<std::unique_ptr<FuzzSurface>> surfaces_;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The module's console lines (the ascii rows print two at each refusal)
    // tell the fuzzer nothing; its own reports go to standard error.
    std::fflush(stdout);
    if (std::freopen("/dev/null", "w", stdout) == nullptr) std::perror("effects_fuzz: standard output");
    Loaded();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Modules& modules = Loaded();
    Input in(data, size);
    fxhost::EffectModule& module = *modules.copies[in.byte() % modules.copies.size()];
    Session session(module, modules.names, in);
    session.Run();
    return 0;
}
