# The two commands of the README:
#   make demo   builds everything and runs the emulated Outlook with the add-in
#               against the SharePoint emulator, printing the transcript
#   make test   builds both architectures and runs every test of each
#               (the x86 build's under Wine's 32-bit loader, names ending _x86)
# ARCH=x86 makes demo and bench use the 32-bit build (default x64).
# make dist builds the MSI packages (64- and 32-bit, per machine and per
# user) into dist/, the DLLs and the packages signed when a certificate is
# given: SIGN_CERT=cert.pem SIGN_KEY=key.pem, or SIGN_PKCS12=cert.pfx with
# SIGN_PASSWORD (environment) or SIGN_PASSWORD_FILE; SIGN_TIMESTAMP=URL
# optional. As make variables or in the environment.
# Both install what is missing first (Debian packages), so they work on a
# fresh machine.

BUILD ?= build
JOBS ?= $(shell nproc)
ARCH ?= x64
DIST ?= dist
# Handed to installer/make_msi.py through the environment, so a password
# never shows on a command line.
export SIGN_CERT SIGN_KEY SIGN_PKCS12 SIGN_PASSWORD SIGN_PASSWORD_FILE SIGN_TIMESTAMP

.PHONY: all deps build build-x64 build-x86 test demo clean bench dist

all: build

deps:
	@bash cmake/install_deps.sh

$(BUILD)/x64/CMakeCache.txt:
	cmake -S . -B $(BUILD)/x64 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-x64.cmake -DCMAKE_BUILD_TYPE=Release

$(BUILD)/x86/CMakeCache.txt:
	cmake -S . -B $(BUILD)/x86 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-x86.cmake -DCMAKE_BUILD_TYPE=Release

build-x64: deps $(BUILD)/x64/CMakeCache.txt
	cmake --build $(BUILD)/x64 -j $(JOBS)

build-x86: deps $(BUILD)/x86/CMakeCache.txt
	cmake --build $(BUILD)/x86 -j $(JOBS)

build: build-x64 build-x86

test: build
	@bash tests/run_tests.sh $(BUILD)/x64 $(BUILD)/x86

demo: build-$(ARCH)
	@bash testbed/run_demo.sh $(BUILD)/$(ARCH)

dist: build
	@rm -f $(DIST)/Quillbox-*.msi
	@for arch in x64 x86; do for scope in machine user; do \
	  python3 installer/make_msi.py --dll $(BUILD)/$$arch/quillbox.dll --arch $$arch --scope $$scope \
	    --out-dir $(DIST) || exit 1; \
	done; done
	@if [ -n "$$SIGN_CERT$$SIGN_PKCS12" ]; then echo "dist: the DLLs and the packages are signed"; \
	 else echo "dist: no certificate given (SIGN_CERT and SIGN_KEY, or SIGN_PKCS12): the packages are NOT signed"; fi

bench: build-$(ARCH)
	@bash bench/run_bench.sh $(BUILD)/$(ARCH)

clean:
	rm -rf $(BUILD)
