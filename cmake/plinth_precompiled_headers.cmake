# Precompiled headers for the executables that all parse the same heavy headers.
#
# Each of the ~80 test executables parses GoogleTest, much of Boost.Asio and a good
# part of the standard library before it reaches a line of its own, and every file of
# the registry tool nlohmann-json and {fmt}: at -O0 (the sanitizer builds) that is up
# to half of a test's compile time, at -O2 a fifth. Parsed once per build into a
# precompiled header, each file reads them from there. Only headers from outside the
# project are precompiled: a change to the project's own never rebuilds them.
#
# A file that forgets to include a header the precompiled one holds still compiles;
# a build with PLINTH_PRECOMPILED_HEADERS=OFF (the default with ccache, below) shows it.
#
# ccache and precompiled headers: ccache caches a compilation that uses one only
# with `sloppiness = pch_defines,time_macros` in its configuration (ccache.conf, or
# CCACHE_SLOPPINESS=pch_defines,time_macros in the environment); without it ccache
# hands each such compilation to the compiler uncached. So when the compiler
# launcher is a ccache that lacks those settings, the option defaults to OFF, and
# a developer who adds them (and configures a fresh build directory) gets both.
# With clang, ccache also needs the header built without timestamps, which
# plinth_reuse_precompiled_headers() asks for.
#
# g++ 12 and precompiled headers: with optimisation on, g++ keeps quiet about the
# middle end's warnings on libstdc++'s inlined code when it parsed the header itself,
# but reports them as the file's own when the code came from a precompiled header
# (-Warray-bounds in std::string's operator+), and -Werror fails the build. So with
# g++ a target precompiles only when it is compiled without optimisation: every
# target in a Debug build, and the tests in any (plinth_unoptimized(), which the
# tests use), where it halves their compile time.
set(_plinth_pch_default ON)
if(_plinth_pch_default AND CMAKE_CXX_COMPILER_LAUNCHER)
  list(GET CMAKE_CXX_COMPILER_LAUNCHER 0 _plinth_launcher)
  if(_plinth_launcher MATCHES "ccache")
    execute_process(COMMAND ${_plinth_launcher} -k sloppiness
      OUTPUT_VARIABLE _plinth_sloppiness OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    if(NOT (_plinth_sloppiness MATCHES "pch_defines" AND _plinth_sloppiness MATCHES "time_macros"))
      set(_plinth_pch_default OFF)
      if(NOT DEFINED PLINTH_PRECOMPILED_HEADERS)
        message(STATUS "Precompiled headers off: ccache would not cache the tests that use them "
          "(set its sloppiness to pch_defines,time_macros to have both)")
      endif()
    endif()
  endif()
endif()
option(PLINTH_PRECOMPILED_HEADERS
  "Precompile the headers that every test parses (GoogleTest, Boost.Asio, the standard library)"
  ${_plinth_pch_default})

# plinth_target_precompiled_headers(<target> <header>...) precompiles the headers for
# <target>'s own sources, when PLINTH_PRECOMPILED_HEADERS is on: for a library whose
# files all parse the same heavy headers.
function(plinth_target_precompiled_headers target)
  _plinth_gnu_optimizes(${target} optimized)
  if(NOT PLINTH_PRECOMPILED_HEADERS OR optimized)
    return()
  endif()
  target_precompile_headers(${target} PRIVATE ${ARGN})
  _plinth_pch_without_timestamp(${target})
endfunction()

# plinth_precompiled_headers(<owner> <header>...) makes <owner>, an executable of
# its own with an empty main() and the same usage requirements as its users, the
# one that builds a precompiled header for several executables. An executable,
# because GCC refuses a header precompiled with -fPIC (a library's) in a -fPIE
# compilation (a program's). It is compiled without optimisation, so its users
# must be too (plinth_unoptimized()).
function(plinth_precompiled_headers owner)
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${owner}.cpp)
  file(CONFIGURE OUTPUT ${source}
    CONTENT "// ${owner}: builds the precompiled header that its users share; it runs nothing.\nint main() {}\n")
  add_executable(${owner} ${source})
  plinth_setup_target(${owner})
  plinth_unoptimized(${owner})
  plinth_target_precompiled_headers(${owner} ${ARGN})
endfunction()

# plinth_reuse_precompiled_headers(<target> <owner>) compiles <target> with the
# header <owner> precompiled. Both must be compiled with the same options and
# definitions (warnings, sanitizers, -D of the libraries they use); a definition of
# the target's own is fine as long as no precompiled header reads it. Nothing when
# PLINTH_PRECOMPILED_HEADERS is off.
function(plinth_reuse_precompiled_headers target owner)
  _plinth_gnu_optimizes(${target} optimized)
  if(NOT PLINTH_PRECOMPILED_HEADERS OR optimized)
    return()
  endif()
  target_precompile_headers(${target} REUSE_FROM ${owner})
  _plinth_pch_without_timestamp(${target})
endfunction()

# clang stamps a precompiled header with the times of the files it read, which makes
# two builds of it differ for ccache; the build system already knows when to rebuild it.
function(_plinth_pch_without_timestamp target)
  target_compile_options(${target} PRIVATE "$<$<CXX_COMPILER_ID:Clang,AppleClang>:SHELL:-Xclang -fno-pch-timestamp>")
endfunction()

# Sets <out> when g++ compiles <target> with optimisation (see above).
function(_plinth_gnu_optimizes target out)
  get_target_property(unoptimized ${target} PLINTH_UNOPTIMIZED)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT unoptimized
     AND NOT CMAKE_BUILD_TYPE MATCHES "^(Debug|)$")
    set(${out} TRUE PARENT_SCOPE)
  else()
    set(${out} FALSE PARENT_SCOPE)
  endif()
endfunction()
