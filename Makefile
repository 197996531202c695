# The two commands: `make run` and `make test`. Both install what is missing first.
BUILD      ?= build
BUILD_ASAN ?= build-asan
CMAKE_GEN  := -G Ninja
JOBS       ?= $(shell nproc)

.PHONY: all deps deps-test build run demo-live test test-asan clean

all: build

# What the program needs; the tests, the benchmarks and the private server add theirs.
deps:
	@tools/install-deps.sh run

deps-test:
	@tools/install-deps.sh test

build: deps
	@cmake -S . -B $(BUILD) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	@cmake --build $(BUILD) -j $(JOBS)

run: build
	@tools/run-demo.sh $(BUILD)

# The demo with a private server and the acquisition simulator writing while the program reads.
demo-live: deps-test build
	@tools/demo-live.sh $(BUILD)

test: deps-test build
	@cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

# The same tests under AddressSanitizer and UndefinedBehaviorSanitizer (CI runs this too).
test-asan: deps-test
	@cmake -S . -B $(BUILD_ASAN) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Debug -DORVEX_SANITIZE=ON >/dev/null
	@cmake --build $(BUILD_ASAN) -j $(JOBS)
	@cd $(BUILD_ASAN) && ASAN_OPTIONS=detect_leaks=0:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  ctest --output-on-failure -j $(JOBS)

clean:
	rm -rf $(BUILD) $(BUILD_ASAN)
