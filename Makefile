# Thin wrapper around CMake: `make` builds, `make test` builds and runs every test,
# `make run` runs the program and the report on the example data, `make bench` measures speed.
# `make run` and `make test` first install what the machine lacks (tools/deps.sh).
BUILD ?= build
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
PREFIX ?= /usr/local

.PHONY: all deps build test run bench asan tsan fuzz install uninstall workflow-example clean

all: build

deps:
	@bash tools/deps.sh

build:
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release >/dev/null
	@cmake --build $(BUILD) -j $(JOBS)

test: deps build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

run: deps build
	cd examples && ../$(BUILD)/kestrova -ofile ../$(BUILD)/example -diag ../$(BUILD)/example.diag
	$(BUILD)/tools/kestrova-report --out $(BUILD)/example_report --data $(BUILD)/example=examples --top-loci 1 \
	  1:$(BUILD)/example

bench: build
	bash bench/run.sh $(BUILD)

# Tests once more under AddressSanitizer and UndefinedBehaviorSanitizer.
asan:
	@cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DKESTROVA_SANITIZE=ON >/dev/null
	@cmake --build build-asan -j $(JOBS)
	cd build-asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --output-on-failure -j $(JOBS)

# The threaded tests once more under ThreadSanitizer.
tsan:
	@cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKESTROVA_TSAN=ON >/dev/null
	@cmake --build build-tsan -j $(JOBS)
	cd build-tsan && TSAN_OPTIONS=halt_on_error=1 ctest --output-on-failure -j $(JOBS) -R Thread

# Every reader under libFuzzer with the sanitizers, FUZZ_SECONDS (default 60) each.
fuzz:
	@CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKESTROVA_FUZZ=ON \
	  -DKESTROVA_TESTS=OFF >/dev/null
	@cmake --build build-fuzz -j $(JOBS) --target fuzz_specfile fuzz_phenotype fuzz_genotype fuzz_panel fuzz_haplotype \
	  fuzz_inputs fuzz_prepare_phenotype fuzz_prepare_pedigree fuzz_prepare_model fuzz_prepare_vcf fuzz_report
	bash fuzz/run.sh build-fuzz

# The four programs into PREFIX/bin, their man pages into PREFIX/share/man/man1, the
# workflow and the examples into PREFIX/share/kestrova; `make uninstall` removes them.
install: deps build
	cmake --install $(BUILD) --prefix $(PREFIX)

uninstall:
	@test -f $(BUILD)/install_manifest.txt || { echo "nothing installed from $(BUILD)"; exit 1; }
	xargs -d '\n' rm -f < $(BUILD)/install_manifest.txt
	xargs -d '\n' -n1 dirname < $(BUILD)/install_manifest.txt | sort -ru | \
	  while read -r d; do [ ! -d "$$d" ] || rmdir -p --ignore-fail-on-non-empty "$$d"; done
	rm -f $(BUILD)/install_manifest.txt

# The shipped workflow configuration (the example study of examples/vcf through
# kestrova-prepare) run end to end into workflow-example/.
workflow-example: build
	snakemake -s workflow/Snakefile --cores $(JOBS) --config outdir=workflow-example

clean:
	rm -rf $(BUILD) build-asan build-tsan build-fuzz
