# SPDX-FileCopyrightText: 2026 The TQKit developers
# SPDX-License-Identifier: LGPL-2.1-or-later
# The sanitizer build (TQKIT_SANITIZE) and the fuzz targets (TQKIT_BUILD_FUZZERS), both with
# clang only. Included from the top level before any target exists, so that the library, the
# sample generator, the tests, the tools and the fuzz targets are all built the same way:
# AddressSanitizer and UndefinedBehaviorSanitizer, every report fatal. clang's "undefined"
# group already holds float-cast-overflow and enum, the two checks GCC would need named.
#
# The fuzz targets need the code they drive to carry libFuzzer's coverage hooks; the hooks
# cost little elsewhere, so with TQKIT_BUILD_FUZZERS everything gets them and one build
# folder serves both the sanitized suite and the fuzzers.
#
# Qt, exiv2, libheif and the other system libraries stay uninstrumented: AddressSanitizer
# still sees their heap through its malloc, and their own leaks are suppressed by name in
# cmake/sanitizers/lsan.supp, each entry with its reason.

if(TQKIT_BUILD_FUZZERS AND NOT TQKIT_SANITIZE)
    message(STATUS "TQKIT_BUILD_FUZZERS turns TQKIT_SANITIZE on")
    set(TQKIT_SANITIZE ON CACHE BOOL "Build everything with AddressSanitizer and UBSan (clang)" FORCE)
endif()

if(NOT TQKIT_SANITIZE)
    return()
endif()

if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "TQKIT_SANITIZE and TQKIT_BUILD_FUZZERS need clang "
        "(configure with -DCMAKE_CXX_COMPILER=clang++); this is ${CMAKE_CXX_COMPILER_ID}")
endif()

# -O1 and line tables only (they come after the build type's -O2 -g, so they win): the stacks
# stay readable, and the build takes about half the time on the two cores CI has.
set(TQKIT_SANITIZER_FLAGS
    -fsanitize=address,undefined
    -fno-sanitize-recover=all
    -fno-omit-frame-pointer
    -O1 -gline-tables-only)
if(TQKIT_BUILD_FUZZERS)
    list(APPEND TQKIT_SANITIZER_FLAGS -fsanitize=fuzzer-no-link)
endif()
add_compile_options(${TQKIT_SANITIZER_FLAGS})
add_link_options(-fsanitize=address,undefined)

# Every test ctest runs starts through cmake/sanitizers/run-sanitized, which supplies the
# project's sanitizer options unless the environment already says otherwise: CMake (before
# policy CMP0158, which this project's minimum version leaves unset) puts the emulator in front
# of every add_test() command that names one of the build's executables. The fuzz smoke runs
# and the fuzz seed generator call the script themselves.
set(CMAKE_CROSSCOMPILING_EMULATOR "${PROJECT_SOURCE_DIR}/cmake/sanitizers/run-sanitized")
message(STATUS "Sanitizers: ${TQKIT_SANITIZER_FLAGS}")
