# Two commands do everything from a fresh machine:
#   make demo          install what is missing, build, run the examples under Wine
#   make test          the same, then run the whole test suite under Wine
# and more for CI and for a closer look:
#   make check         build with library assertions and the trapping UB sanitizer, run the suite
#   make test-clang    build with Clang (target x86_64-w64-mingw32) and run the suite
#   make coverage      run the suite in a --coverage build, report lines and branches (build/coverage/html)
#   make soak          run the suite with the random tests' counts ten times over
#   make docs          install Doxygen if missing, write build/docs/html/index.html from the public headers
#   make format-check  fail if clang-format would change any source file
#   make bench         build the release preset, run the benchmarks under Wine, write bench/results.md

MAKEFLAGS += --no-print-directory

.PHONY: all deps deps-clang demo test check test-clang coverage soak docs format-check bench clean $(BUILDS)

BUILDS = build-release build-checked build-clang build-coverage
SOURCES_TO_FORMAT = $(shell git ls-files -- src pubhdr siblings tests bench examples | grep -E '\.(h|cpp|inl)$$')
COVERAGE_DIR = build/coverage
GCOVR = gcovr --root . --gcov-executable x86_64-w64-mingw32-gcov --filter src/ --filter pubhdr/ --filter siblings/

all: build-release

deps:
	@cmake/ensure-deps

build/%/CMakeCache.txt: | deps
	cmake --preset $*

$(BUILDS): build-%: deps build/%/CMakeCache.txt
	cmake --build --preset $*

demo: build-release
	cmake --build --preset release --target demo

test: build-release
	ctest --preset release

check: build-checked
	ctest --preset checked

# Clang is needed only here and coverage's gcovr only there, as Doxygen for docs.
build/clang/CMakeCache.txt: | deps-clang
deps-clang:
	@cmake/ensure-deps clang

test-clang: build-clang
	ctest --preset clang

soak: build-release
	ctest --preset soak

# The counts start from nothing, and are reported even when a test fails
# (which then fails the target). gcov reads each compile directory's data into
# one JSON file (gcovr resolves a unit's sources from its own directory); the
# parts are then merged into the text and HTML reports.
COVERAGE_PARTS = $(COVERAGE_DIR)/CMakeFiles $(COVERAGE_DIR)/tests $(wildcard $(COVERAGE_DIR)/siblings/*)
coverage: build-coverage
	@cmake/ensure-deps gcovr
	find $(COVERAGE_DIR) -name '*.gcda' -delete
	ctest --preset coverage; status=$$?; \
	rm -f $(COVERAGE_DIR)/part-*.json; \
	for d in $(COVERAGE_PARTS); do \
	  $(GCOVR) --object-directory $$d --json $(COVERAGE_DIR)/part-$$(basename $$d).json $$d || exit 1; \
	done; \
	parts=$$(for f in $(COVERAGE_DIR)/part-*.json; do echo -a $$f; done); \
	mkdir -p $(COVERAGE_DIR)/html && \
	$(GCOVR) $$parts --html-details $(COVERAGE_DIR)/html/index.html && \
	$(GCOVR) $$parts && \
	$(GCOVR) $$parts --branches --print-summary && \
	echo "HTML report: $(COVERAGE_DIR)/html/index.html" && exit $$status

bench: build-release
	cmake --build --preset release --target bench

# The version shown is the one project() declares.
docs:
	@cmake/ensure-deps doxygen
	ORV_VERSION=$(shell sed -n 's/^project.ORVFile VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt) doxygen docs/Doxyfile

format-check:
	@cmake/ensure-deps clang-format
	@echo "clang-format --dry-run --Werror over $(words $(SOURCES_TO_FORMAT)) files"
	@clang-format --dry-run --Werror $(SOURCES_TO_FORMAT)

clean:
	rm -rf build
