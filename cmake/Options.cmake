# What can be chosen at configure time, and the flags that every target of the project compiles with.

include(CMakeDependentOption)

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
endif()

option(HVK_BUILD_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL})
option(HVK_BUILD_BENCHMARKS "Build the benchmarks" OFF)
option(HVK_BUILD_FUZZERS "Build the fuzzers (clang only)" OFF)
option(HVK_WARNINGS_AS_ERRORS "Fail the build on a compiler warning" OFF)
option(HVK_BPF "Read the processes of Linux with the kernel's task iterator, where it can be built" ON)
set(HVK_SANITIZE "" CACHE STRING "Sanitizers to build with: empty, 'address' (with undefined behaviour) or 'thread'")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_program(HVK_CCACHE ccache)
if(HVK_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${HVK_CCACHE})
endif()

# Everything that the project's own targets share; never installed.
add_library(hvk_build_flags INTERFACE)
target_compile_options(hvk_build_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                                 -fno-omit-frame-pointer)
if(HVK_WARNINGS_AS_ERRORS)
    target_compile_options(hvk_build_flags INTERFACE -Werror)
endif()
if(HVK_CCACHE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Lets ccache reuse objects that were compiled against a precompiled header.
    target_compile_options(hvk_build_flags INTERFACE -fpch-preprocess)
endif()
if(HVK_SANITIZE STREQUAL "address")
    set(HVK_SANITIZER_FLAGS -fsanitize=address,undefined -fno-sanitize-recover=undefined)
elseif(HVK_SANITIZE STREQUAL "thread")
    set(HVK_SANITIZER_FLAGS -fsanitize=thread)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # Asio's queues hand work over under a mutex; the fences that it adds are what gcc warns of.
        list(APPEND HVK_SANITIZER_FLAGS -Wno-tsan)
    endif()
elseif(HVK_SANITIZE)
    message(FATAL_ERROR "HVK_SANITIZE is '${HVK_SANITIZE}'; it can be 'address' or 'thread'")
endif()
if(HVK_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # With a sanitizer gcc 12 warns of the alternative that a variant does not hold, and of the library's own regex.
    list(APPEND HVK_SANITIZER_FLAGS -Wno-maybe-uninitialized)
endif()
if(HVK_SANITIZE)
    add_compile_options(${HVK_SANITIZER_FLAGS})
    add_link_options(${HVK_SANITIZER_FLAGS})
endif()

if(HVK_BUILD_FUZZERS)
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=address,undefined)
endif()

find_program(HVK_LLD NAMES ld.lld ld.lld-16 ld.lld-14)
if(HVK_LLD AND NOT APPLE AND NOT CMAKE_CROSSCOMPILING AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_link_options(-fuse-ld=lld)
endif()
