# `make run` and `make test` do the whole set-up: Debian packages, configure, build.
BUILD_DIR ?= build
BUILD_TYPE ?= RelWithDebInfo
WERROR ?= OFF
# OFF builds the core, the headless commands and their tests without QtWidgets, as CI checks.
BUILD_UI ?= ON
CMAKE_ARGS ?=
LAUNCHER := $(if $(shell command -v ccache 2>/dev/null),-DCMAKE_CXX_COMPILER_LAUNCHER=ccache,)

.PHONY: all deps configure build run test headless bench lint format clean

all: build

deps:
	@scripts/install-deps.sh

configure: deps
	@cmake -S . -B $(BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) -DVANTREL_WERROR=$(WERROR) \
	  -DVANTREL_BUILD_UI=$(BUILD_UI) $(LAUNCHER) $(CMAKE_ARGS) >/dev/null

build: configure
	@cmake --build $(BUILD_DIR)

run: build
	$(BUILD_DIR)/bin/vantrel

test: build
	cd $(BUILD_DIR) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j2

# The same suite without the face, in its own build directory, so no core code leans on QtWidgets.
headless:
	@$(MAKE) --no-print-directory test BUILD_UI=OFF BUILD_DIR=$(BUILD_DIR)-headless

bench: build
	@WITH_BENCH=1 scripts/install-deps.sh
	@cmake --build $(BUILD_DIR) --target benchmarks
	@status=0; for b in $(BUILD_DIR)/bin/bench_*; do [ -x "$$b" ] || continue; "$$b" || status=1; done; exit $$status

lint: configure
	@WITH_LINT=1 scripts/install-deps.sh
	@scripts/lint.sh $(BUILD_DIR)

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD_DIR)
