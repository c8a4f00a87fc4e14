# The front door: thin targets over the CMake presets.
.PHONY: all bootstrap demo test check-asan bench lint format clean

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
