# SPDX-License-Identifier: GPL-3.0-or-later
# What every target of the project shares: language level, warnings, visibility, folders, sanitizers.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_AUTOMOC ON)
set(CMAKE_AUTOUIC ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

option(ZU_BUILD_TESTS "Build the tests" ON)
option(ZU_BUILD_BENCH "Build the benchmarks" ON)
option(ZU_BUILD_FUZZ "Build the fuzzers (clang)" OFF)
option(ZU_WERROR "Treat compiler warnings as errors" OFF)
set(ZU_SANITIZE "" CACHE STRING "Sanitizers to build with, as the compiler's -fsanitize takes them")

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

# The build tree looks like an installation, so that a program finds its libraries and plug-ins alike in both.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/${CMAKE_INSTALL_BINDIR}")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR}")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR}")
set(ZU_PLUGIN_DIR "${CMAKE_INSTALL_LIBDIR}/zuviewer/plugins")
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
                    -Wcast-align -Wformat=2 -Wimplicit-fallthrough)
if(ZU_WERROR)
    add_compile_options(-Werror)
endif()
add_compile_definitions(QT_NO_CAST_FROM_BYTEARRAY QT_NO_URL_CAST_FROM_STRING QT_DEPRECATED_WARNINGS)

# Libraries name everything that they need; with a sanitizer, whose runtime may live in the program, they cannot.
set(ZU_LINK_DEFS LINKER:-z,defs)

if(ZU_SANITIZE)
    set(ZU_LINK_DEFS)
    add_compile_options(-fsanitize=${ZU_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${ZU_SANITIZE})
endif()
