# Common settings for every target of the project.
#
# plinth_setup_target(<target>) applies the warning flags, the sanitizers, the
# unity build of libraries (PLINTH_UNITY_BUILD) and the include root: sources include project headers by their path from the
# repository root ("error/errc.hpp"), and an install keeps the same layout under
# include/plinth_apple.
function(plinth_setup_target target)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "INTERFACE_LIBRARY")
    set(scope INTERFACE)
  else()
    set(scope PUBLIC)
    target_compile_options(${target} PRIVATE
      $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-Wall -Wextra -Wpedantic -Wshadow>
      $<$<BOOL:${PLINTH_WARNINGS_AS_ERRORS}>:-Werror>)
  endif()
  target_include_directories(${target} ${scope}
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/plinth_apple>)
  target_compile_features(${target} ${scope} cxx_std_20)
  if(PLINTH_UNITY_BUILD AND type MATCHES "^(STATIC|SHARED)_LIBRARY$")
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${PLINTH_UNITY_BATCH_SIZE})
  endif()
endfunction()

# plinth_unoptimized(<target>) compiles <target> without optimisation whatever the
# build type: for the tests, where optimising was most of the compile time and made
# no test better; the code they test is built as configured.
function(plinth_unoptimized target)
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-O0>)
  set_target_properties(${target} PROPERTIES PLINTH_UNOPTIMIZED ON)
endfunction()

# Installs the headers of a folder under include/plinth_apple/<folder>, keeping
# the paths that sources use.
function(plinth_install_headers folder)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${folder}/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/plinth_apple/${folder}
    FILES_MATCHING PATTERN "*.hpp" PATTERN "*.h")
endfunction()

# Line tables only: the compiler spends a good part of its time on the full
# debug information of templates; sanitizer reports and stack traces need only
# the lines. Given after the build type's own -g, this one wins.
if(PLINTH_LINE_TABLES_ONLY)
  add_compile_options(-g1)
endif()

# LLVM's linker with clang, where it works: it links a test program four times as
# fast as the GNU linker (1.2 s against 4.8 s for a sanitizer build's), and a build
# links some two hundred of them. Not with g++: lld 14 linked the unity-built
# simulation from g++'s objects with unwind information that lost an exception
# thrown there (std::terminate instead of the caller's catch).
if(PLINTH_USE_LLD AND NOT APPLE AND CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  include(CheckLinkerFlag)
  check_linker_flag(CXX "-fuse-ld=lld" PLINTH_LLD_WORKS)
  if(PLINTH_LLD_WORKS)
    add_link_options(-fuse-ld=lld)
  endif()
endif()

if(PLINTH_SANITIZE)
  string(REPLACE ";" "," _plinth_sanitizers "${PLINTH_SANITIZE}")
  add_compile_options(-fsanitize=${_plinth_sanitizers} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  # clang 14 cannot emit the function-type check for a coroutine's frame ("Cannot
  # represent a difference across sections"); the other undefined-behaviour checks stay.
  if("undefined" IN_LIST PLINTH_SANITIZE AND CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    add_compile_options(-fno-sanitize=function)
  endif()
  add_link_options(-fsanitize=${_plinth_sanitizers})
  # Boost.Asio's timers fence with std::atomic_thread_fence, which ThreadSanitizer
  # does not model; g++ warns about every such use.
  if("thread" IN_LIST PLINTH_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wno-tsan)
  endif()
endif()

# Fuzzing: every target gets libFuzzer's coverage instrumentation, so that the
# fuzzers see which branches of the loaders, the tool and the library an input
# reached; only the fuzz targets link libFuzzer itself (fuzz/CMakeLists.txt).
if(PLINTH_BUILD_FUZZERS)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "PLINTH_BUILD_FUZZERS needs clang (libFuzzer): configure with CXX=clang++")
  endif()
  if(NOT PLINTH_SANITIZE)
    message(WARNING "The fuzzers find far more with PLINTH_SANITIZE=\"address;undefined\" (or \"thread\")")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
