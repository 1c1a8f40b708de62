# Builds for macOS 12 and later on another system: clang and lld of LLVM 16 against an unpacked macOS SDK.
#
#   HVK_MACOS_SDK    the SDK's directory, holding System/ and usr/ ($MACOS_SDK when not set)
#   HVK_MACOS_ARCH   arm64 (as a rule) or x86_64
#   HVK_LLVM_ROOT    where LLVM 16 is installed
#
# Whatever is linked comes from the SDK's stubs. The C++ library's headers are those of LLVM: a symbol that they use and
# macOS 12 lacks fails at linking. scripts/build-macos is the command for all of it.

set(HVK_MACOS_SDK "$ENV{MACOS_SDK}" CACHE PATH "The macOS SDK to build against")
set(HVK_MACOS_ARCH arm64 CACHE STRING "The processor to build for: arm64 or x86_64")
set(HVK_LLVM_ROOT /usr/lib/llvm-16 CACHE PATH "Where LLVM is installed")
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES HVK_MACOS_SDK HVK_MACOS_ARCH HVK_LLVM_ROOT)
if(NOT IS_DIRECTORY "${HVK_MACOS_SDK}/usr/include" OR NOT IS_DIRECTORY "${HVK_MACOS_SDK}/System/Library/Frameworks")
    message(FATAL_ERROR "HVK_MACOS_SDK is '${HVK_MACOS_SDK}', which is no macOS SDK; docs/macos.md says how to set one up")
endif()

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR ${HVK_MACOS_ARCH})
set(CMAKE_OSX_ARCHITECTURES ${HVK_MACOS_ARCH} CACHE STRING "" FORCE)
set(CMAKE_OSX_DEPLOYMENT_TARGET 12.0 CACHE STRING "" FORCE)
set(CMAKE_OSX_SYSROOT "${HVK_MACOS_SDK}" CACHE PATH "" FORCE)

set(CMAKE_CXX_COMPILER ${HVK_LLVM_ROOT}/bin/clang++)
set(CMAKE_CXX_COMPILER_TARGET ${HVK_MACOS_ARCH}-apple-macos12)
set(CMAKE_AR ${HVK_LLVM_ROOT}/bin/llvm-ar CACHE FILEPATH "")
set(CMAKE_RANLIB ${HVK_LLVM_ROOT}/bin/llvm-ranlib CACHE FILEPATH "")
set(CMAKE_INSTALL_NAME_TOOL ${HVK_LLVM_ROOT}/bin/llvm-install-name-tool CACHE FILEPATH "")
add_compile_options(-nostdinc++ -isystem ${HVK_LLVM_ROOT}/include/c++/v1)
foreach(kind EXE SHARED MODULE)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld")
endforeach()

# Programs are the building machine's, everything else is the SDK's.
set(CMAKE_FIND_ROOT_PATH "${HVK_MACOS_SDK}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
