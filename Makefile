# The project's jobs. Each installs any missing system package first.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
SANITIZER_ENV = ASAN_OPTIONS=detect_leaks=1:abort_on_error=0 \
	UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1

.PHONY: all build demo test bench bench-sweep bench-build bench-check bench-readme gallery fuzz valgrind install package windows test-windows clean

all: build

build:
	scripts/deps.sh build
	cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DEFFECTS_BENCH=ON -DEFFECTS_SANITIZE=OFF
	cmake --build build -j$(JOBS)

demo: build
	scripts/demo.sh

test: build
	scripts/deps.sh test
	cd build && ctest --output-on-failure -j$(JOBS)
	$(MAKE) test-windows
	cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DEFFECTS_SANITIZE=ON -DEFFECTS_BENCH=OFF
	cmake --build build-asan -j$(JOBS)
	cd build-asan && $(SANITIZER_ENV) ctest --output-on-failure -j$(JOBS)

# EFFECTS_SIMD=scalar|sse2|avx2|avx512 caps the vector level; those runs
# write results-LEVEL.json beside results.json.
# BENCH_FLAGS go to effects_bench: --benchmark_repetitions=3 runs every case
# three times, and the JSON's readers take the median.
BENCH_TAG = $(if $(EFFECTS_SIMD),-$(EFFECTS_SIMD))
BENCH_FLAGS ?=
bench: bench-build
	build/bench/effects_bench $(BENCH_FLAGS) --benchmark_out=build/bench/results$(BENCH_TAG).json --benchmark_out_format=json

# Every effect at 320x240 to 3840x2160 and one odd size, and a 16x16 frame.
bench-sweep: bench-build
	build/bench/effects_bench --sweep --benchmark_out=build/bench/sweep$(BENCH_TAG).json --benchmark_out_format=json

bench-build:
	scripts/deps.sh bench
	cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DEFFECTS_BENCH=ON -DEFFECTS_SANITIZE=OFF
	cmake --build build -j$(JOBS) --target effects_bench

# The last make bench against bench/baseline.json (this machine's, checked
# in): a ratio to memcpy more than 25% worse is reported as a regression.
bench-check:
	@[ -f build/bench/results.json ] || $(MAKE) bench
	python3 scripts/bench_report.py check bench/baseline.json build/bench/results.json

# The README's bench tables, from make bench, make bench EFFECTS_SIMD=avx2,
# make bench EFFECTS_SIMD=scalar and make bench-sweep.
bench-readme:
	python3 scripts/bench_report.py readme README.md build/bench/results.json \
		build/bench/results-scalar.json build/bench/sweep.json build/bench/results-avx2.json

# Every effect side by side in gallery/index.html, with the figures of the
# last make bench when there are any.
gallery: build
	scripts/deps.sh gallery
	build/fxhost gallery gallery

# The fuzzer through plugin_main, built with clang and its sanitizers.
FUZZ_SECONDS ?= 600
fuzz:
	scripts/deps.sh fuzz
	cmake -S . -B build-fuzz -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
		-DEFFECTS_FUZZ=ON -DEFFECTS_TESTS=OFF -DEFFECTS_BENCH=OFF -DEFFECTS_SANITIZE=OFF
	cmake --build build-fuzz -j$(JOBS) --target effects_fuzz
	scripts/fuzz.sh $(FUZZ_SECONDS) $(JOBS)

# The whole-module tests under valgrind's memcheck, which does not decode
# AVX-512: the module's vector level is capped at AVX2.
valgrind: build
	scripts/deps.sh valgrind
	scripts/valgrind.sh

# The module, fxhost, the header, effects.pc and the frei0r plugins under
# PREFIX (lib/frei0r-1 for the plugins).
PREFIX ?= /usr/local
install: build
	cmake --install build --prefix $(PREFIX)

# The Debian package, for /usr, in build/packages.
package: build
	scripts/deps.sh package
	cd build && cpack -G DEB
	@ls -1 build/packages/*.deb

# effects.dll, fxhost.exe and the test suites for 64-bit Windows, from the
# same sources, cross-built with MinGW-w64 into build-win/; their tests run
# under wine and compare fxhost.exe's pictures with the Linux fxhost's.
WIN_CONFIG = -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake -DCMAKE_BUILD_TYPE=Release \
	-DEFFECTS_BENCH=OFF -DEFFECTS_FREI0R=OFF -DEFFECTS_SANITIZE=OFF \
	-DEFFECTS_LIBPNG_SOURCE=$(CURDIR)/build-win/_deps/libpng -DEFFECTS_LINUX_FXHOST=$(CURDIR)/build/fxhost
windows: build
	scripts/deps.sh windows
	scripts/libpng_source.sh build-win/_deps/libpng
	cmake -S . -B build-win $(WIN_CONFIG)
	cmake --build build-win -j$(JOBS)

test-windows: windows
	cd build-win && ctest --output-on-failure -j$(JOBS)

clean:
	rm -rf build build-asan build-fuzz build-win out gallery
