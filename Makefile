# The front door: thin targets over the CMake presets.
.PHONY: all program bootstrap demo test check-asan check-guard install package fuzz bench docs valgrind lint analyse format clean

all:
	cmake --preset release
	cmake --build --preset release

# The libraries and the program without tests and examples.
program:
	cmake --preset release
	cmake --build --preset release --target libraries nxbrio

bootstrap:
	scripts/bootstrap

demo: bootstrap program
	cmake --build --preset release --target python_package
	scripts/demo build/release/bin/nxbrio

test: bootstrap all
	ctest --preset release

check-asan: bootstrap
	cmake --preset asan
	cmake --build --preset asan
	ctest --preset asan

# Sudden ends: memory that runs out, signals at every step on the way to a file, threads. A minute or two.
check-guard: bootstrap all
	ctest --preset guard
	cmake --preset tsan
	cmake --build --preset tsan
	ctest --preset tsan

# Where to; DESTDIR goes before it.
PREFIX ?= /usr/local
install: program
	cmake --build --preset release --target python_package
	cmake --install build/release --prefix "$$(realpath -m "$(PREFIX)")"

# Debian packages in build/package/packages, looked over by lintian and tried in a scratch root.
package:
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

# Every benchmark beside its peer; writes bench/RESULTS.md and a plot beside the measurements. Some six minutes on a quiet machine.
bench:
	scripts/bootstrap bench
	cmake --preset bench
	cmake --build --preset bench
	scripts/bench build/bench/bin
	PYTHONPATH=build/bench/python /usr/bin/python3 bench/python_bench.py bench/PYTHON.md
	PYTHONPATH=build/bench/python /usr/bin/python3 bench/screen_bench.py build/bench/bin/screen_loop build/bench/bin/nxbrio \
	  bench/SCREENING.md

# The reference and the guide, in build/docs/html.
docs:
	scripts/bootstrap docs
	scripts/docs build/docs

# The program and a share of the unit tests under valgrind.
valgrind:
	scripts/bootstrap valgrind
	$(MAKE) all
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
