# Two commands for a fresh machine: `make demo` and `make test`.
.PHONY: setup configure build test demo asan tsan bench bench-check clean

setup:
	@bash scripts/setup.sh

configure: setup
	@cmake --preset default >/dev/null

build: configure
	@cmake --build --preset default

test: build
	@ctest --preset default

demo: build
	@./build/default/tools/qdx-demo/qdx-demo $(DEMO_ARGS)

asan: setup
	@cmake --preset asan >/dev/null && cmake --build --preset asan && ctest --preset asan

tsan: setup
	@cmake --preset tsan >/dev/null && cmake --build --preset tsan && ctest --preset tsan

bench:
	@QDX_SETUP_BENCH=1 bash scripts/setup.sh
	@cmake --preset release >/dev/null && cmake --build --preset release

# The ratio goals of bench/ratios.txt, measured on this machine; not part of CI
# (its machine is shared and noisy).
bench-check:
	@QDX_SETUP_BENCH=1 bash scripts/setup.sh
	@bash scripts/bench_check.sh

clean:
	@rm -rf build
