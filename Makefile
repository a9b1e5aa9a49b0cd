# Two commands do everything on a fresh Debian 12 machine (as root):
#   make demo    build and run the examples; pictures land in out/
#   make test    build and run the whole test suite
# and `make bench` runs the benchmarks.  Each installs what it lacks.

BUILD      ?= build
JOBS       ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_ARGS ?=

PACKAGES       := cmake make g++ python3 pkg-config libgtest-dev libgmock-dev libbenchmark-dev libpng-dev binutils
BENCH_PACKAGES := libembree-dev libopencv-dev python3-scipy python3-numpy

.PHONY: all deps bench-deps configure build demo test bench asan install clean

all: build

deps:
	@./tools/ensure-packages $(PACKAGES)

bench-deps:
	@./tools/ensure-packages $(PACKAGES) $(BENCH_PACKAGES)

configure: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release $(CMAKE_ARGS)

build: configure
	cmake --build $(BUILD) -j $(JOBS)

demo: build
	cmake --build $(BUILD) --target run_demo

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

bench: bench-deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release -DQELR_BUILD_BENCH=ON $(CMAKE_ARGS)
	cmake --build $(BUILD) -j $(JOBS)
	cmake --build $(BUILD) --target run_bench

# The whole suite under AddressSanitizer and UndefinedBehaviorSanitizer.
asan: deps
	cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQELR_SANITIZE=ON $(CMAKE_ARGS)
	cmake --build build-asan -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1 ctest --test-dir build-asan --output-on-failure -j $(JOBS)

install: build
	cmake --install $(BUILD)

clean:
	rm -rf $(BUILD) build-asan out
