# SPDX-License-Identifier: Apache-2.0
# What people type. Each target installs the packages that it needs and builds what it needs.
.PHONY: demo install test test-asan test-tsan lives mutants tidy bench judges check check-levels check-format check-translations pot command-pages \
    packages
.DEFAULT_GOAL := test

JOBS ?= $(shell nproc)
INPUT ?=

# Debian packages are installed once for each state of packages.txt. Without root and sudo they must be there already.
packages: build/packages.stamp
build/%.stamp: %.txt
	@mkdir -p build
	@tools/install_packages.sh $<
	@touch $@

demo: packages
	cmake --preset release >build/release-configure.log
	cmake --build --preset release --target redraft-cli -j $(JOBS)
	INPUT="$(INPUT)" tools/demo.sh build/release/shell/redraft build/demo

# Libraries, headers, the program, its manual page and completions. After `make demo` nothing is compiled again.
PREFIX ?= /usr/local
install: packages
	cmake --preset release >build/release-configure.log
	cmake --build --preset release --target redraft-cli -j $(JOBS)
	cmake --install build/release --prefix $(PREFIX) >build/install.log

test: packages
	cmake --preset dev >build/dev-configure.log
	cmake --build --preset dev -j $(JOBS)
	ctest --preset dev -j $(JOBS)

test-asan: packages
	cmake --preset asan >build/asan-configure.log
	cmake --build --preset asan -j $(JOBS)
	ctest --preset asan -j $(JOBS)

# The tests of what uses threads.
test-tsan: packages
	cmake --preset tsan >build/tsan-configure.log
	cmake --build --preset tsan -j $(JOBS) --target test-kernel test-document test-story test-records test-record-steps \
	    test-raster-commands test-planar-map test-tracing test-generative test-learning test-epub redraft-engine
	ctest --preset tsan -j $(JOBS) \
	    -R '^(kernel|document|story|records|record-steps|raster-commands|planar-map|tracing|generative|learning|epub)$$'

# Random lives of documents for so many minutes; SEED= starts elsewhere, DRAWINGS= names a folder of SVG files that lives
# may begin with. See docs/testing.md.
MINUTES ?= 10
SEED ?= 1000
DRAWINGS ?= /usr/share/openclipart/svg
lives: packages
	cmake --preset dev >build/dev-configure.log
	cmake --build --preset dev -j $(JOBS) --target lives
	FREI0R_PATH=build/dev/tests/plugins build/dev/tests/lives --minutes $(MINUTES) --seed $(SEED) --processes $(JOBS) \
	    --folder build/lives --drawings $(DRAWINGS) --picture tests/engine/story/pictures/greek.png

# Breaks the library one place at a time and tells which mutants no test notices. COUNT= of them or EACH= of each
# chapter, CHAPTERS= or FILES= to break, SEED= for others. See docs/testing.md.
COUNT ?= 50
mutants: packages
	tools/mutants.py $(if $(EACH),--each $(EACH),--count $(COUNT)) $(if $(FILES),--files $(FILES)) \
	    $(if $(CHAPTERS),--chapters $(CHAPTERS)) $(if $(SEED),--seed $(SEED))

# clang-tidy with the checks of .clang-tidy over everything but tests and benchmarks. It is no part of `make check`, as each
# of more than a hundred units takes ten seconds and more. FILES= is a regular expression of the sources to look at.
tidy: packages
	cmake --preset dev -B build/tidy -DREDRAFT_PRECOMPILED=OFF >build/tidy-configure.log
	run-clang-tidy -p build/tidy -j $(JOBS) -quiet -extra-arg=-Wno-unknown-warning-option \
	    -extra-arg=-Wno-unused-command-line-argument \
	    '$(or $(FILES),^((?!/(tests|bench|examples)/).)*$$)' >build/tidy.log 2>build/tidy-errors.log || \
	    { grep -E '(warning|error):' build/tidy.log | sort -u; exit 1; }

# Every question of docs/performance.md, with floors and peers in the same run. BENCH=name asks one of them.
bench: packages build/packages-bench.stamp
	cmake --preset release -DREDRAFT_BENCH=ON >build/release-configure.log
	cmake --build --preset release -j $(JOBS) --target bench
	for program in build/release/bench/bench-$(or $(BENCH),*); do \
	    [ -f $$program ] && [ -x $$program ] || continue; echo "== $$program"; $$program || exit 1; done

# What other programs make of the same things: indices by makeindex, exported texts by epubcheck, pandoc, LibreOffice and
# tidy, tables by Miller, sqlite3 and xlsx2csv. TEXT= names a book, TABLES= tables. See docs/testing.md.
judges: packages build/packages-judges.stamp
	cmake --preset dev >build/dev-configure.log
	cmake --build --preset dev -j $(JOBS) --target redraft-cli
	tools/judge_index.py build/dev/shell/redraft build/judges $(if $(TEXT),"$(abspath $(TEXT))")
	tools/judge_exports.py build/dev/shell/redraft build/judges/exports $(if $(TEXT),"$(abspath $(TEXT))")
	tools/judge_merge.py build/dev/shell/redraft build/judges/merge $(foreach table,$(TABLES),"$(abspath $(table))")

check: check-levels check-format check-translations

# Which folder may include which.
check-levels:
	@python3 tools/check_levels.py

check-format: packages
	@git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run -Werror && echo 'OK format'

# Texts without a translation are named; only a translation that is wrong fails.
check-translations: packages
	@tools/make_pot.sh --check

# All texts of the library for translators.
pot: packages
	@tools/make_pot.sh

# docs/commands, one page a command.
command-pages: packages
	cmake --preset dev >build/dev-configure.log
	cmake --build --preset dev --target command-pictures -j $(JOBS)
	python3 tools/make_command_pages.py build/dev/shell/redraft build/dev/tests/command-pictures \
	    build/dev/tests/plugins/shift.so
