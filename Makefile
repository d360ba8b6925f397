# The two commands of the README: `make demo` and `make test`. Both install what is missing first.
BUILD_DIR ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=
# ccache (installed with the other dependencies) makes rebuilding unchanged sources nearly free,
# in this checkout or any other of the repository on the machine; without it nothing changes.
export CCACHE_BASEDIR := $(CURDIR)
LAUNCHER = $(if $(shell command -v ccache 2>/dev/null),-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)

.PHONY: all deps configure build test demo bench format clean test-asan test-tsan fuzz soak mutants package

all: build

deps:
	@./scripts/install-deps.sh

configure: deps
	@cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMICROSOFTAZURE_WERROR=ON $(LAUNCHER) $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS)

test: build
	@ctest --test-dir $(BUILD_DIR) --output-on-failure -j $(JOBS) --timeout 600

demo: build
	@./scripts/demo.sh $(BUILD_DIR)

bench: build
	@./scripts/bench.sh $(BUILD_DIR)

# The Debian packages (README, "Deploying") in $(BUILD_DIR)/packages/: only what they hold is built.
package: configure
	@cmake --build $(BUILD_DIR) --target MicrosoftAzure TikoHelper sensor-host azure-emulator -j $(JOBS)
	@./scripts/package.sh $(BUILD_DIR)

format:
	@git ls-files '*.hpp' '*.cpp' '*.h' | xargs clang-format -i

clean:
	@rm -rf $(BUILD_DIR) $(ASAN_DIR) $(TSAN_DIR) $(FUZZ_DIR) $(WINDOWS_DIR) $(MUTANTS_DIR)

# More tests (README, "More tests"). Each sanitizer build has its own directory; a report from any
# sanitizer fails the run.
ASAN_DIR ?= build-asan
TSAN_DIR ?= build-tsan
FUZZ_DIR ?= build-fuzz
FUZZ_SECONDS ?= 60
SOAK_CHECKS ?= 10000
SANITIZER_CMAKE_FLAGS = -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMICROSOFTAZURE_WERROR=ON \
	-DMICROSOFTAZURE_BUILD_BENCHMARKS=OFF $(LAUNCHER) $(CMAKE_FLAGS)
ASAN_ENV = ASAN_OPTIONS=detect_leaks=1:halt_on_error=1:abort_on_error=1:strict_string_checks=1 \
	UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
TSAN_ENV = TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1

# The whole suite under AddressSanitizer (leaks included) and UndefinedBehaviorSanitizer. A test
# gets a second run only for LeakSanitizer's own tracer, which now and then crashes at process exit
# ("LeakSanitizer has encountered a fatal error") after the test itself passed; a real report
# fails both runs.
test-asan: deps
	@cmake -S . -B $(ASAN_DIR) $(SANITIZER_CMAKE_FLAGS) '-DMICROSOFTAZURE_SANITIZE=address;undefined' >/dev/null
	@cmake --build $(ASAN_DIR) -j $(JOBS)
	@$(ASAN_ENV) ctest --repeat until-pass:2 --test-dir $(ASAN_DIR) --output-on-failure --no-tests=error -j $(JOBS) --timeout 900

# The concurrency tests under ThreadSanitizer; only what they need is built.
test-tsan: deps
	@cmake -S . -B $(TSAN_DIR) $(SANITIZER_CMAKE_FLAGS) -DMICROSOFTAZURE_SANITIZE=thread >/dev/null
	@cmake --build $(TSAN_DIR) --target concurrency_tests -j $(JOBS)
	@$(TSAN_ENV) ctest --test-dir $(TSAN_DIR) --output-on-failure --no-tests=error --timeout 900 -R '^Concurrency\.'

# Every fuzz target for FUZZ_SECONDS seconds, built with clang, libFuzzer and ASan/UBSan.
fuzz: deps
	@cmake -S . -B $(FUZZ_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++-14 \
		-DCMAKE_C_COMPILER=clang-14 -DMICROSOFTAZURE_FUZZ=ON -DMICROSOFTAZURE_BUILD_TESTS=OFF \
		-DMICROSOFTAZURE_BUILD_BENCHMARKS=OFF >/dev/null
	@cmake --build $(FUZZ_DIR) --target fuzz_targets -j $(JOBS)
	@./fuzz/run.sh $(FUZZ_DIR) $(FUZZ_SECONDS)

# SOAK_CHECKS checks through the exports; reports resident memory at the start and the end.
soak: build
	@$(BUILD_DIR)/bin/soak $(SOAK_CHECKS)

# The faults of scripts/mutants.txt, one at a time, each against the test programs that should
# catch it; MUTANTS picks faults by id (a regular expression, e.g. MUTANTS='^token-'). Ninja
# finds the little a fault makes to rebuild much faster than the generated makefiles.
MUTANTS_DIR ?= build-mutants
MUTANTS ?=
mutants:
	@./scripts/install-deps.sh ninja-build
	@MUTANTS_BUILD_DIR=$(MUTANTS_DIR) JOBS=$(JOBS) ./scripts/mutants.sh '$(MUTANTS)'

# Windows (README, "Windows"): MicrosoftAzure.dll, TikoHelper.dll and the Windows test programs,
# cross-built with mingw-w64 in their own directory, and the Windows suite run under Wine.
WINDOWS_DIR ?= build-windows

.PHONY: windows test-windows windows-configure package-windows

windows-configure:
	@./scripts/install-windows-deps.sh
	@cmake -S . -B $(WINDOWS_DIR) -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-mingw64.cmake \
		-DCMAKE_BUILD_TYPE=Release -DMICROSOFTAZURE_WERROR=ON $(LAUNCHER) \
		-DMICROSOFTAZURE_NATIVE_BUILD_DIR=$(abspath $(BUILD_DIR)) >/dev/null

windows: windows-configure
	@cmake --build $(WINDOWS_DIR) -j $(JOBS)

# The Windows zip of the two DLLs, sensor-host.exe and the documents, and the zip of their
# symbols, in $(WINDOWS_DIR)/packages/ (README, "Deploying"); only what they hold is built.
package-windows: windows-configure
	@cmake --build $(WINDOWS_DIR) --target MicrosoftAzure TikoHelper sensor-host -j $(JOBS)
	@./scripts/package-windows.sh $(WINDOWS_DIR)

# The servers the Windows tests talk to run natively, from the Linux build.
test-windows: windows configure
	@cmake --build $(BUILD_DIR) --target azure-emulator transport-conformance-server -j $(JOBS)
	@./scripts/test-windows.sh $(WINDOWS_DIR) $(JOBS)
