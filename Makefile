# kelm-lib: build, demo and tests on Linux and Windows (cross-compiled, run under Wine).
#   make demo   install what is missing, build (Linux) and run the demo
#   make test   install what is missing, build Linux, Linux ASan+UBSan, Linux TSan,
#               Windows x86-64 and i686, and run every test (Windows x86-64 under Wine)
#   make test-win32   run the tests of the i686 build (needs a machine that runs 32-bit code)
#   make stats  lines of tests against library code, and the include-cycle check

JOBS ?= 2
BUILD ?= build
# Fetched by scripts/install-deps.sh; shared by every build folder.
MINIZIP_SRC := $(CURDIR)/build/minizip-src
CMAKE_COMMON = -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  $(if $(shell command -v ccache),-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
CTEST := ctest --output-on-failure -j $(JOBS) -O ctest.log
WINE_PREFIX := $(CURDIR)/$(BUILD)/win64/wineprefix

.PHONY: demo test deps deps-linux linux asan tsan win64 win32 \
        test-linux test-asan test-tsan test-win64 test-win32 test-install bench stats

deps-linux:
	@scripts/install-deps.sh linux
deps:
	@scripts/install-deps.sh all

demo: deps-linux linux
	$(BUILD)/linux/bin/kelm-demo

test: deps
	$(MAKE) test-linux test-asan test-tsan test-win64 win32 test-install
	@scripts/stats.sh
	@scripts/test-summary.sh $(BUILD)/linux $(BUILD)/asan $(BUILD)/tsan $(BUILD)/win64

stats:
	@scripts/stats.sh

linux:
	cmake -S . -B $(BUILD)/linux $(CMAKE_COMMON) >/dev/null
	cmake --build $(BUILD)/linux -j $(JOBS)

asan:
	cmake -S . -B $(BUILD)/asan $(CMAKE_COMMON) -DKELM_SANITIZE=address,undefined -DKELM_BUILD_TOOLS=OFF >/dev/null
	cmake --build $(BUILD)/asan -j $(JOBS)

# ThreadSanitizer over the areas that run threads.
TSAN_AREAS ?= frame;threadpool;variant
tsan:
	cmake -S . -B $(BUILD)/tsan $(CMAKE_COMMON) -DKELM_SANITIZE=thread -DKELM_BUILD_TOOLS=OFF \
	  "-DKELM_TEST_AREAS=$(TSAN_AREAS)" >/dev/null
	cmake --build $(BUILD)/tsan -j $(JOBS)

win64:
	cmake -S . -B $(BUILD)/win64 $(CMAKE_COMMON) \
	  -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-x86_64-w64-mingw32.cmake \
	  -DKELM_MINIZIP_SOURCE_DIR=$(MINIZIP_SRC) >/dev/null
	cmake --build $(BUILD)/win64 -j $(JOBS)

win32:
	cmake -S . -B $(BUILD)/win32 $(CMAKE_COMMON) \
	  -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-i686-w64-mingw32.cmake \
	  -DKELM_MINIZIP_SOURCE_DIR=$(MINIZIP_SRC) >/dev/null
	cmake --build $(BUILD)/win32 -j $(JOBS)

test-linux: linux
	cd $(BUILD)/linux && $(CTEST)

test-asan: asan
	cd $(BUILD)/asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 $(CTEST)

test-tsan: tsan
	cd $(BUILD)/tsan && TSAN_OPTIONS=halt_on_error=1 $(CTEST)

# One persistent wineserver for the run, started with its output away from
# any captured pipe, and stopped afterwards.
test-win64: win64
	scripts/wine-session.sh $(WINE_PREFIX) sh -c 'cd $(BUILD)/win64 && $(CTEST)'
	@echo "GoogleTest under Wine:"
	@grep -h -E '^\[==========\] .* ran|^\[  PASSED  \]' $(BUILD)/win64/Testing/Temporary/LastTest.log

test-win32: win32
	scripts/wine-session.sh $(CURDIR)/$(BUILD)/win32/wineprefix sh -c 'cd $(BUILD)/win32 && $(CTEST)'

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

bench: deps-linux
	cmake -S . -B $(BUILD)/bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DKELM_BUILD_BENCH=ON -DKELM_BUILD_TESTS=OFF >/dev/null
	cmake --build $(BUILD)/bench -j $(JOBS)
	@for b in $(BUILD)/bench/bin/bench_*; do [ -x "$$b" ] && "$$b"; done; true
