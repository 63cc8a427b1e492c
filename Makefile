# The two commands of the README are `make demo` and `make test`; both install what is
# missing first. Build trees: build/ (release), build-asan/ (sanitizers), build-fuzz/ (clang).
BUILD      ?= build
ASAN_BUILD ?= build-asan
FUZZ_BUILD ?= build-fuzz
JOBS       ?= $(shell nproc)
FUZZ_SECONDS ?= 60
CMAKE_FLAGS ?=

.PHONY: all deps build test test-sanitize demo bench fuzz fuzz-smoke install clean

all: build

deps:
	@bash scripts/install-deps.sh

$(BUILD)/build.ninja:
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Release $(CMAKE_FLAGS)

build: deps $(BUILD)/build.ninja
	cmake --build $(BUILD) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

test-sanitize: deps
	cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DQUILLON_SANITIZE=address,undefined -DQUILLON_BENCH=OFF $(CMAKE_FLAGS)
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	ctest --test-dir $(ASAN_BUILD) --output-on-failure -j $(JOBS)

demo: build
	@bash scripts/demo.sh $(BUILD)

bench: build
	@for b in $(BUILD)/bench/bench_*; do echo "== $$b"; $$b; done

fuzz: deps
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQUILLON_FUZZ=ON
	cmake --build $(FUZZ_BUILD) -j $(JOBS)
	@bash scripts/run-fuzzers.sh $(FUZZ_BUILD) $(FUZZ_SECONDS)

fuzz-smoke:
	$(MAKE) fuzz FUZZ_SECONDS=15

install: build
	cmake --install $(BUILD)

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(FUZZ_BUILD)
