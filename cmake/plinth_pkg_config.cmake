# The fields of plinth_apple_device.pc that depend on the host and on where the
# project found its dependencies.

# " -I<dir>" for each of a target's include directories.
function(_plinth_pc_include_flags target out)
  set(flags "")
  get_target_property(dirs ${target} INTERFACE_INCLUDE_DIRECTORIES)
  if(dirs)
    foreach(dir IN LISTS dirs)
      string(APPEND flags " -I${dir}")
    endforeach()
  endif()
  set(${out} "${flags}" PARENT_SCOPE)
endfunction()

# " -L<dir> -l<name>" for an imported library with a file; nothing for a
# header-only one (Boost.System is one from Boost 1.69 on, in some packagings).
function(_plinth_pc_link_flags target out)
  set(flags "")
  get_target_property(type ${target} TYPE)
  if(NOT type STREQUAL "INTERFACE_LIBRARY")
    get_target_property(location ${target} LOCATION)
    if(location)
      get_filename_component(dir "${location}" DIRECTORY)
      get_filename_component(name "${location}" NAME_WE)
      string(REGEX REPLACE "^lib" "" name "${name}")
      set(flags " -L${dir} -l${name}")
    endif()
  endif()
  set(${out} "${flags}" PARENT_SCOPE)
endfunction()

# Sets PLINTH_PC_PREFIX_FROM_PC_DIR, PLINTH_PC_REQUIRES_PRIVATE, PLINTH_PC_CFLAGS
# and PLINTH_PC_LIBS in the caller's scope.
macro(plinth_pkg_config_fields)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    message(FATAL_ERROR "plinth_apple_device.pc needs CMAKE_INSTALL_LIBDIR relative to the prefix")
  endif()
  # From <prefix>/<libdir>/pkgconfig back up to <prefix>.
  file(RELATIVE_PATH PLINTH_PC_PREFIX_FROM_PC_DIR "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
  string(REGEX REPLACE "/$" "" PLINTH_PC_PREFIX_FROM_PC_DIR "${PLINTH_PC_PREFIX_FROM_PC_DIR}")

  _plinth_pc_include_flags(Boost::headers _plinth_pc_boost_cflags)
  _plinth_pc_link_flags(Boost::system _plinth_pc_boost_libs)
  set(PLINTH_PC_CFLAGS "${_plinth_pc_boost_cflags}")
  set(PLINTH_PC_LIBS "${_plinth_pc_boost_libs}")
  # fmt is linked privately by the shared libraries; static linking needs it.
  set(PLINTH_PC_REQUIRES_PRIVATE "fmt")
  if(APPLE)
    string(APPEND PLINTH_PC_LIBS " -framework CoreFoundation -framework IOKit")
  else()
    string(PREPEND PLINTH_PC_CFLAGS " -I\${includedir}/plinth_apple/sim")
    string(PREPEND PLINTH_PC_LIBS " -lplinth_apple_sim")
    string(APPEND PLINTH_PC_REQUIRES_PRIVATE " libplist-2.0")
  endif()
endmacro()
