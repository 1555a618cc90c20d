# SPDX-License-Identifier: MIT
# Thin over the CMake presets. On a bare Debian 12, as root or with sudo: `make demo`, `make test`.
JOBS ?= $(shell nproc)

FUZZ_SECONDS ?= 30

.PHONY: help packages build test soak servers demo bench lint sanitize asan tsan rtsan fuzz package try-package site docs clean

help:
	@sed -n 's/^## //p' Makefile

packages:
	@bash packaging/install_packages.sh

configure-%: packages
	@cmake --preset $* >/dev/null || cmake --preset $*

build: configure-dev
	cmake --build --preset dev -j $(JOBS)

## make demo      render a real song through a plug-in's node to demo.wav
demo: configure-release
	cmake --build --preset release -j $(JOBS) --target mlox_tool
	bash tools/demo.sh build/release/tools/mlox/mlox

## make test      build everything and run the tests, all but make soak; prints how many each driver had
test: build
	@bash packaging/run_tests.sh dev $(JOBS) -LE soak
	bash packaging/driver_counts.sh build/dev

## make soak      the tests that take long; prints what they measured
soak: build
	@bash packaging/run_tests.sh dev 1 -L soak
	@grep -a '^soak: ' build/dev/Testing/Temporary/LastTest.log

## make servers   of all tests those that start, kill and restart JACK servers
servers: build
	@bash packaging/run_tests.sh dev 1 -L servers

## make bench     measure ours beside its peers, table at the end
bench: configure-bench
	cmake --build --preset bench -j $(JOBS)
	bash bench/run.sh build/bench

## make lint      clang-format and clang-tidy
lint: configure-dev-clang
	bash packaging/lint.sh build/dev-clang $(JOBS)

## make sanitize  ThreadSanitizer, Address+UB+Leak over the tests that bear them (no soak, no PipeWire); RealtimeSanitizer over two programs
sanitize: tsan asan rtsan

asan tsan: %: configure-%
	cmake --build --preset $* -j $(JOBS)
	bash packaging/sanitize.sh $* $(JOBS)

# RealtimeSanitizer looks at what is marked as non-blocking: the reader's path and what it stands on.
rtsan: configure-rtsan
	cmake --build --preset rtsan -j $(JOBS) --target test_cmn test_mlox_mlox_directmidi
	bash packaging/sanitize.sh rtsan $(JOBS) -R '^(cmn|mlox/mlox_directmidi)/'

## make fuzz      every fuzz target for FUZZ_SECONDS (30)
fuzz: configure-fuzz
	cmake --build --preset fuzz -j $(JOBS)
	bash fuzz/run.sh build/fuzz $(FUZZ_SECONDS)

## make package   the Debian packages libmlox1, libmlox-dev and mlox-tools in build/packages
package: configure-debian
	cmake --build --preset debian -j $(JOBS) --target mlox mlox_tool_references
	cpack --config build/debian/CPackConfig.cmake -G DEB -B $(CURDIR)/build/packages
	@rm -rf build/packages/_CPack_Packages

## make try-package  install the packages on an empty Debian 12 (debootstrap, as root), build and run the examples there
try-package: package
	bash packaging/try_packages.sh

## make site      the site in build/docs, a warning being an error
site: packages
	rm -rf build/docs
	mkdir -p build/docs
	doxygen docs/Doxyfile
	/usr/bin/python3 -B tests/site/site_links_test.py

## make docs      make site, then opens its pages in Chromium and leaves screenshots
docs: site
	tests/site/check_site.py build/docs/html docs/site/layout.xml build/docs/screenshots

clean:
	rm -rf build
