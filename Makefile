# The two everyday commands:
#   make test     install dependencies, configure (preset dev), build, run the tests
#   make record   install dependencies, build, record 10 s of the simulated device to ./recordings
# Variables: WERROR=ON|OFF (default OFF), BUILD_DIR (default build/dev),
#            CMAKE_ARGS (extra configure arguments), JOBS (default 2).

WERROR ?= OFF
BUILD_DIR ?= build/dev
CMAKE_ARGS ?=
JOBS ?= 2

.PHONY: test record deps configure build

deps:
	bash scripts/install-deps.sh

configure: deps
	cmake --preset dev -B $(BUILD_DIR) -DVELIFACE_WERROR=$(WERROR) $(CMAKE_ARGS)

build: configure
	cmake --build $(BUILD_DIR) -j$(JOBS)

test: build
	ctest --test-dir $(BUILD_DIR) --output-on-failure -j$(JOBS)

record: build
	$(BUILD_DIR)/tools/velrec/velrec --fast --duration 10 --out ./recordings
