# Cross build for the phone's CPU: 32-bit ARM, hard-float EABI (Debian's armhf), with
# Debian's cross compiler (g++-arm-linux-gnueabihf) and the armhf libraries of Debian
# multiarch in /usr/lib/arm-linux-gnueabihf. Test programs run through qemu-arm.
# scripts/install-armhf-deps.sh installs all of it.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(DAS_ARMHF_TRIPLET arm-linux-gnueabihf)
set(CMAKE_C_COMPILER ${DAS_ARMHF_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${DAS_ARMHF_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${DAS_ARMHF_TRIPLET})

# GCC notes on ARM that the passing of some aggregates changed in GCC 7.1 (-Wpsabi). That
# matters only when linking with code built by GCC 6 or older, which nothing here is; the
# notes would bury real diagnostics.
#
# time_t and off_t are 32 bits on armhf by default (64 on x86-64): the clock would wrap in
# January 2038 and files stop at 2 GiB. glibc's 64-bit time interface makes them 64 bits as
# on x86-64 (and as Debian does for armhf from release 13 on). Nothing of ours passes time_t
# or off_t to a library built without it.
set(DAS_ARMHF_DEFINES "-D_FILE_OFFSET_BITS=64 -D_TIME_BITS=64")
set(CMAKE_C_FLAGS_INIT "${DAS_ARMHF_DEFINES}")
set(CMAKE_CXX_FLAGS_INIT "${DAS_ARMHF_DEFINES} -Wno-psabi")

# The cross compiler's own C and C++ runtime (what the programs are linked against) and the
# multiarch libraries.
set(DAS_ARMHF_TOOLCHAIN_ROOT /usr/${DAS_ARMHF_TRIPLET})
set(DAS_ARMHF_MULTIARCH_LIBS /usr/lib/${DAS_ARMHF_TRIPLET})

# Find armhf libraries and packages only: /usr/lib/arm-linux-gnueabihf through the library
# architecture, never the host's /usr/lib/x86_64-linux-gnu; host programs stay usable.
list(APPEND CMAKE_IGNORE_PATH /usr/lib/x86_64-linux-gnu /lib/x86_64-linux-gnu
     /usr/lib/x86_64-linux-gnu/cmake /usr/lib/x86_64-linux-gnu/pkgconfig)
set(ENV{PKG_CONFIG_LIBDIR} "${DAS_ARMHF_MULTIARCH_LIBS}/pkgconfig:/usr/share/pkgconfig")

# qemu-arm runs test programs (ctest, gtest discovery): -L gives the guest its dynamic loader
# and C runtime from the cross toolchain; the multiarch libraries come after it.
set(CMAKE_CROSSCOMPILING_EMULATOR
    qemu-arm -L ${DAS_ARMHF_TOOLCHAIN_ROOT}
    -E LD_LIBRARY_PATH=${DAS_ARMHF_TOOLCHAIN_ROOT}/lib:${DAS_ARMHF_MULTIARCH_LIBS})
