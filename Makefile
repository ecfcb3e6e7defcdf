# Two commands do everything from a fresh machine:
#   make demo   install what is missing, build, run the examples under Wine
#   make test   the same, then run the whole test suite under Wine
# and one more for the checked build:
#   make check  build with library assertions and the trapping UB sanitizer, run the suite
# and one for speed:
#   make bench  build the release preset, run the benchmarks under Wine, write bench/results.md
# and one for the API documentation:
#   make docs   install Doxygen if missing, write build/docs/html/index.html from the public headers

MAKEFLAGS += --no-print-directory

.PHONY: all deps demo test check bench docs build-release build-checked clean

all: build-release

deps:
	@cmake/ensure-deps

build/%/CMakeCache.txt: | deps
	cmake --preset $*

build-release: deps build/release/CMakeCache.txt
	cmake --build --preset release

build-checked: deps build/checked/CMakeCache.txt
	cmake --build --preset checked

demo: build-release
	cmake --build --preset release --target demo

test: build-release
	ctest --preset release

check: build-checked
	ctest --preset checked

bench: build-release
	cmake --build --preset release --target bench

# Doxygen is needed only here, so the build's package list leaves it out.
docs:
	@cmake/ensure-deps doxygen
	doxygen docs/Doxyfile

clean:
	rm -rf build
