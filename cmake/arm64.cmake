# Compiles for the target, 64-bit ARM Linux, with Debian's cross compiler and Debian's arm64 packages.
# The tests run under an emulator of the processor.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64)

# libbacktrace needs 7z.so, whose package cannot be installed for two architectures at once. So
# scripts/checks/arm64 unpacks the package here, and the preset lets the emulator look here first
# (QEMU_LD_PREFIX).
set(link_flags "-Wl,-rpath-link,${CMAKE_CURRENT_LIST_DIR}/../build/arm64-packages/usr/lib/p7zip")
set(CMAKE_EXE_LINKER_FLAGS_INIT ${link_flags})
set(CMAKE_SHARED_LINKER_FLAGS_INIT ${link_flags})
