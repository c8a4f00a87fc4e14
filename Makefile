# The front door: thin targets over the CMake presets.
.PHONY: all bootstrap demo test check-asan install package fuzz bench docs valgrind lint analyse format clean

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

# Where to; DESTDIR goes before it.
PREFIX ?= /usr/local
install: all
	cmake --install build/release --prefix $(abspath $(PREFIX))

# Debian packages in build/package/packages, looked over by lintian and tried in a scratch root.
package: bootstrap
	scripts/bootstrap package
	cmake --preset package
	cmake --build --preset package
	scripts/check-packages build/package

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

# The reference and the guide, in build/docs/html.
docs:
	scripts/bootstrap docs
	scripts/docs build/docs

# The program and a share of the unit tests under valgrind.
valgrind: all
	scripts/bootstrap valgrind
	scripts/valgrind build/release

# Style and static checks; not part of the tests.
lint: all
	scripts/lint build/release

# The compilers' static analysers.
analyse: all
	scripts/analyse build/release

format:
	git ls-files -- '*.h' '*.cpp' '*.c' | xargs clang-format -i

clean:
	rm -rf build
