# The front door: thin targets over the CMake presets.
.PHONY: all bootstrap demo test check-asan fuzz bench lint format clean

all:
	cmake --preset release
	cmake --build --preset release

bootstrap:
	scripts/bootstrap

demo: bootstrap all
	scripts/demo build/release/bin/nxbrio

test: bootstrap all
	ctest --preset release

check-asan: bootstrap
	cmake --preset asan
	cmake --build --preset asan
	ctest --preset asan

# Each fuzz target, for so long.
FUZZ_SECONDS ?= 60
fuzz:
	scripts/bootstrap fuzz
	cmake --preset fuzz
	cmake --build --preset fuzz
	scripts/fuzz build/fuzz $(FUZZ_SECONDS)

bench: bootstrap
	cmake --preset bench
	cmake --build --preset bench
	scripts/bench build/bench/bin

# Style and static checks; not part of the tests.
lint: all
	scripts/lint build/release

format:
	git ls-files -- '*.h' '*.cpp' '*.c' | xargs clang-format -i

clean:
	rm -rf build
