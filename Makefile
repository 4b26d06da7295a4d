# kelm-lib: build, demo and tests on Linux and Windows (cross-compiled, run under Wine).
#   make demo   install what is missing, build (Linux) and run the demo
#   make test   install what is missing, build Linux, Linux ASan+UBSan, Linux TSan,
#               Windows x86-64 and i686, and run every test (Windows under Wine)
#   make test-win32   run the tests of the i686 build under the private 32-bit Wine
#   make stats  lines of tests against library code, and the include-cycle check
#   make stress the thread-related test programs STRESS_RUNS times each, natively
#               and under Wine (both builds); counts failures and hangs
#   make fuzz   run every fuzz target for FUZZ_SECONDS each (fuzz/README.md)

JOBS ?= 2
BUILD ?= build
# Fetched by scripts/install-deps.sh; shared by every build folder.
MINIZIP_SRC := $(CURDIR)/build/minizip-src
CMAKE_COMMON = -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  $(if $(shell command -v ccache),-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
CTEST := ctest --output-on-failure -j $(JOBS) -O ctest.log
WINE_PREFIX := $(CURDIR)/$(BUILD)/win64/wineprefix

.PHONY: demo test deps deps-linux linux asan tsan win64 win32 \
        test-linux test-asan test-tsan test-win64 test-win32 test-portable test-install bench \
        stats stress deps-fuzz deps-bench fuzz-build fuzz test-fuzz

deps-linux:
	@scripts/install-deps.sh linux
deps:
	@scripts/install-deps.sh all
deps-fuzz:
	@scripts/install-deps.sh fuzz
deps-bench:
	@scripts/install-deps.sh bench

demo: deps-linux linux
	$(BUILD)/linux/bin/kelm-demo

test: deps
	$(MAKE) test-linux test-asan test-tsan test-win64 test-win32 test-portable test-install test-fuzz
	$(MAKE) stress STRESS_RUNS=$(STRESS_CI_RUNS)
	@scripts/stats.sh
	@scripts/test-summary.sh $(BUILD)/linux $(BUILD)/asan $(BUILD)/tsan $(BUILD)/win64 $(BUILD)/win32

stats:
	@scripts/stats.sh

linux:
	cmake -S . -B $(BUILD)/linux $(CMAKE_COMMON) >/dev/null
	cmake --build $(BUILD)/linux -j $(JOBS)

asan:
	cmake -S . -B $(BUILD)/asan $(CMAKE_COMMON) -DKELM_SANITIZE=address,undefined -DKELM_BUILD_TOOLS=OFF >/dev/null
	cmake --build $(BUILD)/asan -j $(JOBS)

# ThreadSanitizer over the areas that run threads.
TSAN_AREAS ?= frame;threadpool;variant;files;streams;localization
tsan:
	cmake -S . -B $(BUILD)/tsan $(CMAKE_COMMON) -DKELM_SANITIZE=thread -DKELM_BUILD_TOOLS=OFF \
	  "-DKELM_TEST_AREAS=$(TSAN_AREAS)" >/dev/null
	cmake --build $(BUILD)/tsan -j $(JOBS)

win64:
	cmake -S . -B $(BUILD)/win64 $(CMAKE_COMMON) \
	  -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-x86_64-w64-mingw32.cmake \
	  -DKELM_MINIZIP_SOURCE_DIR=$(MINIZIP_SRC) >/dev/null
	cmake --build $(BUILD)/win64 -j $(JOBS)

# The shipping target, built as it ships.
win32:
	cmake -S . -B $(BUILD)/win32 $(CMAKE_COMMON) -DCMAKE_BUILD_TYPE=Release \
	  -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-i686-w64-mingw32.cmake \
	  -DKELM_MINIZIP_SOURCE_DIR=$(MINIZIP_SRC) >/dev/null
	cmake --build $(BUILD)/win32 -j $(JOBS)

test-linux: linux
	cd $(BUILD)/linux && $(CTEST)

test-asan: asan
	cd $(BUILD)/asan && ASAN_OPTIONS=detect_leaks=1 LSAN_OPTIONS=suppressions=$(CURDIR)/scripts/lsan.supp UBSAN_OPTIONS=print_stacktrace=1 $(CTEST)

test-tsan: tsan
	cd $(BUILD)/tsan && TSAN_OPTIONS=halt_on_error=1 $(CTEST)

# One persistent wineserver for the run, started with its output away from
# any captured pipe, and stopped afterwards.
test-win64: win64
	scripts/wine-session.sh $(WINE_PREFIX) x86_64 sh -c 'cd $(BUILD)/win64 && $(CTEST)'
	@scripts/gtest-counts.sh $(BUILD)/win64

# 32-bit Wine is unpacked privately (scripts/setup-wine32.sh); a machine that
# runs 32-bit x86 code neither natively nor through qemu skips this step.
test-win32: win32
	@scripts/setup-wine32.sh
	@if scripts/setup-wine32.sh --runs; then \
	  scripts/wine-session.sh $(CURDIR)/$(BUILD)/win32/wineprefix i686 sh -c 'cd $(BUILD)/win32 && $(CTEST)' && \
	  scripts/gtest-counts.sh $(BUILD)/win32; \
	else rm -f $(BUILD)/win32/ctest.log; \
	  echo "i686 tests skipped: this machine runs 32-bit x86 code neither natively nor through qemu"; fi

# The record file that the streams tests of the builds wrote is the same
# file everywhere.
PORTABLE_FILES = $(wildcard $(addsuffix /kelm/streams/portable_record.bin,$(addprefix $(BUILD)/,linux asan win64 win32)))
test-portable:
	@set -- $(PORTABLE_FILES); for f; do cmp "$$1" "$$f" || exit 1; done; \
	echo "portable_record.bin: the same bytes from $$# builds ($(patsubst $(BUILD)/%/kelm/streams/portable_record.bin,%,$(PORTABLE_FILES)))"

# Thread code run many times in a row: natively, under 64-bit Wine, and under
# 32-bit Wine where this machine runs 32-bit code. `make test` runs a slice of
# about a minute.
STRESS_RUNS ?= 200
STRESS_CI_RUNS ?= 10
stress: linux win64 win32
	@scripts/setup-wine32.sh
	@status=0; \
	scripts/stress.sh $(BUILD)/linux $(STRESS_RUNS) || status=1; \
	scripts/stress.sh $(BUILD)/win64 $(STRESS_RUNS) cmake/wine-run.sh $(WINE_PREFIX) x86_64 || status=1; \
	if scripts/setup-wine32.sh --runs; then \
	  scripts/stress.sh $(BUILD)/win32 $(STRESS_RUNS) cmake/wine-run.sh $(CURDIR)/$(BUILD)/win32/wineprefix i686 || status=1; \
	else echo "win32: this machine runs 32-bit x86 code neither natively nor through qemu: not stressed"; fi; \
	exit $$status

# The installed package works for CMake and pkg-config users.
test-install: linux
	rm -rf $(BUILD)/stage $(BUILD)/consumer
	cmake --install $(BUILD)/linux --prefix $(CURDIR)/$(BUILD)/stage >/dev/null
	cmake -S tests/consumer -B $(BUILD)/consumer -G Ninja -DCMAKE_PREFIX_PATH=$(CURDIR)/$(BUILD)/stage >/dev/null
	cmake --build $(BUILD)/consumer >/dev/null
	LD_LIBRARY_PATH=$(CURDIR)/$(BUILD)/stage/lib $(BUILD)/consumer/consumer
	PKG_CONFIG_PATH=$(CURDIR)/$(BUILD)/stage/lib/pkgconfig \
	  sh -c 'g++ -std=c++20 tests/consumer/consumer.cpp $$(pkg-config --cflags --libs kelm) -o $(BUILD)/consumer/consumer-pc'
	LD_LIBRARY_PATH=$(CURDIR)/$(BUILD)/stage/lib $(BUILD)/consumer/consumer-pc

# libFuzzer targets: clang with ASan and UBSan, the library included.
FUZZ_SECONDS ?= 60
FUZZ_CI_SECONDS ?= 4
fuzz-build:
	cmake -S . -B $(BUILD)/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DKELM_BUILD_FUZZ=ON \
	  -DKELM_SANITIZE=address,undefined -DKELM_BUILD_TESTS=OFF -DKELM_BUILD_TOOLS=OFF >/dev/null
	cmake --build $(BUILD)/fuzz -j $(JOBS)

fuzz: deps-fuzz fuzz-build
	fuzz/run.sh $(BUILD)/fuzz $(FUZZ_SECONDS)

test-fuzz: fuzz-build
	fuzz/run.sh $(BUILD)/fuzz $(FUZZ_CI_SECONDS)

bench: deps-bench
	cmake -S . -B $(BUILD)/bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DKELM_BUILD_BENCH=ON -DKELM_BUILD_TESTS=OFF >/dev/null
	cmake --build $(BUILD)/bench -j $(JOBS)
	@for b in $(BUILD)/bench/bin/bench_*; do [ -x "$$b" ] && "$$b"; done; true

# Tests are the *_test.cpp files and the testing/ helpers; code is the rest of
# kelm/ (*.cpp, *.h).
