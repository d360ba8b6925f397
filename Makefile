# The two commands of the README: `make demo` and `make test`. Both install what is missing first.
BUILD_DIR ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=

.PHONY: all deps configure build test demo bench format clean

all: build

deps:
	@./scripts/install-deps.sh

configure: deps
	@cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMICROSOFTAZURE_WERROR=ON $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS)

test: build
	@ctest --test-dir $(BUILD_DIR) --output-on-failure -j $(JOBS) --timeout 600

demo: build
	@./scripts/demo.sh $(BUILD_DIR)

bench: build
	@./scripts/bench.sh $(BUILD_DIR)

format:
	@git ls-files '*.hpp' '*.cpp' '*.h' | xargs clang-format -i

clean:
	@rm -rf $(BUILD_DIR)
