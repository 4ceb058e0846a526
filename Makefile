# The front door. Everything here only calls the presets of CMakePresets.json and the scripts beside it.
.PHONY: demo test bench accuracy reliability soak asan tsan fuzz test-armv7 format install clean

JOBS ?= 2

# --- the two commands to start with ---
demo: build/test/build.ninja
	cmake --build --preset test -j $(JOBS) --target orb analysis power_cut
	scripts/demo.sh build/test

test: build/test/build.ninja
	cmake --build --preset test -j $(JOBS)
	ctest --preset test

# --- more ---
bench:
	scripts/install-packages.sh bench
	cmake --preset release -DORB_BUILD_TESTS=OFF
	cmake --build --preset release -j $(JOBS)
	scripts/bench.sh build/release

# How right the analysis is, on simulated truth: writes docs/accuracy.md. Fails when a goal is missed.
accuracy:
	scripts/install-packages.sh build
	cmake --preset release -DORB_BUILD_TESTS=OFF -DORB_BUILD_BENCH=OFF -DORB_BUILD_ACCURACY=ON
	cmake --build --preset release -j $(JOBS) --target orb_accuracy
	scripts/accuracy.sh build/release

# What the storage, the tool and their surroundings stand: writes docs/reliability.md. Fails when a fault is found.
#   make reliability PARTS=kills          one part; the page keeps the figures of the others
#   ORB_RELIABILITY=long make reliability a night
reliability: build/test/build.ninja
	scripts/install-packages.sh reliability
	cmake --build --preset test -j $(JOBS) --target reliability
	cmake --preset asan
	cmake --build --preset asan -j $(JOBS) --target reliability
	cmake --preset coverage
	cmake --build --preset coverage -j $(JOBS)
	scripts/reliability.py $(addprefix --part ,$(PARTS)) build/test build/asan

# The random tests with more seeds: make soak ORB_SOAK_SEEDS=1000
soak: export ORB_SOAK_SEEDS ?= 200
soak: build/test/build.ninja
	cmake --build --preset test -j $(JOBS)
	ctest --preset test -L soak

asan:
	scripts/install-packages.sh test
	cmake --preset asan
	cmake --build --preset asan -j $(JOBS)
	ctest --preset asan

# The programs that run threads; the sanitizer has nothing to say about the others.
tsan:
	scripts/install-packages.sh test
	cmake --preset tsan
	cmake --build --preset tsan -j $(JOBS) --target concurrent_tests
	ctest --preset tsan -L 'unit|behaviour|threads'

# Arbitrary input for FUZZ_SECONDS each: make fuzz FUZZ_SECONDS=600 FUZZ_TARGETS="spe n42"
FUZZ_SECONDS ?= 60
fuzz:
	scripts/install-packages.sh fuzz
	cmake --preset fuzz
	cmake --build --preset fuzz -j $(JOBS) --target fuzz_targets
	scripts/fuzz.sh build/fuzz $(FUZZ_SECONDS) $(FUZZ_TARGETS)

test-armv7:
	scripts/install-packages.sh armv7
	scripts/setup-armv7.sh build/armv7-sysroot
	cmake --preset armv7
	cmake --build --preset armv7 -j $(JOBS)
	ctest --preset armv7

format:
	scripts/install-packages.sh format
	git ls-files '*.h' '*.cpp' | xargs clang-format -i

install: build/test/build.ninja
	cmake --preset release -DORB_BUILD_BENCH=OFF -DORB_BUILD_TESTS=OFF
	cmake --build --preset release -j $(JOBS)
	cmake --install build/release

clean:
	rm -rf build

build/test/build.ninja: CMakePresets.json CMakeLists.txt
	scripts/install-packages.sh test
	cmake --preset test
